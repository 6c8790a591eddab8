#include "runtime/acquire/transport.h"

#include <boost/algorithm/string.hpp>
#include <boost/algorithm/string/predicate.hpp>
#include <charconv>

#include "runtime/acquire/address.h"
#include "runtime/acquire/crypto.h"
#include "runtime/acquire/manifest.h"
#include "runtime/acquire/settings.h"

namespace svc::acquire {

namespace {

// RFC 3986, section 2.3, and the slash between the parts of a path.
bool StandsForItself(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
         std::string_view("-._~/").find(c) != std::string_view::npos;
}

bool IsPlain(std::string_view text) {
  for (const char c : text)
    if (static_cast<unsigned char>(c) <= ' ' || c == 0x7F || c == '?' || c == '#') return false;
  return true;
}

// The parts of an address of http or https, without user and password. Scheme and host are in lower
// case, the port is empty where it is the scheme's own; the path begins with whatever ends the
// host.
struct TParts {
  std::string scheme;
  std::string host;
  std::string port;
  std::string path;
};

// RFC 3986, section 6.2.2: what stands for itself also does so as "%41". All else keeps its form,
// in capitals; a "%" that begins none is one itself.
std::string WithPlainCharacters(std::string_view text) {
  std::string plain;
  for (std::size_t at = 0; at < text.size(); ++at) {
    unsigned char byte = 0;
    const char* const digits = text.data() + at + 1;
    const bool isForm = text[at] == '%' && at + 2 < text.size() &&
                        std::from_chars(digits, digits + 2, byte, 16).ptr == digits + 2;
    const auto c = static_cast<char>(byte);
    const bool isPlain = isForm && c != '/' && StandsForItself(c);
    if (isPlain)
      plain += c;
    else if (isForm)
      plain += boost::to_upper_copy(std::string(text.substr(at, 3)));
    else
      plain += text[at] == '%' ? "%25" : std::string(1, text[at]);
    if (isForm) at += 2;
  }
  return plain;
}

// Digits without the zeros before them; nothing for the scheme's own port.
std::string PortOf(const std::string& scheme, std::string_view digits) {
  while (digits.size() > 1 && digits.starts_with('0')) digits.remove_prefix(1);
  return digits == (scheme == "http" ? "80" : "443") ? "" : std::string(digits);
}

bool HoldsOnly(std::string_view text, std::string_view characters) {
  return text.find_first_not_of(characters) == std::string_view::npos;
}

// Takes a port off the end of a host.
std::string TakePort(const std::string& scheme, std::string_view& server) {
  const std::size_t bracket = server.rfind(']');
  const std::size_t colon = server.find(':', bracket == server.npos ? 0 : bracket);
  if (colon == server.npos || !HoldsOnly(server.substr(colon + 1), "0123456789")) return "";
  const std::string port = PortOf(scheme, server.substr(colon + 1));
  server = server.substr(0, colon);
  return port;
}

bool IsHost(std::string_view host) {
  const bool isNumber = host.starts_with('[') && host.ends_with(']');
  return !host.empty() && IsPlain(host) && (isNumber || host.find(':') == host.npos);
}

// Nothing where programs differ in what they take for the host.
std::optional<TParts> PartsOf(std::string_view address) {
  TParts parts;
  const std::size_t begin = HostBegin(address);
  const std::size_t end = std::min(address.find_first_of("/?#\\", begin), address.size());
  parts.scheme = boost::to_lower_copy(std::string(address.substr(0, begin)));
  parts.path = address.substr(end);
  const bool isHttp = parts.scheme == "http://" || parts.scheme == "https://";
  if (!isHttp || parts.path.starts_with('\\')) return std::nullopt;
  parts.scheme.resize(parts.scheme.size() - 3);
  std::string_view server = address.substr(begin, end - begin);
  server.remove_prefix(server.rfind('@') + 1);
  parts.port = TakePort(parts.scheme, server);
  parts.host = boost::to_lower_copy(WithPlainCharacters(server));
  if (!IsHost(parts.host)) return std::nullopt;
  return parts;
}

// RFC 3986, section 5.2.4: "." stays where it is, ".." goes up.
std::string WithoutDotSegments(const std::string& path) {
  std::vector<std::string> segments;
  boost::split(segments, path, [](char c) { return c == '/'; });
  std::vector<std::string> kept;
  for (const std::string& segment : segments) {
    if (segment == ".." && kept.size() > 1) kept.pop_back();
    if (segment != "." && segment != "..") kept.push_back(segment);
  }
  return boost::join(kept, "/");
}

constexpr int kMaxPort = 65535;

TProxyChoice Given(const KPLAcquistion::HTTPProxyInfo& proxy) {
  const bool isHost = !proxy.host.empty() && std::ranges::none_of(proxy.host, [](char c) {
    return static_cast<unsigned char>(c) <= ' ' || c == 0x7F;
  });
  if (!isHost)
    throw DownloadError(EOutcome::kProxyUnusable, "the proxy has no host's name; give it one");
  if (proxy.port < 1 || proxy.port > kMaxPort)
    throw DownloadError(EOutcome::kProxyUnusable, "the proxy " + proxy.host + " has the port " +
                                                      std::to_string(proxy.port) +
                                                      "; give it one from 1 to 65535");
  return {TProxyChoice::EKind::kGiven, proxy.host, proxy.port, proxy.user, proxy.password};
}

}  // namespace

std::string RepositoryAddress(std::string_view text) {
  std::string address = boost::trim_copy(std::string(text));
  const bool isHttp =
      boost::istarts_with(address, "http://") || boost::istarts_with(address, "https://");
  if (!isHttp || HostEnd(address) == HostBegin(address) || !IsPlain(address))
    throw DownloadError(EOutcome::kAddressUnusable,
                        "\"" + ShownAddress(address) +
                            "\" is no repository's address; it looks like https://server/folder");
  if (address.ends_with(std::string("/") + kManifestName))
    address.resize(address.size() - std::string_view(kManifestName).size());
  boost::trim_right_if(address, [](char c) { return c == '/'; });
  return address;
}

std::string FileAddress(const std::string& repository, std::string_view path) {
  std::string address = repository + "/";
  for (const char c : path) {
    if (!StandsForItself(c)) address += '%';
    address += StandsForItself(c) ? std::string(1, c) : boost::to_upper_copy(ToHex({&c, 1}));
  }
  return address;
}

bool IsSameServer(std::string_view one, std::string_view other) {
  const auto first = PartsOf(one);
  const auto second = PartsOf(other);
  return first && second && first->scheme == second->scheme && first->host == second->host &&
         first->port == second->port;
}

std::string RepositoryKey(std::string_view address) {
  const std::string shown = ShownAddress(address);
  auto parts = PartsOf(shown);
  if (!parts) return shown;
  const bool isRooted = parts->host.ends_with('.') && !parts->host.ends_with("..");
  if (isRooted && parts->host.size() > 1) parts->host.pop_back();
  return parts->scheme + "://" + parts->host + (parts->port.empty() ? "" : ":" + parts->port) +
         WithoutDotSegments(WithPlainCharacters(parts->path));
}

TProxyChoice ChooseProxy(const TDownloadJob& job) {
  const std::string& own = job.settings.proxy;
  if (own == "none") return {TProxyChoice::EKind::kDirect, "", 0, "", ""};
  if (!own.empty()) return {TProxyChoice::EKind::kGiven, own, 0, "", ""};
  if (job.proxy.enabled) return Given(job.proxy);
  return {};
}

static std::string_view Trimmed(std::string_view text) {
  constexpr const char* kBlanks = " \t\r\n";
  const auto begin = text.find_first_not_of(kBlanks);
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

std::optional<std::uint64_t> WholeNumber(std::string_view text) {
  std::uint64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [last, error] = std::from_chars(text.data(), end, number);
  if (text.empty() || error != std::errc() || last != end) return std::nullopt;
  return number;
}

std::optional<std::uint64_t> RangeStart(std::string_view value) {
  constexpr std::string_view kUnit = "bytes ";
  const auto dash = value.find('-');
  const auto slash = value.find('/');
  if (!boost::istarts_with(value, kUnit) || dash == value.npos || slash == value.npos ||
      slash < dash)
    return std::nullopt;
  const auto first = WholeNumber(value.substr(kUnit.size(), dash - kUnit.size()));
  const auto last = WholeNumber(value.substr(dash + 1, slash - dash - 1));
  const std::string_view size = value.substr(slash + 1);
  const bool isSound =
      first && last && *first <= *last && (size == "*" || WholeNumber(size).value_or(0) > *last);
  return isSound ? first : std::nullopt;
}

void ReadHeaderLine(std::string_view line, TResponse& response) {
  const auto colon = line.find(':');
  if (colon == std::string_view::npos) return;
  const std::string_view name = line.substr(0, colon);
  const std::string_view value = Trimmed(line.substr(colon + 1));
  if (boost::iequals(name, "etag")) response.etag = value;
  if (boost::iequals(name, "location")) response.redirect = value;
  if (boost::iequals(name, "x-auth-token")) response.sessionToken = value;
  if (boost::iequals(name, "content-range")) response.rangeStart = RangeStart(value);
}

}  // namespace svc::acquire
