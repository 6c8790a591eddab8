// "svcheck repository": the publisher's side of live queries.
#ifndef SVCHECK_REPOSITORY_VERB_REPOSITORY_H_
#define SVCHECK_REPOSITORY_VERB_REPOSITORY_H_

namespace svc {

// Runs the verb; arguments[0] is its own name. Returns the program's exit status. Its work is in a
// module that is loaded here, so that no other verb pays for it.
int RunRepositoryVerb(int count, char** arguments);

}  // namespace svc

#endif  // SVCHECK_REPOSITORY_VERB_REPOSITORY_H_
