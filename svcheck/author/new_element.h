// Update elements that are being made, of lists and tables too, and the text of a catalogue made of
// them. Pure functions; may be called from any thread.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "svcheck/author/catalogue_files.h"
#include "svcheck/author/update.h"

namespace svc::catalogue {

// Whom an element is for. Machine types without their marks.
struct TFor {
  std::vector<std::string> machineTypes;
  std::vector<std::string> systems;

  bool operator==(const TFor&) const = default;
};

// Empty texts are left out of the catalogue.
struct TNewElement {
  std::string name;
  std::string description;
  std::string category;
  std::string installDirectory;
  std::string version;
  std::string build;
  std::string driverFiles;
  std::string driverSources;
  TFor whom;
};

// As a file index.xml.
std::string CatalogueText(const std::vector<TNewElement>& elements);
// The same of objects that are text already; with a remark, which may be empty, before them.
std::string CatalogueAround(std::string_view remark, std::string_view objects);
// Its INSTANCE.
std::string InstanceText(const TNewElement& element);
// Puts a CLASS or an INSTANCE behind the other objects.
void AppendObject(std::string_view declared, std::string& objects);
// A document as UTF-8 without byte order mark, whose declaration says so; as it is where it cannot
// be converted.
std::string Utf8Of(std::string document);

// A catalogue that others were added to.
struct TMerged {
  std::string text;
  std::size_t added = 0;     // Offers that it did not have; so for those that follow.
  std::size_t replaced = 0;  // Those that it had in an older version.
  std::size_t kept = 0;      // Those that it has so already, or newer.
  std::vector<std::string> remarks;
};

// Adds the elements to a catalogue, a document in UTF-8. What it offers in an older version to the
// same machines and systems, or to some of them, gets the new one; all else stays as it is. Throws
// TError (kCatalogue) where no check takes the catalogue.
TMerged MergeInto(std::string_view older, const std::vector<TNewElement>& elements,
                  const std::filesystem::path& dataFolder);

// The codes of an operating system's kind, and the families that live checks look for: those of
// `wanted`, or all where it is empty. Empty when none of `wanted` is of that kind; "any" is every
// code of every kind.
std::vector<std::string> SystemsFor(EPlatform platform, const std::vector<std::string>& wanted);
// The same for every kind.
std::vector<std::string> WithFamilies(const std::vector<std::string>& wanted);
// Every code that there is, for people.
std::string KnownSystems();
// What stands for every system there is, where codes are given.
inline constexpr std::string_view kAnySystem = "any";
// Whether the text is a code or a family, in exactly its letters, or stands for all of them.
bool IsSystem(const std::string& text);
// Whether a text can be a machine type, which may be a product's whole name: one line without
// marks, and without blanks at its ends.
bool IsMachineType(const std::string& text);
// The machine types of one field of a list, parted by "|". Without one, commas, semicolons and line
// ends part types that hold no blank, and blanks those that all begin with a digit, as 4638 4620;
// otherwise the field is one type, as the name of a product: "Standard PC (Q35 + ICH9, 2009)".
std::vector<std::string> MachineTypesIn(const std::string& field);
// The texts between the separators, without the blanks around them; empty ones are left out.
std::vector<std::string> Parts(const std::string& text, std::string_view separators);

// A driver by itself. What it says must not make it firmware.
TNewElement ElementOf(const TDriver& driver, const TFor& whom);

// The elements of a list of firmware versions, as an administrator keeps them in a table. Its first
// row names the columns: type, name, version, machine types, operating systems, and perhaps build.
// Rows of adapters that belong together become one element. `otherwise` stands in where a row names
// no machine type or no operating system. Throws TError (kText) at the first row that cannot be
// used.
std::vector<TNewElement> ReadFirmwareList(std::string_view text, const TFor& otherwise);

// --- Tables as text (RFC 4180) ---

struct TCsvRow {
  std::size_t line;  // From 1, where the row begins.
  std::vector<std::string> fields;
};

// Every row but the empty ones. Fields are parted by commas, or by semicolons where the first line
// has no comma, as spreadsheets write it where the comma is the decimal point; blanks around a
// field that is not quoted are cut. Throws TError (kText) for quotes that do not fit.
std::vector<TCsvRow> ParseCsv(std::string_view text);

}  // namespace svc::catalogue
