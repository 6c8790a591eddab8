// What a transfer says of its end.
#include "runtime/acquire/transport.h"

#include <curl/curl.h>
#include <gtest/gtest.h>

#include <cstdarg>
#include <map>
#include <new>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>

#include "tests/support/listening_server.h"

namespace {

bool isTextWithheld = false;  // Whether libcurl has no buffer for a text of its own.
bool isListRefused = false;   // Whether libcurl has no memory for one more header.
// What libcurl was told of these, "-" for nothing; and, where it is given, which files there are.
std::map<CURLoption, std::string> told;
const std::set<std::string>* readable = nullptr;

bool IsNoted(CURLoption option) {
  return option == CURLOPT_CAINFO || option == CURLOPT_CAPATH || option == CURLOPT_PROXY_CAINFO ||
         option == CURLOPT_PROXY_CAPATH || option == CURLOPT_PROXY || option == CURLOPT_NOPROXY;
}

}  // namespace

extern "C" {

curl_slist* __real_curl_slist_append(curl_slist* list, const char* text);

curl_slist* __wrap_curl_slist_append(curl_slist* list, const char* text) {
  return isListRefused ? nullptr : __real_curl_slist_append(list, text);
}

CURLcode __real_curl_easy_setopt(CURL* handle, CURLoption option, ...);

// An enumeration as an int: va_start wants what a variable argument would be passed as.
CURLcode __wrap_curl_easy_setopt(CURL* handle, int option, ...) {
  va_list list;
  va_start(list, option);
  void* const value = va_arg(list, void*);
  va_end(list);
  if (isTextWithheld && option == CURLOPT_ERRORBUFFER) return CURLE_OK;
  if (IsNoted(static_cast<CURLoption>(option)))
    told[static_cast<CURLoption>(option)] =
        value == nullptr ? "-" : static_cast<const char*>(value);
  return __real_curl_easy_setopt(handle, static_cast<CURLoption>(option), value);
}

int __real_access(const char* path, int mode);

int __wrap_access(const char* path, int mode) {
  if (readable == nullptr) return __real_access(path, mode);
  return readable->contains(path) ? 0 : -1;
}

}  // extern "C"

