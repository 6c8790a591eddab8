// Finding classes and their instances, and reading the properties of many instances without a copy
// for each.
#pragma once

#include <boost/shared_ptr.hpp>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "host/hskcore/cim.h"
#include "host/hskcore/shared_text.h"
#include "plugins/version_checker/inventory/inventory_operations.h"

namespace svc::checker {

// The one-entry context in which inventory classes are looked up: on behalf of the plug-ins.
const NQRXHSK20::CIMContext& PluginContext();

// Fills `cimClass` and returns true; returns false when there is no such class.
// Deliberate: see "A failed look-up goes on without a class" in docs/one-query.md.
bool FindClass(boost::shared_ptr<NQRXHSK20::ICIMClass>& cimClass,
               const TNamespaceHandle& cimNamespace, std::string_view className,
               const NQRXHSK20::CIMContext& context);

// Appends every instance of the class and its subclasses.
void AppendInstances(TInstanceList& instances,
                     const boost::shared_ptr<NQRXHSK20::ICIMClass>& cimClass,
                     const NQRXHSK20::CIMContext& context);

// Texts from this length on are long: it pays to know them again.
inline constexpr std::size_t kLongText = 1024;

// Reads as TInventoryOperations::GetPropertyValue does, to the same log entries and calls of the
// host. Instances that share a value, such as the default of their class, get one text. Used by one
// thread.
class TPropertyReader {
 public:
  TPropertyReader();
  NQRXHSK20::TSharedText Read(const TInstanceHandle& instance, std::string_view property);
  // The same for a text that is only looked at: one that is not long is valid until the next call.
  NQRXHSK20::TSharedText Look(const TInstanceHandle& instance, std::string_view property);

 private:
  NQRXHSK20::TSharedText TextOf(boost::shared_ptr<NQRXHSK20::ICIMProperty>& handle,
                                const NQRXHSK20::TCIMValue& value);
  NQRXHSK20::TSharedText LookAt(boost::shared_ptr<NQRXHSK20::ICIMProperty>& handle,
                                const NQRXHSK20::TCIMValue& value);
  NQRXHSK20::TSharedText Keep(const boost::shared_ptr<NQRXHSK20::ICIMProperty>& handle,
                              std::string text);

  bool isTraced;  // Whether the trace is kept: asked once.
  // The last array that was long: arrays become texts when they are read.
  boost::shared_ptr<NQRXHSK20::ICIMProperty> lastArray;
  NQRXHSK20::TSharedText lastText;
  std::string looked;  // The array that was looked at last.
};

// What was found out about long texts that many instances share: a default in the class would
// otherwise be searched for each of them. Short texts are looked at anew. Used by one thread.
template <typename T>
class TKnownTexts {
 public:
  // What is known of the text, which the caller completes. Valid until the next call.
  std::optional<T>& Of(const NQRXHSK20::TSharedText& text) {
    if (text.size() >= kLongText) {
      auto& [kept, found] = texts.try_emplace(text.View().data(), text, std::nullopt).first->second;
      if (kept.size() == text.size()) return found;
    }
    return unknown = std::nullopt;
  }

  template <typename TFind>
  T Get(const NQRXHSK20::TSharedText& text, const TFind& find) {
    std::optional<T>& found = Of(text);
    if (!found) found = find();
    return *found;
  }

 private:
  // By the place of their bytes, which the texts kept here hold.
  std::unordered_map<const char*, std::pair<NQRXHSK20::TSharedText, std::optional<T>>> texts;
  std::optional<T> unknown;
};

}  // namespace svc::checker
