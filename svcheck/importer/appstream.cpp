#include "svcheck/importer/appstream.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cstdint>
#include <utility>

#include "base/error.h"
#include "report/text.h"
#include "runtime/xmlparser/document_text.h"
#include "runtime/xmlparser/encoding.h"
#include "runtime/xmlparser/xml_reader.h"

namespace svc::offers {

namespace {

using report::Trim;
using xml::EToken;

// Walks a document; each function that reads an element is called behind its start and leaves off
// behind its end.
class TAppStreamReader {
 public:
  TAppStreamReader(xml::TDocumentText& text, const TTakeComponent& take)
      : reader(text), take(take) {}

  void Read();

 private:
  template <typename TUse>
  void ForEachChild(const TUse& use);
  void Skip();
  std::string TextWithin(std::size_t longest);
  std::string Text() { return TextWithin(kLongestText); }
  std::string Attribute(std::string_view name) const;
  bool IsTranslation() const { return reader.Attribute("xml:lang").has_value(); }
  template <typename TItem>
  void Append(std::vector<TItem>& list, TItem item);

  void ReadComponent();
  void ReadDeveloper(TComponent& component);
  void ReadProvides(TComponent& component);
  void ReadRequires(TComponent& component);
  void ReadCustom(TComponent& component);
  void ReadReleases(TComponent& component);
  TRelease ReadRelease();
  bool ReadArchive(std::string_view name, bool isArtifact, TRelease& release);
  void ReadArtifacts(TRelease& release);
  void AppendBlocks(std::string& text);
  std::string RequirementHere();

