#include <shlwapi.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <utility>
#include <vector>

#include "base/shown_text.h"
#include "runtime/acquire/settings.h"
#include "runtime/acquire/transport_winhttp.h"

namespace svc::acquire {

constexpr std::uint64_t kSlowBytesPerSecond = 100;
constexpr int kMaxResends = 3;  // A question for credentials, and its second round.
constexpr DWORD kProxyAsks = 407;
constexpr DWORD kServerAsks = 401;

// The kinds that need a user and a password and nothing else; the safer comes first.
constexpr DWORD kAuthenticationSchemes[] = {WINHTTP_AUTH_SCHEME_DIGEST, WINHTTP_AUTH_SCHEME_BASIC};

static std::wstring Part(const wchar_t* text, DWORD length) {
  return text == nullptr ? std::wstring() : std::wstring(text, length);
}

static std::uint64_t NumberIn(const std::wstring& text) {
  return WholeNumber(Narrow(text)).value_or(0);
}

static std::chrono::seconds SecondsOf(std::uint64_t number) {
  constexpr std::uint64_t kMost = std::chrono::seconds::max().count();
  return std::chrono::seconds(std::min(number, kMost));
}

template <typename TValue>
static bool SetOption(const TInternet& handle, DWORD option, TValue value) {
  return WinHttpSetOption(handle.get(), option, &value, sizeof(value));
}

std::string AbsoluteAddress(const std::string& base, const std::string& location) {
  std::vector<wchar_t> combined(base.size() + 3 * location.size() + 16);
  DWORD size = static_cast<DWORD>(combined.size());
  const HRESULT outcome = UrlCombineW(Widen(base).c_str(), Widen(location).c_str(), combined.data(),
                                      &size, URL_ESCAPE_SPACES_ONLY);
  return outcome == S_OK ? Narrow(combined.data()) : location;
}

TWinHttpExchange::TWinHttpExchange(TTransfer& transfer, const TWinHttpSession& session,
                                   std::shared_ptr<TWinHttpEvents> news, std::uint64_t number)
    : transfer(transfer), session(session), events(std::move(news)), number(number) {
  if (!Open() || !SetOptions() || !AddHeaders() || !Send()) FailLater(GetLastError());
}

void TWinHttpExchange::FailLater(DWORD error) {
  events->Push({number, WINHTTP_CALLBACK_STATUS_REQUEST_ERROR, error});
}

bool TWinHttpExchange::Open() {
  const std::wstring address = Widen(transfer.url);
  URL_COMPONENTS parts{};
  parts.dwStructSize = sizeof(parts);
  parts.dwSchemeLength = parts.dwHostNameLength = parts.dwUserNameLength = static_cast<DWORD>(-1);
  parts.dwPasswordLength = parts.dwUrlPathLength = parts.dwExtraInfoLength = static_cast<DWORD>(-1);
  if (!WinHttpCrackUrl(address.c_str(), 0, 0, &parts)) return false;
  host = Part(parts.lpszHostName, parts.dwHostNameLength);
  isSecure = parts.nScheme == INTERNET_SCHEME_HTTPS;
  serverCredentials = {Unescaped(Narrow(Part(parts.lpszUserName, parts.dwUserNameLength))),
                       Unescaped(Narrow(Part(parts.lpszPassword, parts.dwPasswordLength)))};
  connection.reset(WinHttpConnect(session.handle.get(), host.c_str(), parts.nPort, 0));
  if (!connection) return false;
  const std::wstring path = Part(parts.lpszUrlPath, parts.dwUrlPathLength) +
                            Part(parts.lpszExtraInfo, parts.dwExtraInfoLength);
  const std::wstring method = transfer.method.empty() ? L"GET" : Widen(transfer.method);
  request.reset(WinHttpOpenRequest(connection.get(), method.c_str(), path.c_str(), nullptr,
                                   WINHTTP_NO_REFERER, WINHTTP_DEFAULT_ACCEPT_TYPES,
                                   WINHTTP_FLAG_ESCAPE_DISABLE | WINHTTP_FLAG_ESCAPE_DISABLE_QUERY |
                                       (isSecure ? WINHTTP_FLAG_SECURE : 0)));
  return request != nullptr;
}

bool TWinHttpExchange::SetOptions() {
  auto made = std::make_unique<TWinHttpContext>(TWinHttpContext{events, number});
  if (!SetOption(request, WINHTTP_OPTION_CONTEXT_VALUE, reinterpret_cast<DWORD_PTR>(made.get())))
    return false;
  context = made.release();
  const int connect = static_cast<int>(session.connect.count());
  const int stall = static_cast<int>(session.stall.count());
  if (!WinHttpSetTimeouts(request.get(), connect, connect, stall, stall)) return false;
  if (!SetOption(request, WINHTTP_OPTION_DISABLE_FEATURE,
                 DWORD{WINHTTP_DISABLE_REDIRECTS | WINHTTP_DISABLE_COOKIES}))
    return false;
  // Nor are the user's own credentials of this system sent to whoever asks for them.
  if (!SetOption(request, WINHTTP_OPTION_AUTOLOGON_POLICY,
                 DWORD{WINHTTP_AUTOLOGON_SECURITY_LEVEL_HIGH}))
    return false;
  // The chain is built from the named certificates instead, before anything is taken.
  return !isSecure || !session.trusted ||
         SetOption(request, WINHTTP_OPTION_SECURITY_FLAGS, DWORD{SECURITY_FLAG_IGNORE_UNKNOWN_CA});
}

bool TWinHttpExchange::AddHeaders() {
  std::wstring headers;
  for (const std::string& header : transfer.headers) headers += Widen(header) + L"\r\n";
  if (transfer.offset != 0) {
    headers += L"Range: bytes=" + std::to_wstring(transfer.offset) + L"-\r\n";
    if (!transfer.etag.empty()) headers += L"If-Range: " + Widen(transfer.etag) + L"\r\n";
  }
  if (headers.empty()) return true;
  return WinHttpAddRequestHeaders(request.get(), headers.c_str(), static_cast<DWORD>(-1),
                                  WINHTTP_ADDREQ_FLAG_ADD);
}

bool TWinHttpExchange::Send() {
  const auto size = static_cast<DWORD>(transfer.body.size());
  return WinHttpSendRequest(request.get(), WINHTTP_NO_ADDITIONAL_HEADERS, 0,
                            size == 0 ? WINHTTP_NO_REQUEST_DATA : transfer.body.data(), size, size,
                            reinterpret_cast<DWORD_PTR>(context));
}

bool TWinHttpExchange::Read() {
  std::vector<char>& buffer = context->buffer;
  return WinHttpReadData(request.get(), buffer.data(), static_cast<DWORD>(buffer.size()), nullptr);
}

std::optional<TTransferResult> TWinHttpExchange::OnEvent(const TWinHttpEvent& event) {
  switch (event.status) {
    case WINHTTP_CALLBACK_STATUS_SENDREQUEST_COMPLETE:
      return OnSent();
    case WINHTTP_CALLBACK_STATUS_HEADERS_AVAILABLE:
      return OnHeaders();
    case WINHTTP_CALLBACK_STATUS_READ_COMPLETE:
      return OnBytes(event.value);
    case WINHTTP_CALLBACK_STATUS_REQUEST_ERROR:
      return OnFailure(event.value);
    default:
      return std::nullopt;
  }
}

std::optional<TTransferResult> TWinHttpExchange::OnTime(TClock::time_point now) {
  const auto limit = isConnected ? session.stall : session.connect;
  if (now - since < limit) return std::nullopt;
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(now - since).count();
  const auto least =
      kSlowBytesPerSecond * static_cast<std::uint64_t>(std::max<long long>(1, seconds));
  if (bytesSince < least) {
    return End(ETransferEnd::kTooSlow,
               isConnected ? "next to nothing arrives any more" : "nothing answers there in time");
  }
  since = now;
  bytesSince = 0;
  return std::nullopt;
}

std::optional<TTransferResult> TWinHttpExchange::OnSent() {
  isConnected = true;
  since = TClock::now();
  if (std::string reason = WhyNotTrusted(); !reason.empty())
    return End(ETransferEnd::kNotTrusted, std::move(reason));
  return GoOn(WinHttpReceiveResponse(request.get(), nullptr));
}

std::optional<TTransferResult> TWinHttpExchange::OnHeaders() {
  ReadResponse();
  if (AnswerWithCredentials()) return GoOn(Send());
  if (response.status == kProxyAsks)
    return End(ETransferEnd::kProxyRefused, "the proxy answered with status 407");
  const bool hasContent = response.status == 200 || response.status == 206 ||
                          (response.status == 201 && !transfer.method.empty());
  if (!hasContent) return End(ETransferEnd::kAnswered);
  try {
    transfer.sink->OnResponse(response);
  } catch (...) {
    thrown = std::current_exception();
    return End(ETransferEnd::kSinkThrew);
  }
  return GoOn(Read());
}

std::optional<TTransferResult> TWinHttpExchange::OnBytes(DWORD count) {
  if (count == 0) return End(ETransferEnd::kAnswered);
  bytesSince += count;
  try {
    transfer.sink->OnData({context->buffer.data(), count});
  } catch (...) {
    thrown = std::current_exception();
    return End(ETransferEnd::kSinkThrew);
  }
  return GoOn(Read());
}

std::optional<TTransferResult> TWinHttpExchange::OnFailure(DWORD error) {
  if (error == ERROR_WINHTTP_RESEND_REQUEST && ++resends <= kMaxResends) return GoOn(Send());
  const TWinHttpError* known = FindWinHttpError(error);
  if (known != nullptr) return End(known->end, known->reason);
  return End(isConnected ? ETransferEnd::kBroken : ETransferEnd::kUnreachable, SystemText(error));
}

// A call that failed at once ends the exchange as one that failed later does.
std::optional<TTransferResult> TWinHttpExchange::GoOn(bool isUnderWay) {
  if (!isUnderWay) FailLater(GetLastError());
  return std::nullopt;
}

std::string TWinHttpExchange::WhyNotTrusted() const {
  if (!isSecure || !session.trusted) return "";
  PCCERT_CONTEXT certificate = nullptr;
  DWORD size = sizeof(certificate);
  if (!WinHttpQueryOption(request.get(), WINHTTP_OPTION_SERVER_CERT_CONTEXT, &certificate, &size))
    return SystemText(GetLastError());
  std::string reason = session.trusted->WhyNot(certificate, host);
  CertFreeCertificateContext(certificate);
  return reason;
}

std::wstring TWinHttpExchange::Header(DWORD which, const wchar_t* name) const {
  DWORD size = 0;
  WinHttpQueryHeaders(request.get(), which, name, nullptr, &size, WINHTTP_NO_HEADER_INDEX);
  std::wstring text(size / sizeof(wchar_t), L'\0');
  if (!WinHttpQueryHeaders(request.get(), which, name, text.data(), &size, WINHTTP_NO_HEADER_INDEX))
    return {};
  text.resize(size / sizeof(wchar_t));
  return text;
}

void TWinHttpExchange::ReadResponse() {
  response = {};
  response.status = static_cast<int>(NumberIn(Header(WINHTTP_QUERY_STATUS_CODE)));
  response.etag = Narrow(Header(WINHTTP_QUERY_ETAG));
  if (const auto length = Header(WINHTTP_QUERY_CONTENT_LENGTH); !length.empty())
    response.length = WholeNumber(Narrow(length));
  response.rangeStart = RangeStart(Narrow(Header(WINHTTP_QUERY_CONTENT_RANGE)));
  response.retryAfter = SecondsOf(NumberIn(Header(WINHTTP_QUERY_RETRY_AFTER)));
  response.sessionToken = Narrow(Header(WINHTTP_QUERY_CUSTOM, L"X-Auth-Token"));
  const std::wstring location = Header(WINHTTP_QUERY_LOCATION);
  const bool tellsPlace =
      (response.status >= 300 && response.status < 400) || response.status == 201;
  if (tellsPlace && !location.empty())
    response.redirect = AbsoluteAddress(transfer.url, Narrow(location));
}

// Whether the server or the proxy asks for a user, one was given, and it was not tried in vain.
bool TWinHttpExchange::AnswerWithCredentials() {
  const bool isProxy = response.status == kProxyAsks;
  if (!isProxy && response.status != kServerAsks) return false;
  const TCredentials& credentials = isProxy ? session.proxyCredentials : serverCredentials;
  DWORD offered = 0;
  DWORD first = 0;
  DWORD target = 0;
  if (credentials.user.empty() || ++resends > kMaxResends ||
      !WinHttpQueryAuthSchemes(request.get(), &offered, &first, &target))
    return false;
  for (const DWORD scheme : kAuthenticationSchemes) {
    if ((offered & scheme) == 0) continue;
    return WinHttpSetCredentials(request.get(), target, scheme, credentials.user.c_str(),
                                 credentials.password.c_str(), nullptr);
  }
  return false;
}

TTransferResult TWinHttpExchange::End(ETransferEnd end, std::string reason) const {
  return {&transfer, end, response, std::move(reason), thrown};
}

// --- Certificates from a file ---

namespace {

constexpr std::string_view kBegin = "-----BEGIN CERTIFICATE-----";
constexpr std::string_view kEnd = "-----END CERTIFICATE-----";

struct TFreeChain {
  void operator()(PCCERT_CHAIN_CONTEXT chain) const { CertFreeCertificateChain(chain); }
};

std::string ReadText(const std::string& path) {
  std::ifstream file(std::filesystem::path(Widen(path)), std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// Trusts the certificates of the store and no others; null where it cannot be made.
HCERTCHAINENGINE EngineThatTrusts(HCERTSTORE store) {
  CERT_CHAIN_ENGINE_CONFIG config{};
  config.cbSize = sizeof(config);
  config.hExclusiveRoot = store;
  config.dwExclusiveFlags = CERT_CHAIN_EXCLUSIVE_ENABLE_CA_FLAG;
  HCERTCHAINENGINE made = nullptr;
  if (CertCreateCertificateChainEngine(&config, &made)) return made;
  // Systems that know no flags take the form that ends before them; trust then ends at
  // authorities that sign themselves.
  config.cbSize = offsetof(CERT_CHAIN_ENGINE_CONFIG, dwExclusiveFlags);
  return CertCreateCertificateChainEngine(&config, &made) ? made : nullptr;
}

std::string PolicyProblem(PCCERT_CHAIN_CONTEXT chain, std::wstring host) {
  SSL_EXTRA_CERT_CHAIN_POLICY_PARA ssl{};
  ssl.cbSize = sizeof(ssl);
  ssl.dwAuthType = AUTHTYPE_SERVER;
  ssl.pwszServerName = host.data();
  CERT_CHAIN_POLICY_PARA parameters{};
  parameters.cbSize = sizeof(parameters);
  parameters.pvExtraPolicyPara = &ssl;
  CERT_CHAIN_POLICY_STATUS status{};
  status.cbSize = sizeof(status);
  if (!CertVerifyCertificateChainPolicy(CERT_CHAIN_POLICY_SSL, chain, &parameters, &status))
    return SystemText(GetLastError());
  return status.dwError == 0 ? "" : SystemText(status.dwError);
}

}  // namespace

TCertificateFile::TCertificateFile(const std::string& path)
    : store(CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr)) {
  const std::string text = ReadText(path);
  std::size_t count = 0;
  for (auto begin = text.find(kBegin); begin != std::string::npos; ++count) {
    const auto end = text.find(kEnd, begin);
    if (end == std::string::npos) break;
    Add(std::string_view(text).substr(begin, end + kEnd.size() - begin));
    begin = text.find(kBegin, end);
  }
  engine.reset(count == 0 ? nullptr : EngineThatTrusts(store.get()));
  if (!engine)
    throw DownloadError(EOutcome::kNotTrusted,
                        path +
                            " holds no certificates that can be read; name a file of the PEM form "
                            "with --ca-file FILE");
}

void TCertificateFile::Add(std::string_view block) {
  DWORD size = 0;
  const auto length = static_cast<DWORD>(block.size());
  CryptStringToBinaryA(block.data(), length, CRYPT_STRING_BASE64HEADER, nullptr, &size, nullptr,
                       nullptr);
  std::vector<BYTE> bytes(size);
  if (CryptStringToBinaryA(block.data(), length, CRYPT_STRING_BASE64HEADER, bytes.data(), &size,
                           nullptr, nullptr))
    CertAddEncodedCertificateToStore(store.get(), X509_ASN_ENCODING, bytes.data(), size,
                                     CERT_STORE_ADD_USE_EXISTING, nullptr);
}

std::string TCertificateFile::WhyNot(PCCERT_CONTEXT certificate, const std::wstring& host) const {
  CERT_CHAIN_PARA parameters{};
  parameters.cbSize = sizeof(parameters);
  PCCERT_CHAIN_CONTEXT made = nullptr;
  if (!CertGetCertificateChain(engine.get(), certificate, nullptr, certificate->hCertStore,
                               &parameters, 0, nullptr, &made))
    return SystemText(GetLastError());
  const std::unique_ptr<const CERT_CHAIN_CONTEXT, TFreeChain> chain(made);
  // Not each system's policy minds that a chain comes to no trusted end.
  constexpr DWORD kLeadsNowhere = CERT_TRUST_IS_PARTIAL_CHAIN | CERT_TRUST_IS_UNTRUSTED_ROOT |
                                  CERT_TRUST_IS_NOT_SIGNATURE_VALID;
  if ((chain->TrustStatus.dwErrorStatus & kLeadsNowhere) != 0)
    return "it comes from none of the authorities of --ca-file";
  return PolicyProblem(chain.get(), host);
}

}  // namespace svc::acquire
