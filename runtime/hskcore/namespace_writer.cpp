#include <boost/make_shared.hpp>
#include <boost/smart_ptr/shared_ptr.hpp>
#include <string>
#include <vector>

#include "base/shown_text.h"
#include "host/hskcore/exception.h"
#include "runtime/hskcore/in_memory_namespace.h"
#include "runtime/hskcore/in_memory_objects.h"
#include "runtime/hskcore/value_text.h"

namespace svc {

using NQRXHSK20::ECIMType;
using NQRXHSK20::ICIMClass;
using NQRXHSK20::ICIMInstance;
using NQRXHSK20::ICIMNamespace;
using NQRXHSK20::THSKException;
using NQRXHSK20::THSKStatusCode;

namespace {

// In bytes of text.
constexpr std::size_t kMostPending = 1 << 16;

[[noreturn]] void Refuse(const std::string& cause) {
  throw THSKException(cause, THSKStatusCode::kFailed);
}

std::string Quoted(std::string_view text) { return "\"" + CutName(text) + "\""; }

// A value as an error shows it: enough of it to be found, never megabytes.
std::string Shown(std::string_view text) {
  constexpr std::size_t kShown = 60;
  return text.size() <= kShown ? Quoted(text) : Quoted(text.substr(0, kShown)) + "...";
}

boost::shared_ptr<TInMemoryNamespace> InMemory(const boost::shared_ptr<ICIMNamespace>& target) {
  if (!target) {
    Refuse("There is no namespace to write to");
  }
  const auto found = boost::dynamic_pointer_cast<TInMemoryNamespace>(target);
  if (!found) {
    Refuse("Documents can be read into namespaces of the provider \"inmem\" only");
  }
  return found;
}

}  // namespace

struct TNamespaceWriter::State {
  explicit State(boost::shared_ptr<TInMemoryNamespace> namespaceToFill)
      : target(std::move(namespaceToFill)) {}

  // Before anything is written: what is shared is copied then.
  TCimState& Open();
  // kNoClass when there is none. Instances of one class follow each other.
  TClassId FindClass(std::string_view name) const {
    return lastClass != kNoClass && name == cim->ClassName(lastClass) ? lastClass
                                                                      : cim->FindClass(name);
  }
  void Begin(TClassId id, bool asClass);
  void Drop() noexcept { classId = kNoClass; }
  void EnterProperty(const TPropertyName& name, TForm form) {
    if (isOnTrack && step != track.size() && track[step].Is(name.number, form)) {
      ++step;
    } else {
      EnterOffTrack(name, form);
    }
  }
  void EnterOffTrack(const TPropertyName& name, TForm form);
  void LeaveTrack();
  TShapeId Shape() const { return step == 0 ? TShapeTable::kEmpty : track[step - 1].shape; }
  std::uint64_t Number(std::string_view name, ECIMType type, std::string_view text);
  void CheckText(std::string_view name, ECIMType type, std::string_view text);
  void Keep(TNameId name, TForm form, TCell cell);
  // Of the property that was entered last.
  void KeepText(TNameId name, TForm form, std::string_view text);
  void KeepPooled(TTextPool& pool, std::string_view text);
  void LookUpPending();
  void DropPending() noexcept {
    pending.clear();
    pendingTexts.clear();
  }

  boost::shared_ptr<TInMemoryNamespace> target;
  // Null until something is written.
  TCimState* cim = nullptr;
  // What is being written: kNoClass for nothing.
  TClassId classId = kNoClass;
  TClassId lastClass = kNoClass;
  bool isClass = false;
  // Numbers it, so that a name knows whether it was written in it, once it is off the track.
  std::uint32_t serial = 0;
  // The properties of the instance before: most instances repeat them. What is being written has
  // the first `step` of them.
  struct TStep {
    TNameId name;
    TForm form;
    TShapeId shape;   // With this property.
    TTextPool* pool;  // Where its texts are stored; null when that is to be found out.

