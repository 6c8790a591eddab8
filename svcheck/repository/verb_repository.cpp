#include "svcheck/repository/verb_repository.h"

#include <cstdio>

#include "runtime/acquire/module.h"
#include "runtime/acquire/outcome.h"

namespace svc {

int RunRepositoryVerb(int count, char** arguments) {
  using TFunction = int (*)(int, char**) noexcept;
  try {
    const auto run =
        reinterpret_cast<TFunction>(acquire::FindInModule("svcheck-repository", "SvcRepository"));
    return run(count, arguments);
  } catch (const acquire::TFailure& failure) {
    std::fprintf(stderr, "svcheck: %s\n", failure.what());
    return 1;
  }
}

}  // namespace svc
