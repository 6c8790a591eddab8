#include <curl/curl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <boost/algorithm/string/predicate.hpp>
#include <filesystem>
#include <mutex>
#include <new>

#include "base/error.h"
#include "runtime/acquire/settings.h"
#include "runtime/acquire/transport.h"

namespace svc::acquire {
namespace {

constexpr long kSlowBytesPerSecond = 100;
constexpr long kConnections = 16;

// The kinds that need a user and a password and nothing else. For others the library loads code
// that variables of the environment and files of the system name, before anybody is trusted.
constexpr long kAuthentication = CURLAUTH_BASIC | CURLAUTH_DIGEST;

// TLS libraries take code to load and files to write their secrets to from these; whoever sets the
// environment of a program that runs as root shall not get either. svcheck lets none of them in;
// another program that loads this library may not be so careful.
constexpr const char* kDangerousVariables[] = {"OPENSSL_CONF", "OPENSSL_MODULES", "OPENSSL_ENGINES",
                                               "SSLKEYLOGFILE"};

void StartCurl() {
  static std::once_flag once;
  std::call_once(once, [] {
    for (const char* variable : kDangerousVariables) unsetenv(variable);
    if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) throw TError("libcurl does not start");
  });
}

struct TRelease {
  void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
  void operator()(CURLU* url) const { curl_url_cleanup(url); }
  void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};
using TEasy = std::unique_ptr<CURL, TRelease>;
using TList = std::unique_ptr<curl_slist, TRelease>;

// What an error of the library means for a transfer.
constexpr ETransferEnd TransferEndOf(CURLcode code) {
  switch (code) {
    case CURLE_OK:
      return ETransferEnd::kAnswered;
    case CURLE_URL_MALFORMAT:
    case CURLE_COULDNT_RESOLVE_PROXY:
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_CONNECT:
    case CURLE_SSL_CONNECT_ERROR:
      return ETransferEnd::kUnreachable;
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_INVALIDCERTSTATUS:
      return ETransferEnd::kNotTrusted;
    case CURLE_PROXY:
      return ETransferEnd::kProxyRefused;
    case CURLE_OPERATION_TIMEDOUT:
      return ETransferEnd::kTooSlow;
    default:
      return ETransferEnd::kBroken;
  }
}

// One transfer under way.
class TExchange {
 public:
  TExchange(TTransfer& transfer, const TTransportOptions& options)
      : transfer(transfer), easy(curl_easy_init()) {
    SetRequest();
    SetLimits(options);
    SetTrust(options);
    SetProxy(options.proxy);
    SetCallbacks();
  }

  CURL* Handle() const { return easy.get(); }

  TTransferResult End(CURLcode code) {
    if (code == CURLE_OK && !isAnnounced) Announce();
    TTransferResult result{&transfer, ETransferEnd::kAnswered, response, "", thrown};
    if (thrown) {
      result.end = ETransferEnd::kSinkThrew;
    } else if (ProxyStatus() >= 400) {
      const bool isForGood = ProxyStatus() < 500;
      result.end = isForGood ? ETransferEnd::kProxyRefused : ETransferEnd::kUnreachable;
      result.reason = "the proxy answered with status " + std::to_string(ProxyStatus());
    } else if (code != CURLE_OK && !isRefused) {
      result.end = TransferEndOf(code);
      result.reason = errorText[0] != '\0' ? errorText : curl_easy_strerror(code);
    }
    return result;
  }

 private:
  template <typename TValue>
  void Set(CURLoption option, TValue value) {
    if (curl_easy_setopt(easy.get(), option, value) != CURLE_OK)
      throw TError("libcurl does not take option " + std::to_string(option));
  }

  void SetRequest() {
    Set(CURLOPT_URL, transfer.url.c_str());
    SetProtocols();
    Set(CURLOPT_USERAGENT, "svcheck");
    Set(CURLOPT_HTTPAUTH, kAuthentication);
    Set(CURLOPT_NOSIGNAL, 1L);
    SetMethod();
    for (const std::string& header : transfer.headers) AddHeader(header);
    if (transfer.offset != 0) SetRange();
    Set(CURLOPT_HTTPHEADER, headers.get());
    Set(CURLOPT_HEADEROPT, static_cast<long>(CURLHEADER_SEPARATE));
  }

  void SetMethod() {
    if (transfer.method.empty()) return;
    if (!transfer.body.empty()) {
      Set(CURLOPT_POSTFIELDSIZE, static_cast<long>(transfer.body.size()));
      Set(CURLOPT_POSTFIELDS, transfer.body.c_str());
    }
    Set(CURLOPT_CUSTOMREQUEST, transfer.method.c_str());
  }

  void SetRange() {
    Set(CURLOPT_RANGE, (std::to_string(transfer.offset) + "-").c_str());
    if (!transfer.etag.empty()) AddHeader("If-Range: " + transfer.etag);
  }

  void AddHeader(const std::string& header) {
    curl_slist* const longer = curl_slist_append(headers.get(), header.c_str());
    if (longer == nullptr) throw std::bad_alloc();
    (void)headers.release();  // The longer list begins with it.
    headers.reset(longer);
  }