    bool Is(TNameId otherName, TForm otherForm) const {
      return name == otherName && form == otherForm;
    }
  };
  std::vector<TStep> track;
  std::size_t step = 0;
  bool isOnTrack = false;
  std::vector<TCell> cells;
  // Texts that are looked up all at once, when their place in memory had time to arrive: each pool
  // is a table of its own, and hardly any is in a cache.
  struct TPending {
    TTextPool* pool;
    std::size_t cell;
    std::size_t begin;  // In `pendingTexts`.
    std::size_t length;
    std::uint32_t hash;
  };
  std::vector<TPending> pending;
  std::vector<char> pendingTexts;
  TArrayText array;
  TForm arrayForm{};
  TNameId arrayName = kNone;
};

TCimState& TNamespaceWriter::State::Open() {
  Drop();
  TCimState* const writable = &target->WritableState();
  if (writable != cim) {
    cim = writable;
    lastClass = kNoClass;
    track.clear();
  }
  return *cim;
}

void TNamespaceWriter::State::Begin(TClassId id, bool asClass) {
  classId = lastClass = id;
  isClass = asClass;
  cells.clear();
  DropPending();
  step = 0;
  isOnTrack = !asClass;
  serial = cim->NextWritten();
}

void TNamespaceWriter::State::EnterOffTrack(const TPropertyName& name, TForm form) {
  if (isOnTrack) LeaveTrack();
  if (cim->Name(name.number).writtenIn == serial) {
    Refuse("PROPERTY " + Shown(name.text) + " written twice");
  }
  cim->Name(name.number).writtenIn = serial;
  if (!isClass) {
    track.push_back({name.number, form, cim->Shapes().Extend(Shape(), name.number, form), nullptr});
    ++step;
  }
}

void TNamespaceWriter::State::LeaveTrack() {
  isOnTrack = false;
  track.resize(step);
  for (const TStep& taken : track) cim->Name(taken.name).writtenIn = serial;
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

void TNamespaceWriter::State::Keep(TNameId name, TForm form, TCell cell) {
  if (isClass) {
    cim->Declare({classId, name, form, cell});
  } else {
    cells.push_back(cell);
  }
}

void TNamespaceWriter::State::KeepText(TNameId name, TForm form, std::string_view text) {
  TTextPool* pool = nullptr;
  TTextPool*& known = isClass ? pool : track[step - 1].pool;
  if (known != nullptr) {
    return KeepPooled(*known, text);
  }
  Keep(name, form, cim->StoreTextOf(name, text));
  known = cim->PoolOf(name);
}

void TNamespaceWriter::State::KeepPooled(TTextPool& pool, std::string_view text) {
  if (!pool.IsLookedUp(text)) {
    cells.push_back(CellOf(StoreText(*cim->Texts(), text)));
    return;
  }
  if (pendingTexts.size() > kMostPending) LookUpPending();
  pending.push_back({&pool, cells.size(), pendingTexts.size(), text.size(), pool.Announce(text)});
  pendingTexts.insert(pendingTexts.end(), text.begin(), text.end());
  cells.push_back(0);
}

void TNamespaceWriter::State::LookUpPending() {
  for (const TPending& each : pending) each.pool->Approach(each.hash);
  for (const TPending& each : pending) {
    const std::string_view text(pendingTexts.data() + each.begin, each.length);
    cells[each.cell] = CellOf(each.pool->InternLookedUp(text, each.hash, *cim->Texts()));
  }
  DropPending();
}

TNamespaceWriter::TNamespaceWriter(const boost::shared_ptr<ICIMNamespace>& target)
    : state(std::make_unique<State>(InMemory(target))) {}

TNamespaceWriter::~TNamespaceWriter() = default;

TClassId TNamespaceWriter::BeginClass(std::string_view name, std::string_view superclass) {
  const TClassId id = state->Open().DeclareClass(name, superclass);
  state->Begin(id, true);
  return id;
}

void TNamespaceWriter::BeginInstance(std::string_view className) {
  state->Open();
  const TClassId id = state->FindClass(className);
  if (id == kNoClass) {
    throw THSKException("INSTANCE of class " + Shown(className) + ", which is not declared",
                        THSKStatusCode::kClassNotFound);
  }
  state->Begin(id, false);
}

TPropertyName TNamespaceWriter::NameOf(std::string_view name) {
  return {name, state->cim->FindOrAddName(name)};
}

void TNamespaceWriter::WriteValue(const TPropertyName& name, ECIMType type, std::string_view text) {
  const TForm form{type, false, false};
  if (!IsTextType(type)) {
    const std::uint64_t bits = state->Number(name.text, type, text);
    state->EnterProperty(name, form);
    state->Keep(name.number, form, bits);
    return;
  }
  if (!TakesAnyText(type)) state->CheckText(name.text, type, text);
  state->EnterProperty(name, form);
  state->KeepText(name.number, form, text);
}

void TNamespaceWriter::WriteNull(const TPropertyName& name, ECIMType type, bool isArray) {
  const TForm form{type, isArray, !isArray && !IsTextType(type)};
  state->EnterProperty(name, form);
  state->Keep(name.number, form, 0);
}

void TNamespaceWriter::BeginArray(const TPropertyName& name, ECIMType type) {
  state->arrayForm = {type, true, false};
  state->arrayName = name.number;
  state->EnterProperty(name, state->arrayForm);
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
    state->LookUpPending();
    state->cim->AddRow(state->classId, state->Shape(), state->cells);
  }
  state->Drop();
}

void TNamespaceWriter::Abandon() noexcept { state->Drop(); }

bool TNamespaceWriter::WantsPages() const noexcept {
  return state->cim != nullptr && state->cim->TakerOfPages() != nullptr;
}

bool TNamespaceWriter::TakePages(std::span<char> pages) noexcept {
  TPages taken = svc::TakePages(pages);
  if (!taken) return false;
  state->cim->TakerOfPages()->Give(std::move(taken));
  return true;
}

TClassId TNamespaceWriter::FindClass(std::string_view name) const noexcept {
  return state->target->State().FindClass(name);
}

boost::shared_ptr<ICIMClass> TNamespaceWriter::ClassHandle(TClassId id) const {
  return state->target->ClassHandle(id);
}

void SetReadObserver(const boost::shared_ptr<ICIMNamespace>& target, IReadObserver* observer) {
  InMemory(target)->SetObserver(observer);
}

void SetInstanceSink(const boost::shared_ptr<ICIMNamespace>& target, std::string_view className,
                     IInstanceSink* sink) {
  InMemory(target)->SetSink(className, sink);
}

bool HasSuperclass(const boost::shared_ptr<ICIMNamespace>& source, std::string_view className) {
  const TCimState& state = InMemory(source)->State();
  const TClassId id = state.FindClass(className);
  return id != kNoClass && state.SuperclassOf(id) != kNoClass;
}

std::optional<std::string> StoredText(const ICIMInstance& instance, std::string_view name) {
  if (typeid(instance) != typeid(TStoredInstance)) return {};
  return static_cast<const TStoredInstance&>(instance).Text(name);
}

TRowId NumberOf(const ICIMInstance& instance) noexcept {
  return static_cast<const TStoredInstance&>(instance).Number();
}

void HideInstances(const boost::shared_ptr<ICIMNamespace>& target,
                   const THiddenInstancesHandle& hidden) {
  InMemory(target)->Hide(hidden);
}

TSharedStateHandle ShareState(const boost::shared_ptr<ICIMNamespace>& source) {
  return InMemory(source)->Share();
}

void AdoptState(const boost::shared_ptr<ICIMNamespace>& target, const TSharedStateHandle& state) {
  InMemory(target)->Adopt(state);
}

bool TakesSharedStates(const boost::shared_ptr<ICIMNamespace>& target) {
  return InMemory(target)->TakesSharedStates();
}

TSharedStateHandle SharedStateOf(const boost::shared_ptr<ICIMNamespace>& target) {
  return InMemory(target)->SharedState();
}

boost::shared_ptr<ICIMNamespace> MakeInMemoryNamespace() {
  return boost::make_shared<TInMemoryNamespace>();
}

}  // namespace svc
