#include "runtime/acquire/address.h"

#include <boost/algorithm/string/case_conv.hpp>
#include <boost/algorithm/string/erase.hpp>
#include <boost/algorithm/string/predicate.hpp>
#include <boost/algorithm/string/trim.hpp>

#include "runtime/acquire/base64.h"
#include "runtime/acquire/manifest.h"
#include "runtime/acquire/outcome.h"

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

std::string Server(std::string_view address) {
  const std::string shown = boost::to_lower_copy(ShownAddress(address));
  std::string server = shown.substr(0, HostEnd(shown));
  if (server.starts_with("http://")) boost::erase_tail(server, server.ends_with(":80") ? 3 : 0);
  if (server.starts_with("https://")) boost::erase_tail(server, server.ends_with(":443") ? 4 : 0);
  return server;
}

}  // namespace

std::string RepositoryAddress(std::string_view text) {
  std::string address = boost::trim_copy(std::string(text));
  const bool isHttp =
      boost::istarts_with(address, "http://") || boost::istarts_with(address, "https://");
  if (!isHttp || HostEnd(address) == HostBegin(address) || !IsPlain(address))
    throw TFailure(EOutcome::kAddressUnusable,
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
  return Server(one) == Server(other);
}

}  // namespace svc::acquire
