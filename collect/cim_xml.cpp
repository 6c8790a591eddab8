#include "collect/cim_xml.h"

#include <fmt/format.h>

#include <cstdint>
#include <iterator>

#include "base/shown_text.h"

namespace svc::collect {
namespace {

constexpr std::string_view kBlanks = " \t\r\n\v\f";

// The length of the well-formed UTF-8 sequence at the start of `bytes`, 0 when there is none, and
// its code point.
struct TSequence {
  std::size_t length = 0;
  char32_t point = 0;
};

std::size_t LengthByLead(unsigned char lead) {
  if (lead < 0x80) return 1;
  if (lead >= 0xC2 && lead < 0xE0) return 2;
  if (lead >= 0xE0 && lead < 0xF0) return 3;
  if (lead >= 0xF0 && lead < 0xF5) return 4;
  return 0;
}

TSequence Decode(std::string_view bytes) {
  constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  const auto lead = static_cast<unsigned char>(bytes.front());
  const std::size_t length = LengthByLead(lead);
  if (length == 0 || length > bytes.size()) return {};
  char32_t point = length == 1 ? lead : lead & (0x7FU >> length);
  for (std::size_t i = 1; i < length; ++i) {
    const auto next = static_cast<unsigned char>(bytes[i]);
    if ((next & 0xC0U) != 0x80U) return {};
    point = point << 6U | (next & 0x3FU);
  }
  const bool surrogate = point >= 0xD800 && point < 0xE000;
  if (point < kSmallest[length] || surrogate || point > 0x10FFFF) return {};
  return {length, point};
}

bool IsShown(char32_t point) {
  const bool control = point < 0x20 || (point >= 0x7F && point < 0xA0);
  return !control && point != 0xFFFE && point != 0xFFFF;
}

// What stands for the character; empty where it may stand itself.
std::string EscapeOf(char32_t character) {
  const std::string_view replacement = MarkupReplacement(character);
  if (!replacement.empty() || MayBeShown(character)) return std::string(replacement);
  return fmt::format("&#{};", static_cast<std::uint32_t>(character));
}

std::string Escaped(std::string_view text) {
  std::string escaped;
  escaped.reserve(text.size());
  while (!text.empty()) {
    const TCodePoint character = FirstCodePoint(text);
    const std::string escape = EscapeOf(character.value);
    escaped += escape.empty() ? text.substr(0, character.size) : escape;
    text.remove_prefix(character.size);
  }
  return escaped;
}

void AppendArray(std::string& document, const TProperty& property) {
  auto out = std::back_inserter(document);
  fmt::format_to(out, "        <PROPERTY.ARRAY NAME=\"{}\" TYPE=\"{}\"><VALUE.ARRAY>\n",
                 Escaped(property.name), property.type);
  for (const std::string& element : property.elements)
    fmt::format_to(out, "          <VALUE>{}</VALUE>\n", Escaped(element));
  document += "        </VALUE.ARRAY></PROPERTY.ARRAY>\n";
}

void Append(std::string& document, const TInstance& instance) {
  auto out = std::back_inserter(document);
  fmt::format_to(out, "      <VALUE.OBJECT><INSTANCE CLASSNAME=\"{}\">\n",
                 Escaped(instance.ClassName()));
  for (const TProperty& property : instance.Properties()) {
    if (!property.elements.empty()) {
      AppendArray(document, property);
      continue;
    }
    fmt::format_to(out, "        <PROPERTY NAME=\"{}\" TYPE=\"{}\"><VALUE>{}</VALUE></PROPERTY>\n",
                   Escaped(property.name), property.type, Escaped(property.value));
  }
  document += "      </INSTANCE></VALUE.OBJECT>\n";
}

std::string Unquoted(std::string_view value) {
  value = Trimmed(value);
  const bool quoted = value.size() >= 2 && (value.front() == '"' || value.front() == '\'') &&
                      value.back() == value.front();
  if (quoted) value = value.substr(1, value.size() - 2);
  std::string plain;
  for (std::size_t i = 0; i < value.size(); ++i) {
    if (value[i] == '\\' && i + 1 < value.size()) ++i;
    plain += value[i];
  }
  return plain;
}

}  // namespace

std::string CleanText(std::string_view bytes) {
  bytes = Trimmed(bytes.substr(0, bytes.find('\0')));
  std::string clean;
  clean.reserve(bytes.size());
  while (!bytes.empty()) {
    const TSequence sequence = Decode(bytes);
    const std::size_t length = sequence.length == 0 ? 1 : sequence.length;
    if (kBlanks.find(bytes.front()) != std::string_view::npos) {
      clean += ' ';
    } else {
      const bool isKept = sequence.length != 0 && IsShown(sequence.point);
      clean += isKept ? bytes.substr(0, length) : kReplacementText;
    }
    bytes.remove_prefix(length);
  }
  return clean;
}

std::string_view Trimmed(std::string_view text) {
  const std::size_t begin = text.find_first_not_of(kBlanks);
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

std::string_view FirstLine(std::string_view text) {
  return Trimmed(text.substr(0, text.find('\n')));
}

std::string Lowered(std::string_view text) {
  std::string lowered(text);
  for (char& letter : lowered) {
    if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
  }
  return lowered;
}

std::vector<std::string_view> Lines(std::string_view text) {
  std::vector<std::string_view> lines;
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    lines.push_back(text.substr(0, end));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
  return lines;
}

std::vector<std::string> Words(std::string_view line) {
  std::vector<std::string> words;
  for (std::size_t begin = 0; (begin = line.find_first_not_of(kBlanks, begin)) != line.npos;) {
    const std::size_t end = line.find_first_of(kBlanks, begin);
    words.emplace_back(line.substr(begin, end - begin));
    begin = end == line.npos ? line.size() : end;
  }
  return words;
}

std::map<std::string, std::string> Assignments(std::string_view text) {
  std::map<std::string, std::string> assignments;
  for (const std::string_view line : Lines(text)) {
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos || Trimmed(line).front() == '#') continue;
    assignments[std::string(Trimmed(line.substr(0, equals)))] = Unquoted(line.substr(equals + 1));
  }
  return assignments;
}

std::string_view Bracketed(std::string_view text) {
  const std::size_t open = text.find("-[");
  if (open == std::string_view::npos) return {};
  const std::size_t close = text.find("]-", open + 2);
  if (close == std::string_view::npos) return {};
  return text.substr(open + 2, close - open - 2);
}

void TInventory::Add(TInstance instance) {
  if (instance.Properties().empty() || isFull) return;
  if (room != kNoLimit) {
    std::string text;
    Append(text, instance);
    if (text.size() > room) {
      isFull = true;
      Note("more was told than an inventory has room for; the rest is left out");
      return;
    }
    room -= text.size();
  }
  instances.push_back(std::move(instance));
}

std::string ToCimXml(const std::vector<TInstance>& instances) {
  std::string document =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\">\n"
      "  <DECLARATION>\n"
      "    <DECLGROUP>\n";
  for (const TInstance& instance : instances) Append(document, instance);
  document +=
      "    </DECLGROUP>\n"
      "  </DECLARATION>\n"
      "</CIM>\n";
  return document;
}

std::string MachineTypeOf(const std::string& product) {
  constexpr std::size_t kTypeLength = 4;
  const std::string_view marked = Trimmed(Bracketed(product));
  return marked.empty() ? product : std::string(marked.substr(0, kTypeLength));
}

TInstance SystemBios(const std::string& version) {
  const std::string_view marked = Bracketed(version);
  TInstance bios("QRXSG_SystemBIOSElement");
  bios.Set("Name", "System BIOS").Set("Version", marked.empty() ? version : marked);
  if (const std::size_t dash = marked.find('-'); dash != std::string_view::npos) {
    bios.Set("BuildNumber", marked.substr(0, dash));
  }
  return bios;
}

}  // namespace svc::collect
