// The status codes that a host call may fail with.
#ifndef HOST_HSKCORE_STATUS_H_
#define HOST_HSKCORE_STATUS_H_

namespace NQRXHSK20 {

// Carried by THSKException. The numbers are part of the host's interface and never change.
enum class THSKStatusCode : int {
  kFailed = 1,               // Anything without a code of its own; the text says what.
  kNoBuffer = 4,             // No memory for the contents of a file.
  kUnsupportedDialect = 9,   // The catalogue is older than the dialect that was asked for.
  kFileUnreadable = 11,      // A file cannot be opened or read, or is no regular file.
  kNoSuchProperty = 12,      // An instance has no property of that name.
  kTypeMismatch = 13,        // A value cannot be converted to the type that was asked for.
  kClassNotFound = 15,       // A namespace has no class of that name.
  kFileNotFound = 26,        // A file does not exist.
  kMissingContextEntry = 32  // A query lacks a context entry that it needs.
};

}  // namespace NQRXHSK20

#endif  // HOST_HSKCORE_STATUS_H_
