#include "collect/cim_xml.h"

#include <fmt/format.h>

#include <iterator>

#include "collect/text.h"

namespace svc::collect {

namespace {

std::string Escaped(std::string_view text) {
  std::string escaped;
  escaped.reserve(text.size());
  for (const char c : text) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      default:
        escaped += c;
    }
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

}  // namespace

std::string ToCimXml(const std::vector<TInstance>& instances) {
  std::string document =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\">\n"
      "  <DECLARATION>\n"
      "    <DECLGROUP>\n";
  for (const TInstance& instance : instances) Append(document, instance);
  return document +
         "    </DECLGROUP>\n"
         "  </DECLARATION>\n"
         "</CIM>\n";
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
