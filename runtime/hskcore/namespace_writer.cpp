#include "runtime/hskcore/namespace_writer.h"

#include <boost/make_shared.hpp>
#include <string>

#include "base/shown_text.h"
#include "host/hskcore/exception.h"
#include "runtime/hskcore/in_memory_objects.h"

namespace svc {

using NQRXHSK20::ECIMType;
using NQRXHSK20::ICIMClass;
using NQRXHSK20::ICIMNamespace;
using NQRXHSK20::THSKException;
using NQRXHSK20::THSKStatusCode;

[[noreturn]] static void Refuse(const std::string& cause) {
  throw THSKException(cause, THSKStatusCode::kFailed);
}

// A value as an error shows it: enough of it to be found, never megabytes.
static std::string Shown(std::string_view text) {
  constexpr std::size_t kShown = 60;
  const bool isCut = text.size() > kShown;
  return "\"" + CutName(text.substr(0, kShown)) + (isCut ? "\"..." : "\"");
}

// Before anything is written: what is shared is copied then.
TCimState& TNamespaceWriter::Open() {
  Abandon();
  cim = &target->WritableState();
  texts = &cim->Texts()->single;
  arrays = &cim->Texts()->arrays;
  return *cim;
}

void TNamespaceWriter::Begin(TClassId id, bool asClass) {
  classId = id;
  isClass = asClass;
  place = 0;
  serial = cim->NextWritten();
  shape = marked = TShapeTable::kEmpty;
  cells.clear();
}

// Whether what is being written has the property. Names learn here what was written in steps.
bool TNamespaceWriter::IsWritten(TNameId name) {
  const TShapeTable& shapes = cim->Shapes();
  for (TShapeId at = shape; at != marked; at = shapes[at].parent)
    cim->Name(shapes[at].name).writtenIn = serial;
  marked = shape;
  return cim->Name(name).writtenIn == serial;
}

void TNamespaceWriter::EnterProperty(const TPropertyName& name) {
  if (IsWritten(name.number)) Refuse("PROPERTY " + Shown(name.text) + " written twice");
  cim->Name(name.number).writtenIn = serial;
}

// Of the property that was entered last.
void TNamespaceWriter::Keep(TNameId name, TForm form, TCell cell) {
  if (isClass) {
    cim->Declare({classId, name, form, cell});
  } else {
    shape = cim->Shapes().Extend(shape, name, form);
    cells.push_back(cell);
  }
}

// An instance that was extended so before has the property once.
bool TNamespaceWriter::FindStep(TPropertyStep& step) {
  TShapeTable& shapes = cim->Shapes();
  TShapeId with = shapes.LikelyChild(shape, step.name, step.form);
  if (with == kNone) {
    if (IsWritten(step.name)) return false;
    with = shapes.Extend(shape, step.name, step.form);
  }
  step.before = shape;
  step.with = with;
  return true;
}

std::uint64_t TNamespaceWriter::Number(std::string_view name, ECIMType type,
                                       std::string_view text) {
  if (const auto bits = NumberFromText(type, text)) {
    return *bits;
  }
  Refuse("PROPERTY " + Shown(name) + ": " + Shown(text) + " is no " +
         std::string(NameOfCimType(type)));
}

void TNamespaceWriter::CheckText(std::string_view name, ECIMType type, std::string_view text) {
  if (!IsTextOfType(type, text)) {
    Refuse("PROPERTY " + Shown(name) + ": " + Shown(text) + " is no " +
           std::string(NameOfCimType(type)));
  }
}

TNamespaceWriter::TNamespaceWriter(const boost::shared_ptr<ICIMNamespace>& target)
    : target(InMemoryOf(target)) {}

TNamespaceWriter::~TNamespaceWriter() = default;

TClassId TNamespaceWriter::BeginClass(std::string_view name, std::string_view superclass) {
  const TClassId id = Open().DeclareClass(name, superclass);
  Begin(id, true);
  return id;
}

TClassId TNamespaceWriter::BeginInstance(std::string_view className) {
  const TClassId id = Open().FindClass(className);
  if (id == kNoClass) {
    throw THSKException("INSTANCE of class " + Shown(className) + ", which is not declared",
                        THSKStatusCode::kClassNotFound);
  }
  Begin(id, false);
  return id;
}

void TNamespaceWriter::BeginInstance(TClassId id) {
  Open();
  Begin(id, false);
}

void TNamespaceWriter::BeginDocument() {
  if (target->KeepsPlaces()) Open().BeginDocument();
}

void TNamespaceWriter::KeepPlace(std::size_t offset) {
  if (target->KeepsPlaces()) place = static_cast<std::uint32_t>(offset);
}

TPropertyName TNamespaceWriter::NameOf(std::string_view name) {
  return {name, cim->FindOrAddName(name)};
}

void TNamespaceWriter::WriteValue(const TPropertyName& name, ECIMType type, std::string_view text) {
  const TForm form{type, false, false};
  if (!IsTextType(type)) {
    const std::uint64_t bits = Number(name.text, type, text);
    EnterProperty(name);
    Keep(name.number, form, bits);
    return;
  }
  if (!TakesAnyText(type)) CheckText(name.text, type, text);
  EnterProperty(name);
  Keep(name.number, form, cim->StoreTextCell(text));
}

bool TNamespaceWriter::KeepValue(TPropertyStep& step, std::string_view text) {
  const ECIMType type = step.form.type;
  if (IsTextType(type)) {
    if (!IsTextOfType(type, text) || !Take(step)) return false;
    cells.push_back(cim->StoreTextCell(text));
    return true;
  }
  const auto bits = NumberFromText(type, text);
  if (!bits || !Take(step)) return false;
  cells.push_back(*bits);
  return true;
}

void TNamespaceWriter::WriteNull(const TPropertyName& name, ECIMType type, bool isArray) {
  const TForm form{type, isArray, !isArray && !IsTextType(type)};
  EnterProperty(name);
  Keep(name.number, form, 0);
}

void TNamespaceWriter::BeginArray(const TPropertyName& name, ECIMType type) {
  arrayForm = {type, true, false};
  arrayName = name.number;
  EnterProperty(name);
  array.Begin();
}

void TNamespaceWriter::AddElement(std::string_view text) {
  const ECIMType type = arrayForm.type;
  if (TakesAnyText(type)) {
    array.AddText(text);
    return;
  }
  const std::string_view name = cim->NameText(arrayName);
  if (IsTextType(type)) {
    CheckText(name, type, text);
    array.AddText(text);
  } else {
    array.AddNumber(Number(name, type, text));
  }
}

void TNamespaceWriter::AddNullElement() { array.AddNull(); }

void TNamespaceWriter::EndArray() {
  Keep(arrayName, arrayForm, cim->StoreArrayCell(array.Finish()));
}

void TNamespaceWriter::Finish() {
  if (!isClass && classId != kNoClass) {
    const TRowId row = cim->AddRow(classId, shape, cells);
    if (place != 0) cim->SetOffset(row, place);
  }
  Abandon();
}

void TNamespaceWriter::Abandon() noexcept { classId = kNoClass; }

TClassId TNamespaceWriter::FindClass(std::string_view name) const noexcept {
  return target->State().FindClass(name);
}

boost::shared_ptr<ICIMClass> TNamespaceWriter::ClassHandle(TClassId id) const {
  return target->ClassHandle(id);
}

TNamespacePart::TNamespacePart(const boost::shared_ptr<ICIMNamespace>& whole)
    : objects(boost::make_shared<TInMemoryNamespace>()) {
  const auto source = InMemoryOf(whole);
  objects->HoldCopyOf(*source);
  copied = source->State().Extent();
}

boost::shared_ptr<ICIMNamespace> TNamespacePart::Objects() const { return objects; }

void TNamespacePart::JoinTo(const boost::shared_ptr<ICIMNamespace>& whole) {
  InMemoryOf(whole)->WritableState().TakeOver(objects->WritableState(), copied);
}

}  // namespace svc