namespace svc::acquire {
namespace {

TTransportOptions DirectOptions() {
  TTransportOptions options;
  options.proxy.kind = TProxyChoice::EKind::kDirect;
  options.connect = options.stall = std::chrono::seconds(10);
  return options;
}

TTransferResult EndOf(const TTransportOptions& options, TTransfer transfer) {
  const auto transport = MakeTransport(options);
  transport->Start(transfer);
  for (int attempt = 0; attempt < 100; ++attempt) {
    if (auto result = transport->Wait(std::chrono::milliseconds(1000))) return *result;
  }
  ADD_FAILURE() << "the transfer has no end";
  return {};
}

// Of a request to a port of this machine where nobody listens.
TTransferResult EndOfRequestToNobody() {
  TTransfer transfer;
  transfer.url = "http://127.0.0.1:1/";
  return EndOf(DirectOptions(), transfer);
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

// A server, or a proxy, that answers its only request with a text.
class TAnswering : public test::TListeningServer {
 public:
  explicit TAnswering(std::string answer)
      : TListeningServer([answer = std::move(answer)](const auto&) { return answer; }, 1) {}
};

// Notes what it is told, in its order.
struct TSink : ITransferSink {
  void OnResponse(const TResponse& response) override {
    told += std::to_string(response.status) + " " + response.etag + " " +
            (response.length ? std::to_string(*response.length) : "-") + ": ";
  }
  void OnData(std::string_view bytes) override { told += bytes; }
  std::string told;
};

// What the sink is told of an answer that the server gives to a GET.
std::string ToldOf(const std::string& answer) {
  const TAnswering server("HTTP/1.1 " + answer);
  TSink sink;
  TTransfer transfer;
  transfer.url = server.Address() + "/a";
  transfer.sink = &sink;
  const TTransferResult result = EndOf(DirectOptions(), transfer);
  EXPECT_EQ(result.end, ETransferEnd::kAnswered) << result.reason;
  EXPECT_EQ(result.response.status, std::stoi(answer));
  return sink.told;
}

TEST(Transport, TellsTheSinkOfTheResponseOnceAndBeforeItsContent) {
  EXPECT_EQ(ToldOf("200 OK\r\nETag: \"x\"\r\nContent-Length: 4\r\n\r\nbody"), "200 \"x\" 4: body");
  EXPECT_EQ(ToldOf("206 Part\r\nConnection: close\r\n\r\nbody"), "206  -: body");
  EXPECT_EQ(ToldOf("200 OK\r\nContent-Length: 0\r\n\r\n"), "200  0: ");
  for (const char* other : {"201 Made", "204 Nothing", "304 Same", "404 None", "500 Broken"})
    EXPECT_EQ(ToldOf(std::string(other) + "\r\nConnection: close\r\n\r\n"), "") << other;
  EXPECT_EQ(ToldOf("404 None\r\nContent-Length: 4\r\n\r\nbody"), "");
}

// Throws at the response, or at its content.
struct TThrowingSink : ITransferSink {
  explicit TThrowingSink(bool atResponse) : atResponse(atResponse) {}
  void OnResponse(const TResponse& /*response*/) override {
    if (atResponse) throw std::runtime_error("no room for it");
  }
  void OnData(std::string_view /*bytes*/) override { throw std::runtime_error("the disk is full"); }
  bool atResponse;
};

TEST(Transport, HandsOnWhatTheSinkThrewAndCallsItNoAnswer) {
  const auto thrownOf = [](bool atResponse, const std::string& rest) {
    const TAnswering server("HTTP/1.1 200 OK\r\n" + rest);
    TThrowingSink sink(atResponse);
    TTransfer transfer;
    transfer.url = server.Address() + "/a";
    transfer.sink = &sink;
    const TTransferResult result = EndOf(DirectOptions(), transfer);
    EXPECT_EQ(result.end, ETransferEnd::kSinkThrew) << rest;
    EXPECT_EQ(result.reason, "");
    try {
      if (result.thrown) std::rethrow_exception(result.thrown);
    } catch (const std::runtime_error& error) {
      return std::string(error.what());
    }
    return std::string("nothing");
  };
  EXPECT_EQ(thrownOf(false, "Content-Length: 4\r\n\r\nbody"), "the disk is full");
  EXPECT_EQ(thrownOf(true, "Content-Length: 4\r\n\r\nbody"), "no room for it");
  EXPECT_EQ(thrownOf(true, "Content-Length: 0\r\n\r\n"), "no room for it") << "without content";
}

TEST(Transport, TellsAProxyThatRefusesFromOneThatCannotNow) {
  for (const auto& [status, end] :
       {std::pair(400, ETransferEnd::kProxyRefused), std::pair(407, ETransferEnd::kProxyRefused),
        std::pair(499, ETransferEnd::kProxyRefused), std::pair(500, ETransferEnd::kUnreachable),
        std::pair(502, ETransferEnd::kUnreachable)}) {
    const TAnswering proxy("HTTP/1.1 " + std::to_string(status) +
                           " Why\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
    TTransportOptions options = DirectOptions();
    options.proxy.kind = TProxyChoice::EKind::kGiven;
    options.proxy.host = "http://127.0.0.1";
    options.proxy.port = proxy.Port();
    TTransfer transfer;
    transfer.url = "https://server.example/a";
    const TTransferResult result = EndOf(options, transfer);
    EXPECT_EQ(result.end, end) << status;
    EXPECT_EQ(result.reason, "the proxy answered with status " + std::to_string(status));
  }
}

// Of an address without TLS the proxy is asked for the page itself.
TEST(Transport, TellsAProxysQuestionForAPasswordFromTheServersAnswers) {
  for (const auto& [status, end] :
       {std::pair(407, ETransferEnd::kProxyRefused), std::pair(401, ETransferEnd::kAnswered),
        std::pair(408, ETransferEnd::kAnswered), std::pair(502, ETransferEnd::kAnswered)}) {
    const TAnswering proxy("HTTP/1.1 " + std::to_string(status) +
                           " Why\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
    TTransportOptions options = DirectOptions();
    options.proxy.kind = TProxyChoice::EKind::kGiven;
    options.proxy.host = "http://127.0.0.1";
    options.proxy.port = proxy.Port();
    TTransfer transfer;
    transfer.url = "http://server.example/a";
    const TTransferResult result = EndOf(options, transfer);
    EXPECT_EQ(result.end, end) << status;
    EXPECT_EQ(result.response.status, status);
    EXPECT_EQ(told[CURLOPT_NOPROXY], "") << "no variable of the environment leads past it";
  }
}

TEST(Transport, CallsAServerThatSaysNothingTooSlow) {
  const int silent = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  ASSERT_EQ(::bind(silent, reinterpret_cast<sockaddr*>(&address), size), 0);
  ASSERT_EQ(::getsockname(silent, reinterpret_cast<sockaddr*>(&address), &size), 0);
  ASSERT_EQ(::listen(silent, 1), 0);
  TTransportOptions options = DirectOptions();
  options.connect = std::chrono::milliseconds(50);
  TTransfer transfer;
  transfer.url = "https://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/a";
  EXPECT_EQ(EndOf(options, transfer).end, ETransferEnd::kTooSlow);
  ::close(silent);
}

// What is trusted by a transport of these options: "SERVER'S PROXY'S", by files or folders.
std::string TrustOf(const std::string& caFile, const std::set<std::string>& files) {
  TTransportOptions options = DirectOptions();
  options.caFile = caFile;
  TTransfer transfer;
  transfer.url = "http://127.0.0.1:1/";
  told.clear();
  readable = &files;
  EndOf(options, transfer);
  readable = nullptr;
  EXPECT_EQ(told[CURLOPT_CAPATH], told[CURLOPT_PROXY_CAPATH]);
  EXPECT_EQ(told[CURLOPT_CAINFO], told[CURLOPT_PROXY_CAINFO]);
  return told[CURLOPT_CAINFO] + told[CURLOPT_CAPATH];
}

TEST(Transport, TrustsTheFileThatIsNamedOrElseTheSystemsAuthorities) {
  const char* const own = curl_version_info(CURLVERSION_NOW)->cainfo;
  if (own == nullptr) GTEST_SKIP() << "the library has no place of its own";
  const std::string first = "/etc/ssl/certs/ca-certificates.crt";
  const std::string second = "/etc/pki/tls/certs/ca-bundle.crt";
  const std::string third = "/etc/ssl/ca-bundle.pem";
  EXPECT_EQ(TrustOf("no-such.pem", {own}), "no-such.pem-");
  EXPECT_EQ(TrustOf("", {own, second, third}), "") << "the library finds its own";
  EXPECT_EQ(TrustOf("", {}), "");
  EXPECT_EQ(TrustOf("", {third}), third + "-");
  EXPECT_EQ(TrustOf("", {second, third}), second + "-");
  if (own != first) {
    EXPECT_EQ(TrustOf("", {first, second}), first + "-");
  }
}

TEST(Transport, VerifiesAServerBeforeItSendsAnything) {
  EXPECT_TRUE(VerifiesBeforeSending(DirectOptions()));
}

TEST(Transport, SendsNoRequestWithoutAHeaderThatItHasNoMemoryFor) {
  const auto transport = MakeTransport(DirectOptions());
  TTransfer transfer;
  transfer.url = "http://127.0.0.1:1/";
  transfer.headers = {"X-Auth-Token: secret"};
  isListRefused = true;
  EXPECT_THROW(transport->Start(transfer), std::bad_alloc);
  isListRefused = false;
  EXPECT_FALSE(transport->Wait(std::chrono::milliseconds(0))) << "nothing was begun";
}

}  // namespace
}  // namespace svc::acquire
