// Classes with defaults, their subclasses and instances that leave properties out: each property
// reads as it was written, or else as the nearest class declares it, whatever was declared or read
// in between, and in whatever order it is all written. The bytes of the input are steps.
#include <algorithm>
#include <map>
#include <optional>
#include <utility>

#include "tests/fuzz/fuzz_support.h"

using namespace NQRXHSK20;
using namespace svc::fuzz;

namespace {

constexpr std::size_t kNames = 12;
constexpr std::size_t kMostClasses = 40;
constexpr std::size_t kMostInstances = 40;

class TBytes {
 public:
  explicit TBytes(std::string_view bytes) : rest(bytes) {}
  bool IsEmpty() const { return rest.empty(); }
  // Zero behind the end.
  std::size_t Below(std::size_t bound) {
    if (rest.empty()) return 0;
    const auto byte = static_cast<unsigned char>(rest.front());
    rest.remove_prefix(1);
    return byte % bound;
  }

 private:
  std::string_view rest;
};

// ---- What is written ----

struct TWritten {
  std::size_t name;   // Of kNames.
  std::string xml;    // Without its name.
  std::string shown;  // As text.
  bool isNull;
  bool isArray;
};
using TMembers = std::vector<TWritten>;

struct TModelClass {
  std::optional<std::size_t> above;  // Of a lower number, so that there is no circle.
  TMembers declared;
};
struct TModelInstance {
  std::size_t ofClass;
  TMembers written;
};

// The rules in their plainest words.
struct TModel {
  std::vector<TModelClass> classes;
  std::vector<TModelInstance> instances;

  bool Derives(std::size_t from, std::size_t base) const {
    for (std::optional<std::size_t> at = from; at; at = classes[*at].above) {
      if (*at == base) return true;
    }
    return false;
  }
  const TWritten* Find(const TModelInstance& instance, std::size_t name) const {
    if (const TWritten* const own = In(instance.written, name)) return own;
    for (std::optional<std::size_t> at = instance.ofClass; at; at = classes[*at].above) {
      if (const TWritten* const declared = In(classes[*at].declared, name)) return declared;
    }
    return nullptr;
  }
  static const TWritten* In(const TMembers& members, std::size_t name) {
    const auto found = std::find_if(members.begin(), members.end(),
                                    [&](const TWritten& each) { return each.name == name; });
    return found == members.end() ? nullptr : &*found;
  }
};

TWritten ArrayOf(std::size_t name, std::size_t count, std::size_t text) {
  TWritten array{name, "<VALUE.ARRAY>", "{ ", false, true};
  for (std::size_t i = 0; i < count; ++i) {
    const std::string value = i == 2 ? "" : std::to_string(text + i);
    array.xml += i == 2 ? "<VALUE.NULL/>" : "<VALUE>" + value + "</VALUE>";
    array.shown += (i == 0 ? "" : ", ") + value;
  }
  array.xml += "</VALUE.ARRAY>";
  array.shown += " }";
  if (count == 0) array.shown = "{ }";
  return array;
}

TWritten TakeWritten(TBytes& bytes) {
  const std::size_t name = bytes.Below(kNames);
  const std::size_t kind = bytes.Below(8);
  const std::size_t text = bytes.Below(256);
  const std::string number = std::to_string(text);
  const std::string repeated(text, static_cast<char>('a' + text % 26));
  switch (kind) {
    case 0:
      return {name, "", "", true, false};
    case 1:
      return {name, "<VALUE.NULL/>", "", true, false};
    case 2:
      return {name, "", "", true, true};
    case 3:
      return ArrayOf(name, text % 5, text);
    case 4:
      return {name, "<VALUE>" + repeated + "</VALUE>", repeated, false, false};
    default:
      return {name, "<VALUE>" + number + "</VALUE>", number, false, false};
  }
}

// Each name once, as the reader wants it.
TMembers TakeMembers(TBytes& bytes) {
  TMembers members;
  for (std::size_t left = bytes.Below(6); left > 0; --left) {
    TWritten written = TakeWritten(bytes);
    if (TModel::In(members, written.name) == nullptr) members.push_back(std::move(written));
  }
  return members;
}

// ---- As XML ----

// In either case, which makes no difference.
std::string NameOf(std::size_t name, bool isRaised) {
  return (isRaised ? "PROP" : "prop") + std::to_string(name);
}
std::string ClassName(std::size_t number) { return "C" + std::to_string(number); }

std::string XmlOf(const TMembers& members, bool isRaised) {
  std::string xml;
  for (const TWritten& each : members) {
    const std::string element = each.isArray ? "PROPERTY.ARRAY" : "PROPERTY";
    xml += "<" + element + " NAME=\"" + NameOf(each.name, isRaised) + "\" TYPE=\"string\">" +
           each.xml + "</" + element + ">";
  }
  return xml;
}

std::string ClassXml(std::size_t number, std::optional<std::size_t> above, const TMembers& members,
                     bool isRaised) {
  const std::string super = above ? " SUPERCLASS=\"" + ClassName(*above) + "\"" : "";
  return "<VALUE.OBJECT><CLASS NAME=\"" + ClassName(number) + "\"" + super + ">" +
         XmlOf(members, isRaised) + "</CLASS></VALUE.OBJECT>";
}

std::string InstanceXml(const TModelInstance& instance, bool isRaised) {
  return "<VALUE.OBJECT><INSTANCE CLASSNAME=\"" + ClassName(instance.ofClass) + "\">" +
         XmlOf(instance.written, isRaised) + "</INSTANCE></VALUE.OBJECT>";
}

// ---- Reading ----

using TNamespaceHandle = boost::shared_ptr<ICIMNamespace>;
using TInstances = std::vector<boost::shared_ptr<ICIMInstance>>;

void Load(const TNamespaceHandle& space, const std::string& objects) {
  Require(ParseDocument(
              space, "<CIM><DECLARATION><DECLGROUP>" + objects + "</DECLGROUP></DECLARATION></CIM>",
              false),
          "the document is taken");
}

TInstances InstancesOf(const TNamespaceHandle& space, std::size_t number, bool deep) {
  boost::shared_ptr<ICIMClass> cimClass;
  space->GetClass(cimClass, ClassName(number), {});
  TInstances found;
  cimClass->EnumerateInstances(TAddToVectorCallback<ICIMInstance>(found), deep, {});
  return found;
}

void CheckProperty(const ICIMInstance& instance, std::size_t name, const TWritten* expected) {
  boost::shared_ptr<ICIMProperty> property;
  try {
    instance.GetProperty(property, NameOf(name, name % 2 == 0), {});
  } catch (const THSKException& error) {
    Require(error.GetStatusCode() == THSKStatusCode::kNoSuchProperty, "the property is missing");
    return Require(expected == nullptr, "what is written or declared is there");
  }
  Require(expected != nullptr, "what is neither written nor declared is missing");
  const TCIMValue& value = property->Value({});
  Require(value.IsNull() == expected->isNull, "null and nothing else reads as null");
  Require(value.IsArray() == expected->isArray, "a property keeps its form");
  Require(value.ToString(10) == expected->shown, "a property keeps its text");
}

// `order` says which instance of the model is the next that was created.
void CheckAll(const TNamespaceHandle& space, const TModel& model,
              const std::vector<std::size_t>& order) {
  for (std::size_t base = 0; base < model.classes.size(); ++base) {
    for (const bool deep : {true, false}) {
      const TInstances found = InstancesOf(space, base, deep);
      auto next = found.begin();
      for (const std::size_t number : order) {
        const TModelInstance& instance = model.instances[number];
        if (deep ? !model.Derives(instance.ofClass, base) : instance.ofClass != base) continue;
        Require(next != found.end(), "every instance of the class is there");
        for (std::size_t name = 0; name < kNames; ++name) {
          CheckProperty(**next, name, model.Find(instance, name));
        }
        ++next;
      }
      Require(next == found.end(), "no other instance is there");
    }
  }
}

// ---- The steps ----

class TRun {
 public:
  explicit TRun(std::string_view input) : bytes(input) {}

