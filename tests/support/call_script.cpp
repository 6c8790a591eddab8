#include "tests/support/call_script.h"

#include <algorithm>

#include "host/hskcore/root_object.h"
#include "host/hskcore/schema_helper.h"

using NQRXHSK20::CIMContext;
using NQRXHSK20::TCIMSchemaHelper;
using NQRXHSK20::THSKException;
using NQRXHSK20::THSKStatusCode;

namespace svc::test {

TFault ThrowStatus(int status) {
  return {EFault::kThrowStatus, static_cast<THSKStatusCode>(status)};
}

std::optional<EFault> TCallScript::Enter(const std::string& call) {
  if (onCall) onCall();
  const std::size_t number = calls.size();
  calls.push_back(call);
  std::optional<TFault> fault;
  if (const auto entry = byText.find(call); entry != byText.end()) fault = entry->second;
  if (const auto entry = byNumber.find(number); entry != byNumber.end()) fault = entry->second;
  if (!fault) return std::nullopt;
  if (fault->kind == EFault::kThrowStatus) throw THSKException(kScriptedFailure, fault->status);
  if (fault->kind == EFault::kThrowOther) throw TOtherFailure();
  return fault->kind;
}

std::size_t TCallScript::Count(const std::string& call) const {
  return static_cast<std::size_t>(std::count(calls.begin(), calls.end(), call));
}

std::string ContextText(const CIMContext& context) {
  std::string text;
  for (const auto& [key, value] : context) {
    text += (text.empty() ? "" : ", ") + key + "=" + value.ToString(10);
  }
  return "{" + text + "}";
}

std::string PluginContextText() {
  return ContextText({{TCIMSchemaHelper::kContextName, TCIMSchemaHelper::kPluginNSPName}});
}

}  // namespace svc::test
