// Checks of how an element's properties are written.
#include <array>
#include <cstdlib>

#include "rules/names.h"
#include "svcheck/author/ascii_text.h"
#include "svcheck/author/checks.h"

namespace svc::catalogue {

namespace {

// How many letters one word has and the other has not. Typing errors change few.
int LettersApart(std::string_view left, std::string_view right) {
  std::array<int, 256> counts{};
  for (const char c : Lowered(left)) ++counts[static_cast<unsigned char>(c)];
  for (const char c : Lowered(right)) --counts[static_cast<unsigned char>(c)];
  int apart = 0;
  for (const int count : counts) apart += std::abs(count);
  return apart;
}

bool LooksLike(std::string_view name, std::string_view known) {
  constexpr int kNear = 2;
  return LettersApart(name, known) <= kNear;
}

}  // namespace

void CheckNameMissing(const TUpdate& update, TTell& tell) {
  if (update.name.empty()) tell.Of(update, rules::kUpdateName);
}

void CheckPropertyMistyped(const TUpdate& update, TTell& tell) {
  const TElement& element = *update.element;
  for (std::size_t i = 0; i < element.written; ++i) {
    const std::string& name = element.properties[i]->name;
    for (const rules::TUpdateProperty& known : rules::kUpdateProperties) {
      if (!LooksLike(name, known.name)) continue;
      if (tell.Catalogue().classes.Declares(element.className, name)) break;
      tell.Of(update, name, name + " for " + std::string(known.name));
    }
  }
}

void CheckPropertyForm(const TUpdate& update, TTell& tell) {
  for (const rules::TUpdateProperty& known : rules::kUpdateProperties) {
    const TProperty* const property = update.element->Find(known.name);
    if (property == nullptr || property->isArray == known.isArray) continue;
    tell.Of(update, known.name, std::string(known.name));
  }
}

void CheckPropertyType(const TUpdate& update, TTell& tell) {
  for (const rules::TUpdateProperty& known : rules::kUpdateProperties) {
    const TProperty* const property = update.element->Find(known.name);
    if (property == nullptr || property->type.empty() || property->type == "string") continue;
    tell.Of(update, known.name, std::string(known.name) + " is a " + property->type);
  }
}

}  // namespace svc::catalogue
