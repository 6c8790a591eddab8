// The host's object model in memory, filled by a test. Objects note their calls in a TCallScript,
// which outlives them. Names compare as they are written.
#pragma once

#include <boost/enable_shared_from_this.hpp>
#include <boost/shared_ptr.hpp>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/hskcore/cim.h"
#include "tests/support/call_script.h"

namespace svc::test {

class TFakeClass;

using TFakeProperties = std::vector<std::pair<std::string, NQRXHSK20::TCIMValue>>;

class TFakeProperty : public NQRXHSK20::ICIMProperty {
 public:
  TFakeProperty(TCallScript& script, std::string name, NQRXHSK20::TCIMValue value);
  const NQRXHSK20::TCIMValue& Value(const NQRXHSK20::CIMContext& context) const override;

 private:
  TCallScript& script;
  std::string name;
  NQRXHSK20::TCIMValue value;
  NQRXHSK20::TCIMValue unlikelyValue;
};

class TFakeInstance : public NQRXHSK20::ICIMInstance,
                      public boost::enable_shared_from_this<TFakeInstance> {
 public:
  // REQUIRES: the class outlives the instance.
  TFakeInstance(TCallScript& script, TFakeClass& cimClass, TFakeProperties properties);
  void Commit(const NQRXHSK20::CIMContext& context) override;
  void GetProperty(boost::shared_ptr<NQRXHSK20::ICIMProperty>& property, std::string_view name,
                   const NQRXHSK20::CIMContext& context) const override;
  void SetPropertyValue(std::string_view name, const NQRXHSK20::TCIMValue& value,
                        const NQRXHSK20::CIMContext& context) override;

  const TFakeProperties& Properties() const { return properties; }

 private:
  TCallScript& script;
  TFakeClass& cimClass;
  TFakeProperties properties;
};

class TFakeClass : public NQRXHSK20::ICIMClass {
 public:
  TFakeClass(TCallScript& script, std::string name);
  void CreateInstance(boost::shared_ptr<NQRXHSK20::ICIMInstance>& instance,
                      const NQRXHSK20::CIMContext& context) override;
  // An empty handle that is scripted is handed to the callback behind the instances.
  void EnumerateInstances(const NQRXHSK20::TInstanceCallback& callback, bool deep,
                          const NQRXHSK20::CIMContext& context) override;

  boost::shared_ptr<TFakeInstance> Add(TFakeProperties properties);
  void Add(boost::shared_ptr<TFakeInstance> instance) { instances.push_back(std::move(instance)); }
  const std::string& Name() const { return name; }
  const std::vector<boost::shared_ptr<TFakeInstance>>& Instances() const { return instances; }

 private:
  TCallScript& script;
  std::string name;
  std::vector<boost::shared_ptr<TFakeInstance>> instances;
};

class TFakeNamespace : public NQRXHSK20::ICIMNamespace {
 public:
  explicit TFakeNamespace(TCallScript& script) : script(script) {}
  void GetClass(boost::shared_ptr<NQRXHSK20::ICIMClass>& cimClass, std::string_view name,
                const NQRXHSK20::CIMContext& context) override;

  // The class of that name, which is made when it is not there.
  TFakeClass& Class(const std::string& name);
  void Remove(const std::string& className);
  boost::shared_ptr<TFakeInstance> Add(const std::string& className, TFakeProperties properties);

 private:
  boost::shared_ptr<TFakeClass> Find(std::string_view name) const;

  TCallScript& script;
  std::vector<boost::shared_ptr<TFakeClass>> classes;
};

}  // namespace svc::test
