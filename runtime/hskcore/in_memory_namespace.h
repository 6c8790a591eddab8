// The way in bulk into an in-memory namespace: classes and instances written from texts, as a
// parser meets them. One writer is used by one thread, while nobody else uses its namespace.
#ifndef RUNTIME_HSKCORE_IN_MEMORY_NAMESPACE_H_
#define RUNTIME_HSKCORE_IN_MEMORY_NAMESPACE_H_

#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/hskcore/cim.h"
#include "host/hskcore/export.h"
#include "host/hskcore/value.h"

namespace svc {

// Numbers a class of one namespace, from 0 in order of declaration.
using TClassId = std::uint32_t;
inline constexpr TClassId kNoClass = std::numeric_limits<TClassId>::max();

// Numbers an instance, from 0 in order of creation over the whole namespace.
using TRowId = std::uint32_t;

// A new, empty in-memory namespace.
HSKCORE_API boost::shared_ptr<NQRXHSK20::ICIMNamespace> MakeInMemoryNamespace();

// What a namespace holds, to be shared with others: each is copied before it is written to. May be
// used from any thread.
class TSharedState;
using TSharedStateHandle = boost::shared_ptr<const TSharedState>;

// Each throws THSKException when the namespace is empty or no in-memory one.
//
// From here on `source` shares what it holds with whoever adopts it.
HSKCORE_API TSharedStateHandle
ShareState(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& source);
// From here on `target` holds what `state` does, instead of what it held. No class or instance of
// it may have been handed out.
HSKCORE_API void AdoptState(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& target,
                            const TSharedStateHandle& state);
// What `target` shares; null when it was written to since, or never shared anything.
HSKCORE_API TSharedStateHandle
SharedStateOf(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& target);
// Whether it holds nothing but what it shares.
HSKCORE_API bool TakesSharedStates(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& target);

// The text of a property, as its value's ToString(10) gives it, read without a handle and seen by
// no observer. None when the instance has no such property, or is stored in no in-memory namespace.
HSKCORE_API std::optional<std::string> StoredText(const NQRXHSK20::ICIMInstance& instance,
                                                  std::string_view name);

// Sees what is read of a namespace, before the reader gets it; also what turns out not to be there.
class HOST_INTERFACE IReadObserver {
 public:
  virtual ~IReadObserver() = default;
  virtual void OnGetClass(std::string_view className) = 0;
  // Of an instance that the namespace holds, which stays where it is as long as the namespace
  // lives.
  virtual void OnGetProperty(const NQRXHSK20::ICIMInstance& instance, std::string_view name) = 0;
};

// From here on `observer` sees every read; null for none. The caller keeps it alive until then.
// Throws THSKException when `target` is empty or no in-memory namespace.
HSKCORE_API void SetReadObserver(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& target,
                                 IReadObserver* observer);

// An instance that is committed, on its way to a sink.
class HOST_INTERFACE IWrittenInstance {
 public:
  virtual ~IWrittenInstance() = default;
  // A property as its value's ToString(10) gives it, with the class's default where it is not
  // written; shared where the writer shared it. Empty when there is no such property.
  virtual NQRXHSK20::TSharedText Text(std::string_view name) const = 0;
};

// Takes committed instances instead of the namespace, which then takes no memory for them.
class HOST_INTERFACE IInstanceSink {
 public:
  virtual ~IInstanceSink() = default;
  // What it throws reaches the committer.
  virtual void Take(const IWrittenInstance& instance) = 0;
};

// From here on instances of the class and of those that derive from it, which are created and
// committed to `target`, go to the sink; null for none. The caller keeps it alive until then.
// Throws THSKException when `target` is empty or no in-memory namespace.
HSKCORE_API void SetInstanceSink(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& target,
                                 std::string_view className, IInstanceSink* sink);

// Whether the instances of the class are those of another class as well, whose enumerations show
// them. False where there is no such class. Throws THSKException as SetInstanceSink does.
HSKCORE_API bool HasSuperclass(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& source,
                               std::string_view className);

// The number of an instance that an observer was told of.
HSKCORE_API TRowId NumberOf(const NQRXHSK20::ICIMInstance& instance) noexcept;

// Instances of one shared state that readers can do without. May be used from any thread.
class THiddenInstances;
using THiddenInstancesHandle = boost::shared_ptr<const THiddenInstances>;

// `isHidden` tells by number; instances behind its last are not. REQUIRES: a state.
HSKCORE_API THiddenInstancesHandle MakeHiddenInstances(const TSharedStateHandle& state,
                                                       std::vector<bool> isHidden);
// From here on enumerations of `target` leave these out, whenever it holds that state and nothing
// else; empty for none. Throws THSKException when `target` is empty or no in-memory namespace.
HSKCORE_API void HideInstances(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& target,
                               const THiddenInstancesHandle& hidden);

// The name of a property as a document writes it, looked up once for all the times that it occurs.
// Means something to the writer that gave it only, as long as the text lives.
struct TPropertyName {
  std::string_view text;
  std::uint32_t number;
};

// Writes one class or instance at a time: Begin..., its properties, then Finish or Abandon. A class
// shows in the namespace at once, an instance when it is finished. Names and texts are views of
// the caller's memory, which no call keeps. Names compare without regard to ASCII case.
//
// Every operation but Abandon throws THSKException (kFailed, where nothing else is said), whose
// text says the cause but no place. After that only Abandon, a Begin... or the destructor may
// follow, each of which drops what was being written.
class HSKCORE_API TNamespaceWriter {
 public:
  // Throws when `target` is empty or no in-memory namespace.
  explicit TNamespaceWriter(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& target);
  ~TNamespaceWriter();
  TNamespaceWriter(const TNamespaceWriter&) = delete;
  TNamespaceWriter& operator=(const TNamespaceWriter&) = delete;

