// What a fake host is told to do when it is called, and what it was asked.
//
// Every call of the host's interfaces is noted as a line of text, "GetClass QRXSG_SVResult {}", in
// the order of the calls. A call may be scripted to fail by its text or by its number.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/hskcore/exception.h"
#include "host/hskcore/value.h"

namespace svc::test {

enum class EFault {
  kThrowStatus,   // A THSKException of TFault::status.
  kThrowOther,    // A TOtherFailure.
  kEmptyHandle,   // The call returns, its handle stays empty.
  kUnlikelyValue  // ICIMProperty::Value gives an array of numbers and nulls.
};

struct TFault {
  EFault kind;
  NQRXHSK20::THSKStatusCode status = NQRXHSK20::THSKStatusCode::kFailed;
};

TFault ThrowStatus(int status);
inline constexpr TFault kThrowOther{EFault::kThrowOther};
inline constexpr TFault kEmptyHandle{EFault::kEmptyHandle};
inline constexpr TFault kUnlikelyValue{EFault::kUnlikelyValue};

// The text of every THSKException that a script throws.
inline constexpr const char* kScriptedFailure = "scripted failure";

// An exception that no rule of the plug-in knows.
struct TOtherFailure {};

class TCallScript {
 public:
  // Every call of exactly this text fails.
  void Fail(const std::string& call, TFault fault) { byText[call] = fault; }
  // The call with this number fails, counted from 0.
  void FailAt(std::size_t number, TFault fault) { byNumber[number] = fault; }

  // Called before each call is noted.
  void OnCall(std::function<void()> action) { onCall = std::move(action); }

  // Notes a call and throws when that is scripted. Returns what else the call is to do, if
  // anything.
  std::optional<EFault> Enter(const std::string& call);

  const std::vector<std::string>& Calls() const { return calls; }
  // How often a call of exactly this text was made.
  std::size_t Count(const std::string& call) const;
  void Forget() { calls.clear(); }

 private:
  std::function<void()> onCall;
  std::vector<std::string> calls;
  std::map<std::string, TFault> byText;
  std::map<std::size_t, TFault> byNumber;
};

// "{}" or "{key=text, ...}".
std::string ContextText(const NQRXHSK20::CIMContext& context);
// Of the context in which a plug-in looks inventory classes up.
std::string PluginContextText();

}  // namespace svc::test
