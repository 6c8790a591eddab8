// Certificates from a file, trusted instead of the system's own.
#ifndef RUNTIME_ACQUIRE_CERTIFICATE_FILE_WINDOWS_H_
#define RUNTIME_ACQUIRE_CERTIFICATE_FILE_WINDOWS_H_

#include <windows.h>

// Needs what windows.h declares.
#include <wincrypt.h>

#include <memory>
#include <string>

namespace svc::acquire {

struct TCloseStore {
  void operator()(HCERTSTORE store) const { CertCloseStore(store, 0); }
};
struct TFreeEngine {
  void operator()(HCERTCHAINENGINE engine) const { CertFreeCertificateChainEngine(engine); }
};

// Immutable; one thread.
class TCertificateFile {
 public:
  // Reads a file of PEM blocks (RFC 7468). Throws TError (kNotTrusted).
  explicit TCertificateFile(const std::string& path);

  // Why a server's certificate is not to be trusted for that host; empty when it is.
  std::string WhyNot(PCCERT_CONTEXT certificate, const std::wstring& host) const;

 private:
  void Add(std::string_view block);

  std::unique_ptr<void, TCloseStore> store;
  std::unique_ptr<void, TFreeEngine> engine;
};

}  // namespace svc::acquire

#endif  // RUNTIME_ACQUIRE_CERTIFICATE_FILE_WINDOWS_H_
