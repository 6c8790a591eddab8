// The files of a catalogue, read as a check reads them.
#ifndef SVCHECK_AUTHOR_CATALOGUE_FILES_H_
#define SVCHECK_AUTHOR_CATALOGUE_FILES_H_

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "svcheck/author/classes.h"
#include "svcheck/author/elements.h"

namespace svc::catalogue {

struct TFile {
  std::string name;      // In the catalogue's folder.
  bool isLoaded = true;  // By a check; otherwise nothing but the name is known.
  std::optional<TProblem> unreadable;
  std::optional<TProblem> malformed;
  std::optional<TProblem> refused;  // Well-formed, but not what the loader takes.
  std::optional<TDialect> dialect;
  std::vector<TElement> elements;  // Update elements, with the defaults of their class.
  std::vector<TElement> others;    // Instances of other classes.
  // Where the rest of its document is, as a TDocument has it.
  std::vector<TSpan> classes;
  std::uint32_t groupEnd = 0;
  std::uint32_t rootEnd = 0;
};

struct TCatalogue {
  bool isLive = false;  // The descriptions of live checks, instead of an index.
  TClasses classes;
  std::vector<TFile> files;

  std::size_t CountElements() const;
};

// Whether a check would take the catalogue: nothing of it is used when one of its files is refused.
// The first file that is refused; null for none.
const TFile* FirstUnusable(const TCatalogue& catalogue);
// What is wrong with a file that is not used, "FILE:LINE: cause".
std::string WhyUnusable(const TFile& file);

// Reads the catalogue of a folder: its index.xml or, for live checks, every file that these load.
// `dataFolder` holds sv/sv.definitions.xml. Throws TError where there is no catalogue.
TCatalogue ReadCatalogue(const std::filesystem::path& folder, bool isLive,
                         const std::filesystem::path& dataFolder);
// The same for one document in memory, as an index.xml.
TCatalogue ReadCatalogueText(std::string text, const std::filesystem::path& dataFolder);

struct TNamedText {
  std::string name;
  std::string text;
};
// The same for several, as a live check loads them, one behind the other.
TCatalogue ReadCatalogueTexts(const std::vector<TNamedText>& texts,
                              const std::filesystem::path& dataFolder);

}  // namespace svc::catalogue

#endif  // SVCHECK_AUTHOR_CATALOGUE_FILES_H_