  xml::TXmlReader reader;
  const TTakeComponent& take;
};

// Calls `use` with the name of each child, which it reads or leaves: then it is passed over.
template <typename TUse>
void TAppStreamReader::ForEachChild(const TUse& use) {
  while (true) {
    const EToken token = reader.NextTag();
    if (token == EToken::kEnd) return;
    if (token == EToken::kStart && !use(std::string(reader.Name()))) Skip();
  }
}

void TAppStreamReader::Skip() {
  for (std::size_t depth = 1; depth > 0;) {
    const EToken token = reader.Next();
    if (token == EToken::kStart) ++depth;
    if (token == EToken::kEnd) --depth;
  }
}

// All the text in an element and those below it, blanks and line ends as one blank; cut where it is
// too long.
std::string TAppStreamReader::TextWithin(std::size_t longest) {
  std::string text;
  for (std::size_t depth = 1; depth > 0;) {
    const EToken token = reader.Next();
    if (token == EToken::kStart) ++depth;
    if (token == EToken::kEnd) --depth;
    if (token != EToken::kText) continue;
    for (const char c : reader.Text()) {
      if (!report::IsBlank(c)) {
        text += c;
      } else if (!text.empty() && text.back() != ' ') {
        text += ' ';
      }
      if (text.size() > longest) reader.Fail("a text is longer than any that is published");
    }
  }
  return std::string(Trim(text));
}

std::string TAppStreamReader::Attribute(std::string_view name) const {
  const auto value = reader.Attribute(name);
  if (!value) return {};
  if (value->size() > kLongestText) reader.Fail("an attribute is longer than any published");
  return std::string(Trim(*value));
}

template <typename TItem>
void TAppStreamReader::Append(std::vector<TItem>& list, TItem item) {
  if (item == TItem()) return;
  if (list.size() == kMostItems) reader.Fail("a component has more items than any published");
  list.push_back(std::move(item));
}

void TAppStreamReader::Read() {
  while (reader.Next() != EToken::kStart) {
  }
  if (reader.Name() == "component") {
    ReadComponent();
  } else if (reader.Name() == "components") {
    ForEachChild([&](const std::string& name) {
      if (name != "component" || Attribute("type") != "firmware") return false;
      ReadComponent();
      return true;
    });
  } else {
    reader.Fail("the root element is neither \"components\" nor \"component\"");
  }
  while (reader.Next() != EToken::kFinished) {
  }
  reader.CheckEpilogue();
}

void TAppStreamReader::ReadComponent() {
  TComponent component;
  const bool isFirmware = Attribute("type") == "firmware";
  ForEachChild([&](const std::string& name) {
    if (IsTranslation()) return false;
    if (name == "id") {
      component.id = Text();
    } else if (name == "name") {
      component.name = Text();
    } else if (name == "developer_name") {
      component.vendor = Text();
    } else if (name == "branch") {
      component.branch = Text();
    } else if (name == "developer") {
      ReadDeveloper(component);
    } else if (name == "provides") {
      ReadProvides(component);
    } else if (name == "requires") {
      ReadRequires(component);
    } else if (name == "custom") {
      ReadCustom(component);
    } else if (name == "releases") {
      ReadReleases(component);
    } else {
      return false;
    }
    return true;
  });
  if (isFirmware && !component.identifiers.empty() && !component.releases.empty()) take(component);
}

void TAppStreamReader::ReadDeveloper(TComponent& component) {
  ForEachChild([&](const std::string& name) {
    if (name != "name" || IsTranslation()) return false;
    component.vendor = Text();
    return true;
  });
}

void TAppStreamReader::ReadProvides(TComponent& component) {
  ForEachChild([&](const std::string& name) {
    if (name != "firmware" || Attribute("type") != "flashed") return false;
    Append(component.identifiers, Text());
    return true;
  });
}

// What stands between blanks must hold none itself. A requirement that cannot be told so is kept as
// one that nothing satisfies.
std::string TAppStreamReader::RequirementHere() {
  std::string element(reader.Name());
  std::string compare = Attribute("compare");
  std::string version = Attribute("version");
  const std::string depth = Attribute("depth");
  std::string about = Text();
  if (about.empty() && !depth.empty() && depth != "0") about = "parent";
  for (std::string* const word : {&compare, &version}) {
    if (word->empty()) *word = "-";
    if (std::any_of(word->begin(), word->end(), report::IsBlank)) return "unreadable - -";
  }
  std::string text = std::move(element) + ' ' + compare + ' ' + version;
  return about.empty() ? text : text + ' ' + about;
}

void TAppStreamReader::ReadRequires(TComponent& component) {
  ForEachChild([&](const std::string&) {
    Append(component.requirements, RequirementHere());
    return true;
  });
}

void TAppStreamReader::ReadCustom(TComponent& component) {
  ForEachChild([&](const std::string& name) {
    if (name != "value") return false;
    const std::string key = Attribute("key");
    if (key == "LVFS::VersionFormat") {
      component.versionFormat = Text();
    } else if (key == "LVFS::UpdateProtocol") {
      component.protocol = Text();
    } else {
      return false;
    }
    return true;
  });
}

void TAppStreamReader::ReadReleases(TComponent& component) {
  ForEachChild([&](const std::string& name) {
    if (name != "release") return false;
    TRelease release = ReadRelease();
    if (component.releases.size() == kMostItems) {
      reader.Fail("a component has more releases than any published");
    }
    if (!release.version.empty()) component.releases.push_back(std::move(release));
    return true;
  });
}

// The day of seconds since 1970.
std::string DayOf(const std::string& seconds) {
  std::int64_t value = 0;
  const char* const end = seconds.data() + seconds.size();
  const auto read = std::from_chars(seconds.data(), end, value);
  if (seconds.empty() || read.ec != std::errc() || read.ptr != end) return {};
  constexpr std::size_t kDay = 10;
  return report::UtcTime(value).substr(0, kDay);
}

std::string UrgencyOf(std::string word) {
  constexpr std::array<std::string_view, 4> kKnown = {"low", "medium", "high", "critical"};
  const bool isKnown = std::find(kKnown.begin(), kKnown.end(), word) != kKnown.end();
  return isKnown ? std::move(word) : std::string();
}

TRelease TAppStreamReader::ReadRelease() {
  TRelease release;
  release.version = Attribute("version");
  release.urgency = UrgencyOf(Attribute("urgency"));
  release.date = Attribute("date");
  if (release.date.empty()) release.date = DayOf(Attribute("timestamp"));
  ForEachChild([&](const std::string& name) {
    if (ReadArchive(name, false, release)) return true;
    if (name == "artifacts") {
      ReadArtifacts(release);
    } else if (name == "description" && !IsTranslation()) {
      AppendBlocks(release.description);
    } else if (name == "issues") {
      ForEachChild([&](const std::string& child) {
        if (child != "issue") return false;
        Append(release.issues, Text());
        return true;
      });
    } else {
      return false;
    }
    return true;
  });
  return release;
}

// What tells of the archive itself, in a release or in its artifact; false where the child is
// something else.
bool TAppStreamReader::ReadArchive(std::string_view name, bool isArtifact, TRelease& release) {
  const std::string type = Attribute("type");
  if (name == "location") {
    release.location = Text();
  } else if (name == "size" && type == "download") {
    release.size = Text();
  } else if (name == "checksum" && (isArtifact || Attribute("target") == "container")) {
    Append(release.hashes, type + ':' + Text());
  } else if (name == "checksum" && Attribute("target") == "content") {
    const std::string file = Attribute("filename");
    std::string value = Text();
    if (value.empty()) return true;
    for (char& digit : value)
      digit = static_cast<char>(std::tolower(static_cast<unsigned char>(digit)));
    Append(release.contents,
           TContentHash{type, std::move(value), file.empty() ? "firmware.bin" : file});
  } else {
    return false;
  }
  return true;
}

void TAppStreamReader::ReadArtifacts(TRelease& release) {
  ForEachChild([&](const std::string& name) {
    if (name != "artifact" || Attribute("type") != "binary") return false;
    ForEachChild([&](const std::string& child) { return ReadArchive(child, true, release); });
    return true;
  });
}

// Paragraphs and lists, a line each; other elements are passed through.
void TAppStreamReader::AppendBlocks(std::string& text) {
  ForEachChild([&](const std::string& name) {
    if (IsTranslation()) return false;
    if (name != "p" && name != "li") {
      AppendBlocks(text);
      return true;
    }
    const std::string line = TextWithin(kLongestDescription);
    if (text.size() + line.size() > kLongestDescription) {
      reader.Fail("a description is longer than any published");
    }
    if (line.empty()) return true;
    text += (text.empty() ? "" : "\n") + std::string(name == "li" ? "- " : "") + line;
    return true;
  });
}

}  // namespace

void ReadAppStream(char* begin, std::size_t size, const TTakeComponent& take) {
  const auto read = [&] {
    const xml::TUtf8Document document = xml::ToUtf8(begin, begin + size);
    xml::TDocumentText text(document.begin, document.end);
    TAppStreamReader(text, take).Read();
  };
  Retold<xml::TDocumentError>(
      read, [](const xml::TDocumentError& error) { return TextError(error.line, error.what()); });
}

}  // namespace svc::offers
