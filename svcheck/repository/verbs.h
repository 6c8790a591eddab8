// What each of the publisher's verbs does, once its command line is understood. Every operation
// writes what it did to standard output and throws std::exception with a text for people.
#ifndef SVCHECK_REPOSITORY_VERBS_H_
#define SVCHECK_REPOSITORY_VERBS_H_

#include <cstdint>
#include <optional>
#include <string>

namespace svc::repository {

struct TCommand {
  std::string folder;
  std::string dataFolder;
  std::optional<std::uint64_t> serial;
  std::string expires;  // Empty: so many days from now.
  unsigned days = 180;
  std::string publicKeyFile;
  std::string secretKeyFile;
  std::string comment;
  bool allowUnsigned = false;
  bool noPassword = false;
};

void MakeKeys(const TCommand& command);
void BuildManifest(const TCommand& command);
void SignManifest(const TCommand& command);
void VerifyRepository(const TCommand& command);

}  // namespace svc::repository

#endif  // SVCHECK_REPOSITORY_VERBS_H_