  // Opens a new class, or a known one again: the properties that follow are added to it, and the
  // superclass where it had none. An empty `superclass` stands for none. Throws when the superclass
  // is another than before, is not declared or derives from this class.
  TClassId BeginClass(std::string_view name, std::string_view superclass);
  // Opens a new instance. Throws kClassNotFound when the class is not declared.
  void BeginInstance(std::string_view className);

  // REQUIRES: a class or an instance is open.
  TPropertyName NameOf(std::string_view name);
  // One property: in a class its default, in an instance its value. A second one of the same name
  // throws. In a class that is opened again a declaration replaces the one from before.
  //
  // A scalar, from its text, which must fit the type: no blanks around it.
  void WriteValue(const TPropertyName& name, NQRXHSK20::ECIMType type, std::string_view text);
  void WriteNull(const TPropertyName& name, NQRXHSK20::ECIMType type, bool isArray);
  // An array: BeginArray, its elements in order, EndArray.
  void BeginArray(const TPropertyName& name, NQRXHSK20::ECIMType type);
  void AddElement(std::string_view text);
  void AddNullElement();
  void EndArray();
  // The same for a name that is looked up each time.
  void WriteValue(std::string_view name, NQRXHSK20::ECIMType type, std::string_view text) {
    WriteValue(NameOf(name), type, text);
  }
  void WriteNull(std::string_view name, NQRXHSK20::ECIMType type, bool isArray) {
    WriteNull(NameOf(name), type, isArray);
  }
  void BeginArray(std::string_view name, NQRXHSK20::ECIMType type) {
    BeginArray(NameOf(name), type);
  }

  void Finish();
  void Abandon() noexcept;

  // Whether it has use for memory that the caller needs no more.
  bool WantsPages() const noexcept;
  // Takes whole pages for what is stored from here on: zeros are read where they were. False where
  // that cannot be done.
  bool TakePages(std::span<char> pages) noexcept;

  // kNoClass when there is no class of that name.
  TClassId FindClass(std::string_view name) const noexcept;
  // REQUIRES: an id that BeginClass or FindClass gave. The handle keeps the namespace alive.
  boost::shared_ptr<NQRXHSK20::ICIMClass> ClassHandle(TClassId id) const;

 private:
  struct State;
  std::unique_ptr<State> state;
};

}  // namespace svc

#endif  // RUNTIME_HSKCORE_IN_MEMORY_NAMESPACE_H_