  // Older libraries, such as Debian 11's, know neither these names nor a way out of a look-up.
  void SetProtocols() {
#if LIBCURL_VERSION_NUM >= 0x075700
    Set(CURLOPT_PROTOCOLS_STR, "http,https");
    Set(CURLOPT_QUICK_EXIT, 1L);  // To be told to stop must not mean to wait for a name server.
#else
    Set(CURLOPT_PROTOCOLS, static_cast<long>(CURLPROTO_HTTP | CURLPROTO_HTTPS));
#endif
  }

  void SetLimits(const TTransportOptions& options) {
    Set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(options.connect.count()));
    Set(CURLOPT_LOW_SPEED_LIMIT, kSlowBytesPerSecond);
    Set(CURLOPT_LOW_SPEED_TIME, std::max(1L, static_cast<long>(options.stall.count() / 1000)));
  }

  void SetTrust(const TTransportOptions& options) {
    Set(CURLOPT_SSL_VERIFYPEER, 1L);
    Set(CURLOPT_SSL_VERIFYHOST, 2L);
    Set(CURLOPT_PROXY_SSL_VERIFYPEER, 1L);
    Set(CURLOPT_PROXY_SSL_VERIFYHOST, 2L);
    const char* const file =
        options.caFile.empty() ? OtherSystemsAuthorities() : options.caFile.c_str();
    if (file == nullptr) return;
    Set(CURLOPT_CAINFO, file);
    Set(CURLOPT_CAPATH, nullptr);
    Set(CURLOPT_PROXY_CAINFO, file);
    Set(CURLOPT_PROXY_CAPATH, nullptr);
  }

  // The library was built for one system and may run on another, which keeps its authorities
  // elsewhere; null where they lie in the library's own place.
  static const char* OtherSystemsAuthorities() {
    constexpr std::array kPlaces = {"/etc/ssl/certs/ca-certificates.crt",
                                    "/etc/pki/tls/certs/ca-bundle.crt", "/etc/ssl/ca-bundle.pem"};
    const char* const own = curl_version_info(CURLVERSION_NOW)->cainfo;
    if (own == nullptr || ::access(own, R_OK) == 0) return nullptr;
    const auto found = std::find_if(kPlaces.begin(), kPlaces.end(),
                                    [](const char* place) { return ::access(place, R_OK) == 0; });
    return found == kPlaces.end() ? nullptr : *found;
  }

  // Without a choice the library reads the usual environment variables itself.
  void SetProxy(const TProxyChoice& proxy) {
    Set(CURLOPT_PROXYAUTH, kAuthentication);
    Set(CURLOPT_SOCKS5_AUTH, static_cast<long>(CURLAUTH_BASIC));
    Set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    if (proxy.kind == TProxyChoice::EKind::kDirect) Set(CURLOPT_PROXY, "");
    if (proxy.kind != TProxyChoice::EKind::kGiven) return;
    Set(CURLOPT_PROXY, proxy.host.c_str());
    Set(CURLOPT_NOPROXY, "");
    if (proxy.port != 0) Set(CURLOPT_PROXYPORT, static_cast<long>(proxy.port));
    if (proxy.user.empty()) return;
    Set(CURLOPT_PROXYUSERNAME, proxy.user.c_str());
    Set(CURLOPT_PROXYPASSWORD, proxy.password.c_str());
  }

  void SetCallbacks() {
    errorText[0] = '\0';
    Set(CURLOPT_ERRORBUFFER, errorText);
    Set(CURLOPT_PRIVATE, this);
    Set(CURLOPT_HEADERDATA, this);
    Set(CURLOPT_HEADERFUNCTION, &TExchange::OnHeader);
    Set(CURLOPT_WRITEDATA, this);
    Set(CURLOPT_WRITEFUNCTION, &TExchange::OnBody);
  }

  static std::size_t OnHeader(char* text, std::size_t size, std::size_t count, void* self) {
    const std::string_view line(text, size * count);
    auto& exchange = *static_cast<TExchange*>(self);
    const bool isTaken = exchange.Guard([&] { exchange.ReadHeader(line); });
    return isTaken ? line.size() : 0;
  }

  void ReadHeader(std::string_view line) {
    // A response may follow others: to the proxy's question for a password, or "100 Continue".
    if (boost::istarts_with(line, "HTTP/")) response = {};
    ReadHeaderLine(line, response);
  }

  static std::size_t OnBody(char* bytes, std::size_t size, std::size_t count, void* self) {
    auto& exchange = *static_cast<TExchange*>(self);
    return exchange.Receive({bytes, size * count}) ? size * count : 0;
  }

  // No exception may pass through the library: it is kept, and the transfer ends.
  template <typename TStep>
  bool Guard(TStep step) {
    try {
      step();
    } catch (...) {
      thrown = std::current_exception();
    }
    return !thrown;
  }

