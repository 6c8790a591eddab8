#include "runtime/acquire/winhttp_proxy.h"

#include <boost/algorithm/string/predicate.hpp>
#include <charconv>

#include "runtime/acquire/native_text_windows.h"
#include "runtime/acquire/outcome.h"

namespace svc::acquire {
namespace {

constexpr std::string_view kScheme = "http://";
constexpr const char* kUsualPort = "1080";  // As the proxy options of other programs have it.

TFailure Unusable(const std::string& address) {
  return {EOutcome::kProxyUnusable,
          "\"" + address + "\" is no proxy's address; it looks like http://host:port"};
}

// The part behind the scheme, without what follows the server.
std::string_view Server(const std::string& address, std::string_view shown) {
  std::string_view rest = address;
  if (boost::istarts_with(rest, kScheme)) rest.remove_prefix(kScheme.size());
  if (rest.find("://") != std::string_view::npos) throw Unusable(std::string(shown));
  return rest.substr(0, rest.find('/'));
}

bool HasPort(std::string_view server) {
  const auto colon = server.rfind(':');
  return colon != std::string_view::npos && server.find(']', colon) == std::string_view::npos;
}

TCredentials CredentialsOf(std::string_view text) {
  const auto colon = text.find(':');
  if (colon == std::string_view::npos) return {Unescaped(text), {}};
  return {Unescaped(text.substr(0, colon)), Unescaped(text.substr(colon + 1))};
}

}  // namespace

std::wstring Unescaped(std::string_view text) {
  std::string bytes;
  for (std::size_t at = 0; at < text.size(); ++at) {
    unsigned char byte = 0;
    const char* const digits = text.data() + at + 1;
    const bool isEscaped = text[at] == '%' && at + 2 < text.size() &&
                           std::from_chars(digits, digits + 2, byte, 16).ptr == digits + 2;
    bytes += isEscaped ? static_cast<char>(byte) : text[at];
    if (isEscaped) at += 2;
  }
  return Widen(bytes);
}

TWinHttpProxy WinHttpProxyOf(const TProxyChoice& choice) {
  const auto at = choice.host.rfind('@');
  const std::string shown = at == std::string::npos ? choice.host : choice.host.substr(at + 1);
  std::string_view server = Server(choice.host, shown);
  TWinHttpProxy proxy{{}, {Widen(choice.user), Widen(choice.password)}};
  if (const auto end = server.rfind('@'); end != std::string_view::npos) {
    if (choice.user.empty()) proxy.credentials = CredentialsOf(server.substr(0, end));
    server.remove_prefix(end + 1);
  }
  if (server.empty()) throw Unusable(shown);
  std::string name(server);
  if (!HasPort(server))
    name += ":" + (choice.port != 0 ? std::to_string(choice.port) : std::string(kUsualPort));
  proxy.server = Widen(name);
  return proxy;
}

}  // namespace svc::acquire
