// Releases as the instances of a catalogue, written as CIM-XML.
#include "svcheck/importer/appstream.h"

#include <fmt/format.h>

#include <array>
#include <vector>

#include "report/text.h"

namespace svc::offers {

namespace {

struct TText {
  std::string_view name;
  const std::string& value;
};

struct TTexts {
  std::string_view name;
  const std::vector<std::string>& values;
};

// A line end needs no reference in the content of an element, and is read much faster without.
std::string ContentText(std::string_view value) {
  constexpr std::string_view kReference = "&#10;";
  std::string text = report::XmlText(value);
  std::size_t kept = 0;
  for (std::size_t at = 0; at < text.size(); ++kept) {
    const bool isLineEnd = text.compare(at, kReference.size(), kReference) == 0;
    text[kept] = isLineEnd ? '\n' : text[at];
    at += isLineEnd ? kReference.size() : 1;
  }
  text.resize(kept);
  return text;
}

void Append(std::string& text, const TText& property) {
  if (property.value.empty()) return;
  text += fmt::format("  <PROPERTY NAME=\"{}\" TYPE=\"string\"><VALUE>{}</VALUE></PROPERTY>\n",
                      property.name, ContentText(property.value));
}

void Append(std::string& text, const TTexts& property) {
  if (property.values.empty()) return;
  text +=
      fmt::format("  <PROPERTY.ARRAY NAME=\"{}\" TYPE=\"string\"><VALUE.ARRAY>\n", property.name);
  for (const std::string& value : property.values) {
    text += "    <VALUE>" + report::XmlText(value) + "</VALUE>\n";
  }
  text += "  </VALUE.ARRAY></PROPERTY.ARRAY>\n";
}

}  // namespace

std::string_view FileBegin() {
  return R"(<?xml version="1.0" encoding="UTF-8"?>
<CIM CIMVERSION="2.0" DTDVERSION="2.0">
<DECLARATION>
<DECLGROUP>
<VALUE.OBJECT><CLASS NAME="SVC_FirmwareOffer">
  <PROPERTY NAME="ComponentId" TYPE="string"/>
  <PROPERTY NAME="Name" TYPE="string"/>
  <PROPERTY NAME="Vendor" TYPE="string"/>
  <PROPERTY NAME="Version" TYPE="string"/>
  <PROPERTY NAME="VersionFormat" TYPE="string"/>
  <PROPERTY NAME="Urgency" TYPE="string"/>
  <PROPERTY NAME="ReleaseDate" TYPE="string"/>
  <PROPERTY NAME="Size" TYPE="string"/>
  <PROPERTY NAME="Location" TYPE="string"/>
  <PROPERTY NAME="Branch" TYPE="string"/>
  <PROPERTY NAME="Protocol" TYPE="string"/>
  <PROPERTY NAME="Description" TYPE="string"/>
  <PROPERTY.ARRAY NAME="Identifiers" TYPE="string"/>
  <PROPERTY.ARRAY NAME="Requirements" TYPE="string"/>
  <PROPERTY.ARRAY NAME="Hashes" TYPE="string"/>
  <PROPERTY.ARRAY NAME="Issues" TYPE="string"/>
</CLASS></VALUE.OBJECT>
)";
}

std::string_view FileEnd() { return "</DECLGROUP>\n</DECLARATION>\n</CIM>\n"; }

std::string InstanceText(const TComponent& component, const TRelease& release) {
  std::string text = "<VALUE.OBJECT><INSTANCE CLASSNAME=\"SVC_FirmwareOffer\">\n";
  for (const TText& property : std::array{
           TText{"ComponentId", component.id}, TText{"Name", component.name},
           TText{"Vendor", component.vendor}, TText{"Version", release.version},
           TText{"VersionFormat", component.versionFormat}, TText{"Urgency", release.urgency},
           TText{"ReleaseDate", release.date}, TText{"Size", release.size},
           TText{"Location", release.location}, TText{"Branch", component.branch},
           TText{"Protocol", component.protocol}, TText{"Description", release.description}}) {
    Append(text, property);
  }
  for (const TTexts& property :
       std::array{TTexts{"Identifiers", component.identifiers},
                  TTexts{"Requirements", component.requirements}, TTexts{"Hashes", release.hashes},
                  TTexts{"Issues", release.issues}}) {
    Append(text, property);
  }
  return text + "</INSTANCE></VALUE.OBJECT>\n";
}

}  // namespace svc::offers
