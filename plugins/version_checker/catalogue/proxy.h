// The proxy that a query names for its download.
#ifndef PLUGINS_VERSION_CHECKER_CATALOGUE_PROXY_H_
#define PLUGINS_VERSION_CHECKER_CATALOGUE_PROXY_H_

#include <optional>
#include <string>

#include "host/acquire/download_manager.h"

// Reads "{ host, port, user, password }", the text of a value with four elements. Each part ends
// at a comma, and the one character behind a comma is skipped. Nothing when a part is missing; a
// port that is no number is 0.
std::optional<KPLAcquistion::HTTPProxyInfo> ParseProxy(const std::string& text);

#endif  // PLUGINS_VERSION_CHECKER_CATALOGUE_PROXY_H_
