#include "runtime/acquire/certificate_file_windows.h"

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "base/utf16.h"
#include "runtime/acquire/outcome.h"

namespace svc::acquire {
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
