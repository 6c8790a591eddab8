#include "base/json_writer.h"

#include <charconv>

#include "base/json_text.h"

namespace svc {

void TJsonWriter::BeginItem() {
  TLevel& level = levels[depth - 1];
  text += level.hasItems ? level.layout->next : level.layout->first;
  level.hasItems = true;
}

void TJsonWriter::BeginValue() {
  if (!isNamed && depth > 0) BeginItem();
  isNamed = false;
}

void TJsonWriter::AppendText(std::string_view value) {
  const std::size_t start = text.size();
  text.resize(start + value.size() * kLongestJsonByte + 2);
  char* at = text.data() + start;
  *at++ = '"';
  at = WriteJsonText(at, value);
  *at++ = '"';
  text.resize(static_cast<std::size_t>(at - text.data()));
}

TJsonWriter& TJsonWriter::Name(std::string_view name) {
  BeginItem();
  text.append(1, '"').append(name).append(1, '"').append(levels[depth - 1].layout->colon);
  isNamed = true;
  return *this;
}

TJsonWriter& TJsonWriter::AnyName(std::string_view name) {
  BeginItem();
  AppendText(name);
  text += levels[depth - 1].layout->colon;
  isNamed = true;
  return *this;
}

TJsonWriter& TJsonWriter::Open(char begin, char end, const TJsonLayout& layout) {
  BeginValue();
  text += begin;
  levels.at(depth++) = {&layout, end, false};
  return *this;
}

TJsonWriter& TJsonWriter::End() {
  const TLevel& level = levels.at(--depth);
  text += level.hasItems ? level.layout->last : level.layout->none;
  text += level.end;
  return *this;
}

TJsonWriter& TJsonWriter::Text(std::string_view value) {
  BeginValue();
  AppendText(value);
  return *this;
}

TJsonWriter& TJsonWriter::Number(std::uint64_t value) {
  constexpr std::size_t kMostDigits = 20;
  std::array<char, kMostDigits> digits;
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
  return Written({digits.data(), end});
}

TJsonWriter& TJsonWriter::Written(std::string_view json) {
  BeginValue();
  text += json;
  return *this;
}

TJsonWriter& TJsonWriter::Texts(std::string_view name, const std::vector<std::string>& values,
                                const TJsonLayout& layout) {
  List(name, layout);
  for (const std::string& value : values) Text(value);
  return End();
}

}  // namespace svc
