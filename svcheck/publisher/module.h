// What each of the publisher's verbs does, once its command line is understood. Every operation
// writes what it did to standard output and throws std::exception with a text for people.
#ifndef SVCHECK_PUBLISHER_MODULE_H_
#define SVCHECK_PUBLISHER_MODULE_H_

#include "svcheck/publisher/command.h"

namespace svc::repository {

void MakeKeys(const TCommand& command);
void BuildManifest(const TCommand& command);
void SignManifest(const TCommand& command);
void VerifyRepository(const TCommand& command);

}  // namespace svc::repository

#endif  // SVCHECK_PUBLISHER_MODULE_H_