  void Steps() {
    while (!bytes.IsEmpty()) Step();
    Read();
    CheckAnotherOrder();
  }

 private:
  void Step() {
    switch (bytes.Below(5)) {
      case 0:
      case 1:
        return AddClass();
      case 2:
        return DeclareAgain();
      case 3:
        return AddInstance();
      default:
        return Read();
    }
  }

  void AddClass() {
    if (model.classes.size() == kMostClasses) return;
    TModelClass added;
    // Most derive from the last one, so that lines grow long.
    const std::size_t known = model.classes.size();
    const std::size_t choice = bytes.Below(known + 3);
    if (known > 0 && choice > 0) added.above = choice <= known ? choice - 1 : known - 1;
    added.declared = TakeMembers(bytes);
    pending += ClassXml(known, added.above, added.declared, false);
    model.classes.push_back(std::move(added));
  }

  void DeclareAgain() {
    if (model.classes.empty()) return;
    const std::size_t number = bytes.Below(model.classes.size());
    TModelClass& known = model.classes[number];
    const std::size_t choice = bytes.Below(number + 1);
    if (!known.above && choice > 0) known.above = choice - 1;
    const TMembers members = TakeMembers(bytes);
    pending += ClassXml(number, choice > 0 ? known.above : std::nullopt, members, true);
    for (const TWritten& each : members) {
      std::erase_if(known.declared, [&](const TWritten& old) { return old.name == each.name; });
      known.declared.push_back(each);
    }
  }

  void AddInstance() {
    if (model.classes.empty() || model.instances.size() == kMostInstances) return;
    TModelInstance added{bytes.Below(model.classes.size()), {}};
    added.written = TakeMembers(bytes);
    pending += InstanceXml(added, model.instances.size() % 2 == 0);
    order.push_back(model.instances.size());
    model.instances.push_back(std::move(added));
  }

  void Read() {
    Load(space, std::exchange(pending, {}));
    CheckAll(space, model, order);
  }

  // Instances and properties backwards, all classes first, nothing declared twice.
  void CheckAnotherOrder() const {
    TModel turned = model;
    std::string objects;
    for (std::size_t i = 0; i < turned.classes.size(); ++i) {
      TModelClass& each = turned.classes[i];
      std::reverse(each.declared.begin(), each.declared.end());
      objects += ClassXml(i, each.above, each.declared, true);
    }
    const std::vector<std::size_t> backwards(order.rbegin(), order.rend());
    for (const std::size_t number : backwards) {
      TModelInstance& each = turned.instances[number];
      std::reverse(each.written.begin(), each.written.end());
      objects += InstanceXml(each, false);
    }
    const TNamespaceHandle other = NewNamespace();
    Load(other, objects);
    CheckAll(other, model, backwards);
  }

  TBytes bytes;
  TModel model;
  std::vector<std::size_t> order;
  std::string pending;
  TNamespaceHandle space = NewNamespace();
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  TRun(AsText(data, size)).Steps();
  return 0;
}
