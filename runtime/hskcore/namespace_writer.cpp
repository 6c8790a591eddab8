#include "runtime/hskcore/namespace_writer.h"

#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "base/shown_text.h"
#include "host/hskcore/exception.h"
#include "runtime/hskcore/in_memory_objects.h"
#include "runtime/hskcore/value_text.h"

namespace svc {

using NQRXHSK20::ECIMType;
using NQRXHSK20::ICIMClass;
using NQRXHSK20::ICIMNamespace;
using NQRXHSK20::THSKException;
using NQRXHSK20::THSKStatusCode;

namespace {

[[noreturn]] void Refuse(const std::string& cause) {
  throw THSKException(cause, THSKStatusCode::kFailed);
}

// A value as an error shows it: enough of it to be found, never megabytes.
std::string Shown(std::string_view text) {
  constexpr std::size_t kShown = 60;
  const bool isCut = text.size() > kShown;
  return "\"" + CutName(text.substr(0, kShown)) + (isCut ? "\"..." : "\"");
}

}  // namespace

struct TNamespaceWriter::State {
  explicit State(boost::shared_ptr<TInMemoryNamespace> namespaceToFill)
      : target(std::move(namespaceToFill)) {}

  // Before anything is written: what is shared is copied then.
  TCimState& Open();
  void Begin(TClassId id, bool asClass);
  void Drop() noexcept { classId = kNoClass; }
  void EnterProperty(const TPropertyName& name) {
    std::uint32_t& writtenIn = cim->Name(name.number).writtenIn;
    if (writtenIn == serial) Refuse("PROPERTY " + Shown(name.text) + " written twice");
    writtenIn = serial;
  }
  // Of the property that was entered last; so for KeepText.
  void Keep(TNameId name, TForm form, TCell cell) {
    if (isClass) {
      cim->Declare({classId, name, form, cell});
    } else {
      shape = cim->Shapes().Extend(shape, name, form);
      cells.push_back(cell);
    }
  }
  void KeepText(TNameId name, TForm form, std::string_view text) {
    Keep(name, form, cim->StoreTextCell(text));
  }
  char* Room(TNameId name, std::size_t before);
  void KeepRoom(TNameId name, TForm form, std::size_t length);
  std::uint64_t Number(std::string_view name, ECIMType type, std::string_view text);
  void CheckText(std::string_view name, ECIMType type, std::string_view text);

