// Composes the log that an operation is to write.
#pragma once

#include <cstddef>
#include <string>

#include "tests/support/recording_logger.h"

namespace svc::test {

// The lines that every operation of the plug-in writes for what it reads and delivers.
class TExpectedLog {
 public:
  TExpectedLog& Error(const std::string& text) { return Line(0, text); }
  TExpectedLog& Warning(const std::string& text) { return Line(1, text); }
  TExpectedLog& Progress(const std::string& text) { return Line(3, text); }
  TExpectedLog& Trace(const std::string& text) { return Line(4, text); }
  TExpectedLog& Line(int level, const std::string& text) {
    log.push_back({level, text});
    return *this;
  }
  TExpectedLog& Append(const TLog& lines) {
    log.insert(log.end(), lines.begin(), lines.end());
    return *this;
  }

  // A property that has a value, is null, or is missing.
  TExpectedLog& Read() { return Trace("In GetPropertyValue").Trace("In GetValue"); }
  TExpectedLog& ReadNull() { return Trace("In GetPropertyValue"); }
  TExpectedLog& ReadMissing() {
    return Trace("In GetPropertyValue").Trace("SV: Exception caught in GetPropertyValue.");
  }
  // A test of a property that has a value, or is missing.
  TExpectedLog& Test() { return Trace("In PropertyContains").Read(); }
  TExpectedLog& TestMissing() { return Trace("In PropertyContains").ReadMissing(); }
  // A property of the last of so many instances, each of which has it.
  TExpectedLog& ReadClass(std::size_t instances) {
    Trace("In getStringPropertyFromContainer");
    for (std::size_t i = 0; i < instances; ++i) Read();
    return *this;
  }
  // The list of a class's instances, where there is such a class.
  TExpectedLog& List() {
    return Trace("In getVersionItemFromContainer")
        .Trace("after getting class name in container")
        .Trace("after getting instances in container");
  }
  TExpectedLog& ListMissing() { return Trace("In getVersionItemFromContainer"); }
  TExpectedLog& Delivery() { return Trace("In DeliverInstance"); }

  const TLog& Entries() const { return log; }
  bool operator==(const TLog& other) const { return log == other; }
  friend void PrintTo(const TExpectedLog& expected, std::ostream* stream) {
    for (const TLogEntry& entry : expected.log) PrintTo(entry, stream);
  }

 private:
  TLog log;
};

}  // namespace svc::test
