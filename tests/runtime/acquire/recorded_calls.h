// The calls of the C library that decide what a power cut leaves, in their order. The program that
// holds this is linked so that they come here first.
#pragma once

#include <string>
#include <vector>

namespace svc::test {

// "fsync PATH", "rename FROM TO", "mkdir PATH"; paths seen from the current folder.
std::vector<std::string>& RecordedCalls();

// The next fsync fails with that error.
void FailNextSync(int error);

}  // namespace svc::test