  boost::shared_ptr<TInMemoryNamespace> target;
  // Null until something is written.
  TCimState* cim = nullptr;
  // What is being written: kNoClass for nothing.
  TClassId classId = kNoClass;
  bool isClass = false;
  std::uint32_t place = 0;  // Of the instance; 0 where it is not kept.
  // Numbers it, so that a name knows whether it was written in it.
  std::uint32_t serial = 0;
  // The properties of the instance so far.
  TShapeId shape = TShapeTable::kEmpty;
  std::vector<TCell> cells;
  TArrayText array;
  TForm arrayForm{};
  TNameId arrayName = kNone;
};

TCimState& TNamespaceWriter::State::Open() {
  Drop();
  cim = &target->WritableState();
  return *cim;
}

void TNamespaceWriter::State::Begin(TClassId id, bool asClass) {
  classId = id;
  isClass = asClass;
  place = 0;
  serial = cim->NextWritten();
  shape = TShapeTable::kEmpty;
  cells.clear();
}

std::uint64_t TNamespaceWriter::State::Number(std::string_view name, ECIMType type,
                                              std::string_view text) {
  if (const auto bits = NumberFromText(type, text)) {
    return *bits;
  }
  Refuse("PROPERTY " + Shown(name) + ": " + Shown(text) + " is no " +
         std::string(NameOfCimType(type)));
}

void TNamespaceWriter::State::CheckText(std::string_view name, ECIMType type,
                                        std::string_view text) {
  if (!IsTextOfType(type, text)) {
    Refuse("PROPERTY " + Shown(name) + ": " + Shown(text) + " is no " +
           std::string(NameOfCimType(type)));
  }
}

TNamespaceWriter::TNamespaceWriter(const boost::shared_ptr<ICIMNamespace>& target)
    : state(std::make_unique<State>(InMemoryOf(target))) {}

TNamespaceWriter::~TNamespaceWriter() = default;

TClassId TNamespaceWriter::BeginClass(std::string_view name, std::string_view superclass) {
  const TClassId id = state->Open().DeclareClass(name, superclass);
  state->Begin(id, true);
  return id;
}

TClassId TNamespaceWriter::BeginInstance(std::string_view className) {
  const TClassId id = state->Open().FindClass(className);
  if (id == kNoClass) {
    throw THSKException("INSTANCE of class " + Shown(className) + ", which is not declared",
                        THSKStatusCode::kClassNotFound);
  }
  state->Begin(id, false);
  return id;
}

void TNamespaceWriter::BeginInstance(TClassId id) {
  state->Open();
  state->Begin(id, false);
}

void TNamespaceWriter::BeginDocument() {
  if (state->target->KeepsPlaces()) state->Open().BeginDocument();
}

void TNamespaceWriter::KeepPlace(std::size_t offset) {
  if (state->target->KeepsPlaces()) state->place = static_cast<std::uint32_t>(offset);
}

TPropertyName TNamespaceWriter::NameOf(std::string_view name) {
  return {name, state->cim->FindOrAddName(name)};
}

void TNamespaceWriter::WriteValue(const TPropertyName& name, ECIMType type, std::string_view text) {
  const TForm form{type, false, false};
  if (!IsTextType(type)) {
    const std::uint64_t bits = state->Number(name.text, type, text);
    state->EnterProperty(name);
    state->Keep(name.number, form, bits);
    return;
  }
  if (!TakesAnyText(type)) state->CheckText(name.text, type, text);
  state->EnterProperty(name);
  state->KeepText(name.number, form, text);
}

namespace {

// A length of two bytes, whatever it is: it is known only when the text behind it is copied.
constexpr std::size_t kLengthSize = 2;
constexpr std::size_t kCountSize = sizeof(std::uint32_t);
static_assert(TNamespaceWriter::kRoom + kCountSize < 1 << 14);

}  // namespace

char* TNamespaceWriter::State::Room(TNameId name, std::size_t before) {
  if (cim->Name(name).writtenIn == serial) return nullptr;
  return cim->Texts()->Room(before + kRoom) + before;
}

void TNamespaceWriter::State::KeepRoom(TNameId name, TForm form, std::size_t length) {
  TArena& texts = *cim->Texts();
  char* const stored = texts.Room(0);
  stored[0] = static_cast<char>(length | 0x80);
  stored[1] = static_cast<char>(length >> 7);
  texts.Take(stored + kLengthSize + length);
  cim->Name(name).writtenIn = serial;
  Keep(name, form, CellOf(stored));
}

char* TNamespaceWriter::RoomForText(TNameId name) { return state->Room(name, kLengthSize); }

void TNamespaceWriter::KeepText(TNameId name, ECIMType type, std::size_t length) {
  state->KeepRoom(name, {type, false, false}, length);
}

char* TNamespaceWriter::RoomForArray(TNameId name) {
  return state->Room(name, kLengthSize + kCountSize);
}

void TNamespaceWriter::KeepArray(TNameId name, ECIMType type, std::uint32_t count,
                                 std::size_t length) {
  std::memcpy(state->cim->Texts()->Room(0) + kLengthSize, &count, kCountSize);
  state->KeepRoom(name, {type, true, false}, kCountSize + length);
}

void TNamespaceWriter::WriteNull(const TPropertyName& name, ECIMType type, bool isArray) {
  const TForm form{type, isArray, !isArray && !IsTextType(type)};
  state->EnterProperty(name);
  state->Keep(name.number, form, 0);
}

void TNamespaceWriter::BeginArray(const TPropertyName& name, ECIMType type) {
  state->arrayForm = {type, true, false};
  state->arrayName = name.number;
  state->EnterProperty(name);
  state->array.Begin();
}

void TNamespaceWriter::AddElement(std::string_view text) {
  const ECIMType type = state->arrayForm.type;
  if (TakesAnyText(type)) {
    state->array.AddText(text);
    return;
  }
  const std::string_view name = state->cim->NameText(state->arrayName);
  if (IsTextType(type)) {
    state->CheckText(name, type, text);
    state->array.AddText(text);
  } else {
    state->array.AddNumber(state->Number(name, type, text));
  }
}

void TNamespaceWriter::AddNullElement() { state->array.AddNull(); }

void TNamespaceWriter::EndArray() {
  state->KeepText(state->arrayName, state->arrayForm, state->array.Finish());
}

void TNamespaceWriter::Finish() {
  if (!state->isClass && state->classId != kNoClass) {
    const TRowId row = state->cim->AddRow(state->classId, state->shape, state->cells);
    if (state->place != 0) state->cim->SetOffset(row, state->place);
  }
  state->Drop();
}

void TNamespaceWriter::Abandon() noexcept { state->Drop(); }

TClassId TNamespaceWriter::FindClass(std::string_view name) const noexcept {
  return state->target->State().FindClass(name);
}

boost::shared_ptr<ICIMClass> TNamespaceWriter::ClassHandle(TClassId id) const {
  return state->target->ClassHandle(id);
}

}  // namespace svc
