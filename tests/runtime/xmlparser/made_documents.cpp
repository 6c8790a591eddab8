#include "made_documents.h"

#include <iterator>
#include <string_view>

namespace svc::xml {

std::size_t TChance::Below(std::size_t limit) {
  state += 0x9E3779B97F4A7C15;
  std::uint64_t mixed = (state ^ state >> 30) * 0xBF58476D1CE4E5B9;
  mixed = (mixed ^ mixed >> 27) * 0x94D049BB133111EB;
  return static_cast<std::size_t>((mixed ^ mixed >> 31) % limit);
}

namespace {

template <std::size_t size>
std::string_view OneOf(const std::string_view (&choices)[size], TChance& chance) {
  return choices[chance.Below(size)];
}

constexpr std::string_view kTexts[] = {
    "a",
    " ",
    "-[4620]-",
    "1.02",
    "&lt;",
    "&#x41;",
    "&#233;",
    "&amp;",
    "\r\n",
    "\n",
    "\t",
    "\xC3\xA9",
    "\xE6\x97\xA5",
    "]]",
    "\"",
    "'",
    ">",
    "<![CDATA[<x>&]]>",
    "<!-- no -->",
    "<?no no?>",
    "<![CDATA[]]>",
    "\r",
    "a longer text, long enough for two blocks of the scanner, and then some more of it"};
constexpr std::string_view kSpaces[] = {"",       "", "", " ", "\n  ", "\r\n\t", "<!-- c -->\n",
                                        "<?p i?>"};
constexpr std::string_view kNames[] = {"Name",  "Version",   "files",
                                       "types", "n\xC3\xB6", "aVeryLongNameOfAProperty"};

constexpr std::string_view kPieces[] = {"<",
                                        ">",
                                        "&",
                                        "]]>",
                                        "--",
                                        "<!--",
                                        "-->",
                                        "<![CDATA[",
                                        "?>",
                                        "<?",
                                        "<?xml",
                                        "\"",
                                        "'",
                                        "=",
                                        "/",
                                        "&#0;",
                                        "&#xD800;",
                                        "&#65;",
                                        "&lt;",
                                        "&foo;",
                                        "\r",
                                        "\n",
                                        "\x01",
                                        "\xEF\xBF\xBE",
                                        "\xED\xA0\x80",
                                        "\xC0\x80",
                                        "\xC3",
                                        "<A>",
                                        "</A>",
                                        "<A/>",
                                        "<!",
                                        "</",
                                        " a=''",
                                        "VALUE",
                                        " "};

std::string Text(TChance& chance) {
  std::string text;
  for (std::size_t i = chance.Below(5); i != 0; --i) text += OneOf(kTexts, chance);
  return text;
}

std::string Value(TChance& chance) { return "<VALUE>" + Text(chance) + "</VALUE>"; }

std::string Attribute(std::string_view name, std::string_view value, TChance& chance) {
  const char* quote = chance.OneIn(2) ? "\"" : "'";
  return std::string(chance.OneIn(4) ? "\n " : " ") + std::string(name) +
         (chance.OneIn(6) ? " = " : "=") + quote + std::string(value) + quote;
}

std::string Array(TChance& chance) {
  std::string array = "<VALUE.ARRAY>";
  for (std::size_t i = chance.Below(4); i != 0; --i)
    array += std::string(OneOf(kSpaces, chance)) + Value(chance);
  return array + "</VALUE.ARRAY>";
}

std::string Property(std::string_view name, TChance& chance) {
  const bool isArray = chance.OneIn(3);
  const std::string element = isArray ? "PROPERTY.ARRAY" : "PROPERTY";
  std::string text = "<" + element + Attribute("NAME", name, chance);
  if (chance.OneIn(2)) text += Attribute("TYPE", "string", chance);
  if (chance.OneIn(6)) text += Attribute("CLASSORIGIN", "&quot;A&quot;", chance);
  if (chance.OneIn(6)) return text + "/>";
  text += ">" + std::string(OneOf(kSpaces, chance));
  if (!chance.OneIn(6)) text += isArray ? Array(chance) : Value(chance);
  return text + std::string(OneOf(kSpaces, chance)) + "</" + element + ">";
}

std::string Instance(TChance& chance) {
  std::string text = "<INSTANCE CLASSNAME=\"" + std::string(chance.OneIn(2) ? "A" : "B") + "\">";
  for (std::string_view name : kNames)
    if (!chance.OneIn(3)) text += std::string(OneOf(kSpaces, chance)) + Property(name, chance);
  return text + "</INSTANCE>";
}

// One that a writer of regular documents makes, or one in `rarity` of another form.
std::string RegularProperty(std::string_view name, const std::string& lineEnd, std::size_t rarity,
                            TChance& chance) {
  if (chance.OneIn(rarity)) return Property(name, chance);
  const std::string words(OneOf(kTexts, chance));
  const std::string plain = words.find_first_of("&<\r") == words.npos ? words : "plain";
  const std::string tag = " NAME=\"" + std::string(name) + "\" TYPE=\"string\">";
  if (name != "types")
    return "<PROPERTY" + tag + lineEnd + "<VALUE>" + plain + "</VALUE>" + lineEnd + "</PROPERTY>";
  std::string text = "<PROPERTY.ARRAY" + tag + lineEnd + "<VALUE.ARRAY>";
  for (std::size_t i = chance.Below(6); i != 0; --i)
    text += lineEnd + (chance.OneIn(rarity) ? Value(chance) : "<VALUE>" + plain + "</VALUE>");
  return text + lineEnd + "</VALUE.ARRAY>" + lineEnd + "</PROPERTY.ARRAY>";
}

std::string RegularInstance(const std::string& lineEnd, std::size_t rarity, TChance& chance) {
  const bool isOther = chance.OneIn(rarity);
  std::string text = lineEnd + "<VALUE.OBJECT>" + lineEnd + "<INSTANCE CLASSNAME=\"" +
                     (isOther ? "B" : "A") + "\">";
  for (std::string_view name : kNames)
    if (!chance.OneIn(rarity)) text += lineEnd + RegularProperty(name, lineEnd, rarity, chance);
  return text + lineEnd + "</INSTANCE>" + lineEnd + "</VALUE.OBJECT>";
}

}  // namespace

std::string MakeDocument(TChance& chance) {
  std::string text = chance.OneIn(2) ? "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" : "";
  text += std::string(OneOf(kSpaces, chance)) + "<CIM><DECLARATION><DECLGROUP>\n";
  text += "<VALUE.OBJECT><CLASS NAME=\"A\"></CLASS></VALUE.OBJECT>";
  text += "<VALUE.OBJECT><CLASS NAME='B'/></VALUE.OBJECT>";
  for (std::size_t i = chance.Below(5); i != 0; --i)
    text += std::string(OneOf(kSpaces, chance)) + "<VALUE.OBJECT>" + Instance(chance) +
            "</VALUE.OBJECT>\n";
  return text + "</DECLGROUP></DECLARATION></CIM>\n" + std::string(OneOf(kSpaces, chance));
}

std::string MakeRegularDocument(TChance& chance) {
  constexpr std::string_view kLineEnds[] = {"", "\n", "\r\n", "\n        "};
  const std::string lineEnd(OneOf(kLineEnds, chance));
  const std::size_t rarity = 2 + chance.Below(40);
  std::string text = "<CIM><DECLARATION><DECLGROUP>";
  for (const char* name : {"A", "B"})
    text += "<VALUE.OBJECT><CLASS NAME=\"" + std::string(name) + "\"/></VALUE.OBJECT>";
  for (std::size_t i = 3 + chance.Below(5); i != 0; --i)
    text += RegularInstance(lineEnd, rarity, chance);
  // What is read at a stroke needs room behind it.
  return text + "<!--" + std::string(chance.Below(2) * 300, ' ') +
         "--></DECLGROUP></DECLARATION></CIM>";
}

std::string Mutate(std::string document, TChance& chance) {
  for (std::size_t i = 1 + chance.Below(2); i != 0 && !document.empty(); --i) {
    const std::size_t at = chance.Below(document.size());
    switch (chance.Below(5)) {
      case 0:
        document[at] = static_cast<char>(chance.Below(256));
        break;
      case 1:
        document.erase(at, 1 + chance.Below(4));
        break;
      case 2:
        document.insert(at, document.substr(chance.Below(document.size()), chance.Below(30)));
        break;
      default:
        document.insert(at, OneOf(kPieces, chance));
    }
  }
  if (chance.OneIn(12)) document.resize(chance.Below(document.size() + 1));
  return document;
}

}  // namespace svc::xml
