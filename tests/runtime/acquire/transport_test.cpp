// What a transfer says of its end.
#include "runtime/acquire/transport.h"

#include <curl/curl.h>
#include <gtest/gtest.h>

#include <cstdarg>

namespace {

bool isTextWithheld = false;  // Whether libcurl has no buffer for a text of its own.

}  // namespace

extern "C" {

CURLcode __real_curl_easy_setopt(CURL* handle, CURLoption option, ...);

// An enumeration as an int: va_start wants what a variable argument would be passed as.
CURLcode __wrap_curl_easy_setopt(CURL* handle, int option, ...) {
  va_list list;
  va_start(list, option);
  void* const value = va_arg(list, void*);
  va_end(list);
  if (isTextWithheld && option == CURLOPT_ERRORBUFFER) return CURLE_OK;
  return __real_curl_easy_setopt(handle, static_cast<CURLoption>(option), value);
}

}  // extern "C"

namespace svc::acquire {
namespace {

// Of a request to a port of this machine where nobody listens.
TTransferResult EndOfRequestToNobody() {
  TTransportOptions options;
  options.proxy.kind = TProxyChoice::EKind::kDirect;
  options.connect = options.stall = std::chrono::seconds(10);
  const auto transport = MakeTransport(options);
  TTransfer transfer;
  transfer.url = "http://127.0.0.1:1/";
  transport->Start(transfer);
  for (int attempt = 0; attempt < 100; ++attempt) {
    if (auto result = transport->Wait(std::chrono::milliseconds(1000))) return *result;
  }
  ADD_FAILURE() << "the transfer has no end";
  return {};
}

TEST(Transport, SaysWhyItFailedAlsoWhereTheLibraryHasOnlyANumberForIt) {
  const TTransferResult told = EndOfRequestToNobody();
  EXPECT_EQ(told.end, ETransferEnd::kUnreachable);
  EXPECT_NE(told.reason.find("127.0.0.1"), std::string::npos) << told.reason;
  isTextWithheld = true;
  const TTransferResult plain = EndOfRequestToNobody();
  isTextWithheld = false;
  EXPECT_EQ(plain.end, ETransferEnd::kUnreachable);
  EXPECT_EQ(plain.reason, curl_easy_strerror(CURLE_COULDNT_CONNECT));
}

}  // namespace
}  // namespace svc::acquire
