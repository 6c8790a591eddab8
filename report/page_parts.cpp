#include "report/page_parts.h"

#include <fmt/format.h>

#include "report/html_page.h"
#include "report/text.h"

namespace svc::report {

// Rows of a body. More of them are laid out for nothing, fewer make more bodies to look after.
constexpr std::size_t kRows = 50;

// A hash as a policy names it, in base64 (RFC 4648).
static std::string PolicyHash(std::string_view hexadecimal) {
  constexpr std::string_view kDigits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  constexpr std::size_t kBitsOfHexadecimal = 4;
  constexpr std::size_t kBitsOfBase64 = 6;
  std::string text = "'sha256-";
  unsigned bits = 0;
  std::size_t count = 0;
  for (const char c : hexadecimal) {
    bits = bits << kBitsOfHexadecimal | static_cast<unsigned>(IsDigit(c) ? c - '0' : c - 'a' + 10);
    count += kBitsOfHexadecimal;
    if (count < kBitsOfBase64) continue;
    count -= kBitsOfBase64;
    text += kDigits[bits >> count & 0x3F];
  }
  text += kDigits[bits << (kBitsOfBase64 - count) & 0x3F];  // 256 bits leave four.
  return text + "='";
}

static std::string Lower(std::string_view text) {
  std::string lower;
  for (const char c : text) lower += ToLower(c);
  return lower;
}

static std::string CatalogueAge(const TReport& report) {
  const auto date = report.catalogue.Date();
  if (!date) return {};
  return fmt::format("{}, from {}", Age(report.generated - *date), UtcTime(*date));
}

std::string Isolated(std::string_view text) { return "<bdi>" + PageText(text) + "</bdi>"; }

void WritePageHead(std::string_view title, IOutput& output) {
  output.Write(fmt::format(
      "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
      "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
      "<meta name=\"color-scheme\" content=\"light dark\">\n"
      "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src {}; "
      "script-src {}; base-uri 'none'; form-action 'none'\">\n<title>{}</title>\n<style>",
      PolicyHash(kHtmlStyleHash), PolicyHash(kHtmlScriptHash), PageText(title)));
  output.Write(kHtmlStyle);
  output.Write("</style>\n</head>\n<body>\n");
}

void WritePageEnd(std::string_view tool, std::string_view version, IOutput& output) {
  output.Write(
      fmt::format("<footer>{} {}</footer>\n</main>\n<script>", PageText(tool), PageText(version)));
  output.Write(kHtmlScript);
  output.Write("</script>\n</body>\n</html>\n");
}

std::string LeadPart(std::string_view style, std::string_view title, std::string_view markup) {
  return fmt::format("<header class=\"lead {}\"><div><h1>{}</h1>\n<p>{}</p></div></header>\n",
                     style, PageText(title), markup);
}

std::string PartsBar(std::span<const TPart> parts, std::string_view label) {
  std::string bars;
  std::uint64_t place = 0;
  for (const TPart& part : parts) {
    if (part.count == 0) continue;
    bars += fmt::format("<rect class=\"{}\" x=\"{}\" width=\"{}\" height=\"1\"/>", part.style,
                        place, part.count);
    place += part.count;
  }
  return fmt::format(
      "<svg class=\"parts\" viewBox=\"0 0 {} 1\" preserveAspectRatio=\"none\" "
      "role=\"img\" aria-label=\"{}\">{}</svg>\n",
      place, PageText(label), bars);
}

std::string Tiles(std::span<const TPart> parts) {
  std::string text = "<fieldset class=\"tiles\" aria-label=\"Show only\">\n";
  for (const TPart& part : parts) {
    text += fmt::format(
        "<button type=\"button\" class=\"tile {0}\" data-verdict=\"{0}\" aria-pressed=\"false\" "
        "disabled><b>{1}</b> <span>{2}</span> <small>{3}</small></button>\n",
        part.style, part.count, part.name, part.meaning);
  }
  return text + "</fieldset>\n";
}

std::string Pill(std::string_view style, std::string_view text) {
  return fmt::format("<span class=\"pill {}\">{}</span>", style, PageText(text));
}

std::string Fact(std::string_view name, std::string_view value) {
  if (value.empty()) return {};
  return fmt::format("<dt>{}</dt><dd>{}</dd>\n", name, PageText(value));
}

std::string CatalogueCard(const TReport& report) {
  const TCatalogue& catalogue = report.catalogue;
  std::string text = "<section class=\"card\"><h2>Catalogue</h2>\n<dl>\n";
  text += Fact(catalogue.source == "live" ? "Repository" : "Folder", catalogue.path);
  if (catalogue.elements) text += Fact("Elements", std::to_string(*catalogue.elements));
  text += Fact("Age", CatalogueAge(report)) + Fact("Checked", UtcTime(report.generated));
  return text + "</dl></section>\n";
}

std::string Tools(std::string_view search, std::span<const std::string> types,
                  std::string_view unsorted, std::span<const std::string_view> orders) {
  std::string text = fmt::format(
      "<div class=\"tools\" id=\"tools\" role=\"search\" hidden>\n"
      "<input id=\"search\" type=\"search\" placeholder=\"{0}\" aria-label=\"{0}\" "
      "autocomplete=\"off\">\n",
      search);
  for (const std::string& type : types) {
    text += fmt::format(
        "<button type=\"button\" data-type=\"{0}\" aria-pressed=\"false\">{0}</button>\n",
        PageText(type));
  }
  text +=
      fmt::format("<label>Sort by <select id=\"sort\"><option value=\"\">{}</option>", unsorted);
  for (const std::string_view order : orders) text += fmt::format("<option>{}</option>", order);
  return text + "</select></label>\n<output id=\"shown\"></output>\n</div>\n";
}

TPageTable::TPageTable(std::string_view style, std::span<const TColumn> columns, IOutput& output)
    : output(output), columns(columns.size()) {
  output.Write(
      fmt::format("<div class=\"card records\">\n<table id=\"records\" class=\"{}\" "
                  "data-rows=\"{}\"><thead><tr>",
                  style, kRows));
  for (const TColumn& column : columns) {
    output.Write(
        fmt::format("<th scope=\"col\" data-by=\"{}\"{}><button type=\"button\" disabled>"
                    "{}</button></th>",
                    Lower(column.title), column.isNumber ? " class=\"number\"" : "", column.title));
  }
  output.Write("</tr></thead>\n");
}

void TPageTable::Group(std::string_view name, std::string_view remark, std::size_t rows) {
  EndBody();
  left = rows;
  OpenBody(fmt::format(" data-type=\"{}\"", PageText(name)));
  output.Write(
      fmt::format("<tr class=\"group\"><th colspan=\"{}\" scope=\"rowgroup\"><bdi>{}</bdi> "
                  "<small>{}</small></th></tr>\n",
                  columns, PageText(name), remark));
}

void TPageTable::Row(std::string_view markup) {
  if (inBody == kRows) {
    EndBody();
    OpenBody({});
  }
  output.Write(markup);
  ++inBody;
  --left;
}

void TPageTable::OpenBody(std::string_view attributes) {
  output.Write(fmt::format("<tbody{}{}>", attributes, left >= kRows ? " class=\"full\"" : ""));
  inBody = 0;
  isOpen = true;
}

void TPageTable::EndBody() {
  if (isOpen) output.Write("</tbody>\n");
  isOpen = false;
}

void TPageTable::End() {
  EndBody();
  output.Write(
      "</table>\n<p class=\"nothing tools\" id=\"nothing\" hidden>Nothing goes by these filters. "
      "<button type=\"button\" id=\"all\">Show all</button></p>\n</div>\n");
}

}  // namespace svc::report
