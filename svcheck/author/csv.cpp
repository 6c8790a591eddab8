#include "svcheck/author/csv.h"

#include <utility>

#include "base/error.h"
#include "report/text.h"

namespace svc::catalogue {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

class TCsvReader {
 public:
  explicit TCsvReader(std::string_view text) : text(text), separator(SeparatorOf(text)) {}

  std::vector<TCsvRow> Read() {
    std::vector<TCsvRow> rows;
    while (at < text.size()) {
      TCsvRow row{line, {}};
      do {
        row.fields.push_back(ReadField());
      } while (Take(separator));
      EndLine();
      if (row.fields.size() > 1 || !row.fields.front().empty()) rows.push_back(std::move(row));
    }
    return rows;
  }

 private:
  static char SeparatorOf(std::string_view text) {
    const std::string_view first = text.substr(0, text.find('\n'));
    return first.find(',') == first.npos && first.find(';') != first.npos ? ';' : ',';
  }

  bool IsAt(char c) const { return at < text.size() && text[at] == c; }
  bool Take(char c) {
    if (!IsAt(c)) return false;
    ++at;
    return true;
  }
  void EndLine() {
    Take('\r');
    Take('\n');
    ++line;
  }

  std::string ReadField() {
    while (IsAt(' ') || IsAt('\t')) ++at;
    return IsAt('"') ? ReadQuoted() : ReadPlain();
  }

  std::string ReadPlain() {
    const std::size_t begin = at;
    while (at < text.size() && !IsAt(separator) && !IsAt('\n') && !IsAt('\r')) ++at;
    const std::string_view field = report::Trim(text.substr(begin, at - begin));
    if (field.find('"') != field.npos) throw TextError(line, "a quote within an unquoted field");
    return std::string(field);
  }

  std::string ReadQuoted() {
    const std::size_t begin = line;
    std::string field;
    for (++at; at < text.size(); ++at) {
      if (text[at] == '\n') ++line;
      if (text[at] == '"') {
        ++at;
        if (!IsAt('"')) return EndQuoted(std::move(field));
      }
      field += text[at];
    }
    throw TextError(begin, "a quote is not closed");
  }

  std::string EndQuoted(std::string field) {
    while (IsAt(' ') || IsAt('\t')) ++at;
    if (at < text.size() && !IsAt(separator) && !IsAt('\n') && !IsAt('\r')) {
      throw TextError(line, "text behind a quoted field");
    }
    return field;
  }

  std::string_view text;
  char separator;
  std::size_t at = 0;
  std::size_t line = 1;
};

}  // namespace

std::vector<TCsvRow> ParseCsv(std::string_view text) {
  if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  return TCsvReader(text).Read();
}

}  // namespace svc::catalogue
