// Reading a namespace the short way.
#pragma once

#include <gtest/gtest.h>

#include <boost/shared_ptr.hpp>
#include <string>
#include <vector>

#include "host/hskcore/cim.h"
#include "host/hskcore/exception.h"
#include "runtime/hskcore/namespace_writer.h"

namespace svc::testing {

using NQRXHSK20::ECIMType;
using NQRXHSK20::ICIMClass;
using NQRXHSK20::ICIMInstance;
using NQRXHSK20::ICIMNamespace;
using NQRXHSK20::ICIMProperty;
using NQRXHSK20::TCIMValue;
using NQRXHSK20::THSKException;
using NQRXHSK20::THSKStatusCode;

using TNamespaceHandle = boost::shared_ptr<ICIMNamespace>;
using TClassHandle = boost::shared_ptr<ICIMClass>;
using TInstanceHandle = boost::shared_ptr<ICIMInstance>;
using TPropertyHandle = boost::shared_ptr<ICIMProperty>;

inline TClassHandle ClassOf(const TNamespaceHandle& space, const std::string& name) {
  TClassHandle found;
  space->GetClass(found, name, {});
  return found;
}

inline std::vector<TInstanceHandle> InstancesOf(const TNamespaceHandle& space,
                                                const std::string& name, bool deep = true) {
  std::vector<TInstanceHandle> found;
  ClassOf(space, name)
      ->EnumerateInstances(NQRXHSK20::TAddToVectorCallback<ICIMInstance>(found), deep, {});
  return found;
}

inline TPropertyHandle PropertyOf(const TInstanceHandle& instance, const std::string& name) {
  TPropertyHandle property;
  instance->GetProperty(property, name, {});
  return property;
}

inline TCIMValue ValueOf(const TInstanceHandle& instance, const std::string& name) {
  return PropertyOf(instance, name)->Value({});
}

inline std::string TextOf(const TInstanceHandle& instance, const std::string& name) {
  return ValueOf(instance, name).ToString(10);
}

inline std::vector<std::string> TextsOf(const std::vector<TInstanceHandle>& instances,
                                        const std::string& name) {
  std::vector<std::string> texts;
  for (const auto& instance : instances) {
    texts.push_back(TextOf(instance, name));
  }
  return texts;
}

// The status with which the action fails; none fails the test.
template <typename TAction>
THSKStatusCode StatusOf(TAction action) {
  try {
    action();
  } catch (const THSKException& error) {
    EXPECT_FALSE(error.GetMessageText().empty());
    return error.GetStatusCode();
  }
  ADD_FAILURE() << "nothing was thrown";
  return THSKStatusCode{};
}

// What a call that fails for good says of it.
template <typename TAction>
std::string CauseOf(TAction action) {
  try {
    action();
  } catch (const THSKException& error) {
    EXPECT_EQ(error.GetStatusCode(), THSKStatusCode::kFailed);
    return error.GetMessageText();
  }
  ADD_FAILURE() << "nothing was thrown";
  return {};
}

// A class of that name without properties of its own.
inline void Declare(const TNamespaceHandle& space, const std::string& name,
                    const std::string& superclass = "") {
  TNamespaceWriter writer(space);
  writer.BeginClass(name, superclass);
  writer.Finish();
}

// An instance with one string.
inline void Add(const TNamespaceHandle& space, const std::string& className,
                const std::string& property, const std::string& text) {
  TNamespaceWriter writer(space);
  writer.BeginInstance(className);
  writer.WriteValue(property, ECIMType::kString, text);
  writer.Finish();
}

// An instance with an array of one string.
inline void AddArray(const TNamespaceHandle& space, const std::string& className,
                     const std::string& property, const std::string& text) {
  TNamespaceWriter writer(space);
  writer.BeginInstance(className);
  writer.BeginArray(property, ECIMType::kString);
  writer.AddElement(text);
  writer.EndArray();
  writer.Finish();
}

}  // namespace svc::testing
