// What lint knows: one row a rule. Pure functions; may be called from any thread.
#ifndef SVCHECK_AUTHOR_RULES_H_
#define SVCHECK_AUTHOR_RULES_H_

#include <cstddef>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "svcheck/author/update.h"

namespace svc::catalogue {

enum class ESeverity {
  kError,   // Something is never compared, or the catalogue not used at all.
  kWarning  // A record looks odd, or something was probably meant otherwise.
};

constexpr std::string_view NameOf(ESeverity severity) {
  return severity == ESeverity::kError ? "error" : "warning";
}

class TTell;
using TFileCheck = void (*)(const TFile&, TTell&);
using TUpdateCheck = void (*)(const TUpdate&, TTell&);
using TCatalogueCheck = void (*)(const std::vector<TUpdate>&, TTell&);
// Goes over the elements in their order and remembers what it saw; finds the same whenever another
// one is begun.
class ISeriesCheck {
 public:
  virtual ~ISeriesCheck() = default;
  virtual void Look(const TUpdate& update, TTell& tell) = 0;
};
using TSeriesCheck = std::unique_ptr<ISeriesCheck> (*)();

struct TRule {
  std::string_view id;
  ESeverity severity;
  std::string_view what;    // Ends where a detail may follow.
  std::string_view advice;  // A sentence.
  std::variant<TFileCheck, TUpdateCheck, TCatalogueCheck, TSeriesCheck> check;
};

std::span<const TRule> Rules();

// What a rule found on one line: once, or several times where it can find that again. A catalogue
// may give far more findings than it has bytes; each is put into words when it is told.
struct TFinding {
  const TRule* rule;
  const TFile* file;
  std::size_t line;  // 0 for a file as a whole.
  const TUpdate* update = nullptr;
  std::size_t count = 1;
  std::unique_ptr<const std::string> detail;  // Of what is not found again.
};

// A finding in words.
struct TToldFinding {
  const TRule& rule;
  const TFile& file;
  std::size_t line;           // As above.
  std::string_view element;   // Its name; empty where the finding is about none.
  const std::string& detail;  // May be empty.
};

// Where a check says what it found.
class TTell {
 public:
  using TTake = std::function<void(std::size_t line, const std::string& detail)>;

  // Counts what is found.
  TTell(const TCatalogue& catalogue, std::vector<TFinding>& findings)
      : catalogue(catalogue), findings(&findings) {}
  // Hands on what is found of an element.
  TTell(const TCatalogue& catalogue, TTake take) : catalogue(catalogue), take(std::move(take)) {}

  void Of(const TFile& file, std::size_t line, std::string detail = {});
  // On the line of a property, or of the element where it does not write it.
  void Of(const TUpdate& update, std::string_view property, std::string detail = {});
  // The same of a text of the catalogue, in quotes.
  void OfText(const TUpdate& update, std::string_view property, std::string_view quoted);
  void SetRule(const TRule& current) { rule = &current; }
  const TCatalogue& Catalogue() const { return catalogue; }

 private:
  void Count(const TUpdate& update, std::size_t line);

  const TCatalogue& catalogue;
  std::vector<TFinding>* findings = nullptr;
  TTake take;
  const TRule* rule = nullptr;
};

// In quotes, as far as a person wants to read it.
std::string Quoted(std::string_view text);

// Every finding, by file and line. The findings refer to both.
std::vector<TFinding> Lint(const TCatalogue& catalogue, const std::vector<TUpdate>& updates);
std::size_t CountOf(ESeverity severity, const std::vector<TFinding>& findings);
// Tells the findings one by one, in their order.
void TellEach(const TCatalogue& catalogue, const std::vector<TUpdate>& updates,
              const std::vector<TFinding>& findings,
              const std::function<void(const TToldFinding&)>& take);

}  // namespace svc::catalogue

#endif  // SVCHECK_AUTHOR_RULES_H_
