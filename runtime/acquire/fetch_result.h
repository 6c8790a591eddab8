// What the end of a transfer means: whether to try again, and what to say when that is no use.
#ifndef RUNTIME_ACQUIRE_FETCH_RESULT_H_
#define RUNTIME_ACQUIRE_FETCH_RESULT_H_

#include "runtime/acquire/outcome.h"
#include "runtime/acquire/transport.h"

namespace svc::acquire {

// REQUIRES: the transfer did not bring the file.
TFailure FailureOf(const TTransferResult& result);

// Whether the same request may go well later.
bool MayPass(const TTransferResult& result);

}  // namespace svc::acquire

#endif  // RUNTIME_ACQUIRE_FETCH_RESULT_H_
