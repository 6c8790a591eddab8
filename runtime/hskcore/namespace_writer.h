// The way in bulk into an in-memory namespace: classes and instances written from texts, as a
// parser meets them, by one thread or in parts by several. One writer is used by one thread, while
// nobody else uses its namespace.
#pragma once

#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

#include "host/hskcore/cim.h"
#include "host/hskcore/export.h"
#include "host/hskcore/value.h"
#include "runtime/hskcore/cell.h"
#include "runtime/hskcore/cim_state.h"
#include "runtime/hskcore/in_memory_namespace.h"
#include "runtime/hskcore/name_table.h"

namespace svc {

class TInMemoryNamespace;

// The name of a property as a document writes it, looked up once for all the times that it occurs.
// Means something to the writer that gave it only, as long as the text lives.
struct TPropertyName {
  std::string_view text;
  std::uint32_t number;
};

// A property of a known form, for who writes it to one instance after the other: the writer keeps
// here what it found out about it the last time. Means something to one writer only.
struct TPropertyStep {
  TNameId name;
  TForm form;
  // The instance before the property was written and with it.
  TShapeId before = kNone;
  TShapeId with = kNone;
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
  TClassId BeginInstance(std::string_view className);
  // The same for a class whose id was given before.
  void BeginInstance(TClassId id);
  // From here on a document is written. Instances know where they stand in it, if somebody keeps
  // places: that of the instance that is open, in bytes from the start of the document.
  void BeginDocument();
  void KeepPlace(std::size_t offset);

  // REQUIRES: a class or an instance is open.
  TPropertyName NameOf(std::string_view name);
  // One property: in a class its default, in an instance its value. A second one of the same name
  // throws. In a class that is opened again a declaration replaces the one from before.
  //
  // A scalar, from its text, which must fit the type: no blanks around it.
  void WriteValue(const TPropertyName& name, NQRXHSK20::ECIMType type, std::string_view text);
  // A text of a type that takes any, or an array of such texts, copied by the caller while it reads
  // it: first a place for the bytes of the text, or of TArrayText behind its number of elements,
  // where kRoom bytes may be written, then how many there are. Nothing is written, and false
  // returned, where the open instance has the property already. REQUIRES: an instance is open, and
  // nothing else is written in between.
  static constexpr std::size_t kRoom = std::size_t{8} << 10;
  char* RoomForText() { return texts->Room(kLengthSize + kRoom) + kLengthSize; }
  bool KeepText(TPropertyStep& step, std::size_t length) {
    if (!Take(step)) return false;
    KeepRoom(*texts, length);
    return true;
  }
  char* RoomForArray() { return arrays->Room(kArrayHead + kRoom) + kArrayHead; }
  bool KeepArray(TPropertyStep& step, std::uint32_t count, std::size_t length) {
    if (!Take(step)) return false;
    std::memcpy(arrays->Room(0) + kLengthSize, &count, sizeof count);
    KeepRoom(*arrays, sizeof count + length);
    return true;
  }
  // The same for a scalar of any type from its text, which is not written either where it does not
  // fit the type.
  bool KeepValue(TPropertyStep& step, std::string_view text);
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

  // kNoClass when there is no class of that name.
  TClassId FindClass(std::string_view name) const noexcept;
  // REQUIRES: an id that BeginClass or FindClass gave. The handle keeps the namespace alive.
  boost::shared_ptr<NQRXHSK20::ICIMClass> ClassHandle(TClassId id) const;

 private:
  // A length of two bytes, whatever it is: it is known only when the text behind it is copied.
  static constexpr std::size_t kLengthSize = 2;
  static constexpr std::size_t kArrayHead = kLengthSize + sizeof(std::uint32_t);
  static_assert(kArrayHead + kRoom < 1 << 14);

  TCimState& Open();
  void Begin(TClassId id, bool asClass);
  // Extends the open instance; false where it has the property already.
  bool Take(TPropertyStep& step) {
    if (step.before != shape && !FindStep(step)) return false;
    shape = step.with;
    return true;
  }
  bool FindStep(TPropertyStep& step);
  void KeepRoom(TArena& arena, std::size_t length) {
    char* const stored = arena.Room(0);
    stored[0] = static_cast<char>(length | 0x80);
    stored[1] = static_cast<char>(length >> 7);
    arena.Take(stored + kLengthSize + length);
    cells.push_back(CellOf(stored));
  }
  bool IsWritten(TNameId name);
  void EnterProperty(const TPropertyName& name);
  void Keep(TNameId name, TForm form, TCell cell);
  std::uint64_t Number(std::string_view name, NQRXHSK20::ECIMType type, std::string_view text);
  void CheckText(std::string_view name, NQRXHSK20::ECIMType type, std::string_view text);

  boost::shared_ptr<TInMemoryNamespace> target;
  // Null until something is written.
  TCimState* cim = nullptr;
  TArena* texts = nullptr;
  TArena* arrays = nullptr;
  // What is being written: kNoClass for nothing.
  TClassId classId = kNoClass;
  bool isClass = false;
  std::uint32_t place = 0;  // Of the instance; 0 where it is not kept.
  // Numbers it, so that a name knows whether it was written in it.
  std::uint32_t serial = 0;
  // The properties of the instance so far, and those whose names know of it.
  TShapeId shape = TShapeTable::kEmpty;
  TShapeId marked = TShapeTable::kEmpty;
  std::vector<TCell> cells;
  TArrayText array;
  TForm arrayForm{};
  TNameId arrayName = kNone;
};

// A later part of a document, which is read into a namespace of its own while another thread reads
// what comes before it. Made and joined by the thread that uses the whole namespace.
class HSKCORE_API TNamespacePart {
 public:
  // Begins with a copy of what `whole` holds. Both may be written to from here on, each by its own
  // thread. Throws THSKException (kFailed) when `whole` is empty or no in-memory namespace.
  explicit TNamespacePart(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& whole);

  boost::shared_ptr<NQRXHSK20::ICIMNamespace> Objects() const;
  // Adds the instances that were written to the part behind those that `whole` has by now.
  // REQUIRES: nobody writes to either, and no class was declared in the part, whose end this is.
  void JoinTo(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& whole);

 private:
  boost::shared_ptr<TInMemoryNamespace> objects;
  TCimState::TExtent copied;
};

}  // namespace svc