  bool Receive(std::string_view bytes) {
    if (!isAnnounced) Announce();
    isRefused = !HasContent();
    return !isRefused && !thrown && Guard([&] { transfer.sink->OnData(bytes); });
  }

  void Announce() {
    isAnnounced = true;
    Guard([&] {
      CompleteResponse();
      if (HasContent()) transfer.sink->OnResponse(response);
    });
  }

  void CompleteResponse() {
    long status = 0;
    curl_off_t length = -1;
    curl_off_t retryAfter = 0;
    curl_easy_getinfo(easy.get(), CURLINFO_RESPONSE_CODE, &status);
    curl_easy_getinfo(easy.get(), CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
    curl_easy_getinfo(easy.get(), CURLINFO_RETRY_AFTER, &retryAfter);
    response.status = static_cast<int>(status);
    if (length >= 0) response.length = static_cast<std::uint64_t>(length);
    response.retryAfter = std::chrono::seconds(retryAfter);
    if (!response.redirect.empty())
      response.redirect = AbsoluteAddress(transfer.url, response.redirect);
  }

  bool HasContent() const {
    return response.status == 200 || response.status == 206 ||
           (response.status == 201 && !transfer.method.empty());
  }

  // The proxy's own answer: to CONNECT, or in the server's place.
  long ProxyStatus() const {
    long status = 0;
    curl_easy_getinfo(easy.get(), CURLINFO_HTTP_CONNECTCODE, &status);
    return status == 0 && response.status == 407 ? 407 : status;
  }

  TTransfer& transfer;
  TEasy easy;
  TList headers;
  TResponse response;
  std::exception_ptr thrown;
  bool isAnnounced = false;
  bool isRefused = false;
  char errorText[CURL_ERROR_SIZE];
};

// The library would wait for somebody to write where the file is a pipe, and at each transfer anew.
void DemandFile(const std::string& certificates) {
  std::error_code error;
  const std::filesystem::file_status status = std::filesystem::status(certificates, error);
  if (!std::filesystem::exists(status) || std::filesystem::is_regular_file(status)) return;
  throw DownloadError(EOutcome::kNotTrusted,
                      "--ca-file " + certificates + " is no file; name one with certificates");
}

class TCurlTransport : public ITransport {
 public:
  explicit TCurlTransport(const TTransportOptions& options) : options(options) {
    if (!options.caFile.empty()) DemandFile(options.caFile);
    StartCurl();
    multi = curl_multi_init();
    if (multi == nullptr) throw TError("libcurl does not start");
    curl_multi_setopt(multi, CURLMOPT_MAX_HOST_CONNECTIONS, kConnections);
  }

  ~TCurlTransport() override {
    CancelAll();
    curl_multi_cleanup(multi);
  }

  void Start(TTransfer& transfer) override {
    exchanges.push_back(std::make_unique<TExchange>(transfer, options));
    curl_multi_add_handle(multi, exchanges.back()->Handle());
  }

  std::optional<TTransferResult> Wait(std::chrono::milliseconds limit) override {
    int running = 0;
    curl_multi_perform(multi, &running);
    if (auto result = TakeEnded()) return result;
    curl_multi_poll(multi, nullptr, 0, static_cast<int>(limit.count()), nullptr);
    curl_multi_perform(multi, &running);
    return TakeEnded();
  }

  void CancelAll() override {
    for (const auto& exchange : exchanges) curl_multi_remove_handle(multi, exchange->Handle());
    exchanges.clear();
  }

 private:
  std::optional<TTransferResult> TakeEnded() {
    int left = 0;
    const CURLMsg* message = curl_multi_info_read(multi, &left);
    if (message == nullptr || message->msg != CURLMSG_DONE) return std::nullopt;
    const CURLcode code = message->data.result;
    CURL* const handle = message->easy_handle;
    const auto found = std::ranges::find(exchanges, handle, &TExchange::Handle);
    curl_multi_remove_handle(multi, handle);
    TTransferResult result = (*found)->End(code);
    exchanges.erase(found);
    return result;
  }

  TTransportOptions options;
  CURLM* multi = nullptr;
  std::vector<std::unique_ptr<TExchange>> exchanges;
};

}  // namespace

std::string AbsoluteAddress(const std::string& base, const std::string& location) {
  const std::unique_ptr<CURLU, TRelease> url(curl_url());
  char* text = nullptr;
  const bool isWhole = curl_url_set(url.get(), CURLUPART_URL, base.c_str(), 0) == CURLUE_OK &&
                       curl_url_set(url.get(), CURLUPART_URL, location.c_str(), 0) == CURLUE_OK &&
                       curl_url_get(url.get(), CURLUPART_URL, &text, 0) == CURLUE_OK;
  const std::string address = isWhole ? text : location;
  curl_free(text);
  return address;
}

std::unique_ptr<ITransport> MakeTransport(const TTransportOptions& options) {
  return std::make_unique<TCurlTransport>(options);
}

bool VerifiesBeforeSending(const TTransportOptions& /*options*/) { return true; }

}  // namespace svc::acquire
