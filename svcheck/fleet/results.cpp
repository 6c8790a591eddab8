#include "svcheck/fleet/summary.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "base/shown_text.h"
#include "runtime/hskcore/host_setup.h"
#include "svcheck/system/failure.h"

namespace fs = std::filesystem;
namespace svc::fleet {

// Twice the records that a fleet keeps of a machine: what a small compressed file becomes ends
// here.
constexpr std::size_t kMostOfMachine = 32U << 20U;

// As a fleet writes them: what a terminal obeys is escaped there. The lines go on as they are,
// wherever that may be.
static bool MayAllBeShown(std::string_view lines) {
  const auto isPlain = [](char c) { return (c >= 0x20 && c < 0x7F) || c == '\n'; };
  for (auto at = lines.begin(); (at = std::find_if_not(at, lines.end(), isPlain)) != lines.end();) {
    const TCodePoint character = FirstCodePoint({at, lines.end()});
    if (!character.valid || !MayBeShown(character.value)) return false;
    at += static_cast<std::ptrdiff_t>(character.size);
  }
  return true;
}

static std::unique_ptr<IByteSource> Open(const std::string& path) {
  try {
    return OpenBytes(path);
  } catch (const std::runtime_error& error) {
    throw TError(std::string("cannot read results: ") + error.what());
  }
}

TResultReader::TResultReader(const std::string& path)
    : path(path), lines(Open(path), kMostOfMachine) {}

std::optional<TResultReader::TMachine> TResultReader::Next() {
  TMachine machine;
  try {
    while (auto line = lines.Next()) {
      torn = true;
      if (machine.lines.size() + line->size() >= kMostOfMachine) {
        throw std::runtime_error("a machine has more than a fleet keeps of one");
      }
      machine.lines += *line;
      machine.lines += '\n';
      // A last line without its end may be a part of one.
      if (!IsLast(*line) || !line->ends_with('}') || !lines.LastHadEnd()) continue;
      if (!MayAllBeShown(machine.lines)) {
        throw std::runtime_error("a line holds a character that a fleet does not write as it is");
      }
      machine.name = MachineOf(*line);
      position += machine.lines.size();
      torn = false;
      return machine;
    }
  } catch (const std::runtime_error& error) {
    throw TError(path + ": " + error.what() + "; give a file that `svcheck fleet` wrote");
  }
  return {};
}

TResultFile::TResultFile(std::string path) : path(std::move(path)) { Open(files::EStart::kEmpty); }

TResultFile::TResultFile(std::string given,
                         const std::function<void(const TResultReader::TMachine&)>& seen)
    : path(std::move(given)) {
  std::uint64_t whole = 0;
  std::error_code ignored;
  if (fs::exists(PathOf(path), ignored)) {
    TResultReader reader(path);
    while (const auto machine = reader.Next()) seen(*machine);
    whole = reader.Position();
  }
  Open(files::EStart::kBehind);
  if (const int error = files::Truncate(file, whole); error != 0) {
    throw TError("cannot go on with " + path + ": " + std::generic_category().message(error));
  }
}

TResultFile::~TResultFile() {
  if (file != nullptr && file != stdout) std::fclose(file);
}

void TResultFile::Open(files::EStart start) {
  if (path == "-") {
    file = stdout;
    return;
  }
  try {
    file = files::OpenInPlace(path, start);
  } catch (const TError& error) {
    Fail(error.what());
  }
}

void TResultFile::Fail(const std::string& reason) const {
  throw TError("cannot write " + (path == "-" ? "standard output" : path) + ": " + reason +
               "; check that there is space and that you may write there");
}

void TResultFile::Write(std::string_view lines) {
  if (std::fwrite(lines.data(), 1, lines.size(), file) != lines.size() || std::fflush(file) != 0)
    Fail(std::generic_category().message(errno));
}

void TResultFile::Close() {
  if (file == stdout) return;
  int error = files::Sync(file);
  if (std::fclose(std::exchange(file, nullptr)) != 0 && error == 0) error = errno;
  if (error != 0) Fail(std::generic_category().message(error));
}

// Shard I of N has the machines I, N + I, 2 N + I and so on: none of them may end before the
// others have had their last.
void MergeResults(const std::vector<std::string>& shards,
                  const std::function<void(const TResultReader::TMachine&)>& take) {
  std::vector<std::unique_ptr<TResultReader>> readers;
  for (const std::string& path : shards) readers.push_back(std::make_unique<TResultReader>(path));
  std::optional<std::size_t> ended;
  for (std::size_t at = 0; at != ended; at = (at + 1) % readers.size()) {
    const auto machine = readers[at]->Next();
    if (readers[at]->IsTorn() || (machine && ended)) {
      const std::string& torn = shards[readers[at]->IsTorn() ? at : *ended];
      throw TError("the results " + torn +
                   " are not whole; run that shard again with --resume, then merge");
    }
    if (machine) {
      take(*machine);
    } else if (!ended) {
      ended = at;
    }
  }
}

[[noreturn]] static void RefuseLine(std::string_view line) {
  throw std::runtime_error("\"" + std::string(line.substr(0, 60)) +
                           "\" is no line of a fleet's results");
}

// Up to the quote that ends a JSON string, from behind the one that begins it.
static std::string_view UpToQuote(std::string_view text) {
  std::size_t end = text.find('"');
  while (end != std::string_view::npos) {
    std::size_t escapes = 0;
    while (escapes < end && text[end - escapes - 1] == '\\') ++escapes;
    if (escapes % 2 == 0) break;
    end = text.find('"', end + 1);
  }
  return text.substr(0, end);
}

// Inside a text every quote has a backslash before it, so that a name with both its quotes is a
// member's. Its colon follows at once.
static std::size_t FindMember(std::string_view line, std::string_view name) {
  std::string key;
  key.reserve(name.size() + 3);
  key += '"';
  key += name;
  key += "\":";
  const std::size_t found = line.find(key);
  return found == std::string_view::npos ? found : found + key.size();
}

static void AppendCharacter(std::string& text, unsigned code) {
  if (code < 0x80) {
    text += static_cast<char>(code);
  } else if (code < 0x800) {
    text += static_cast<char>(0xC0 | (code >> 6));
    text += static_cast<char>(0x80 | (code & 0x3F));
  } else {
    text += static_cast<char>(0xE0 | (code >> 12));
    text += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
    text += static_cast<char>(0x80 | (code & 0x3F));
  }
}

// Of the four digits behind "\\u".
static unsigned CodeOf(std::string_view digits) {
  unsigned code = 0;
  const char* const end = digits.data() + digits.size();
  const auto read = std::from_chars(digits.data(), end, code, 16);
  if (digits.size() != 4 || read.ec != std::errc() || read.ptr != end) {
    throw std::runtime_error("a line has an escape that is none");
  }
  return code;
}

static char Escaped(char letter) {
  switch (letter) {
    case 'n':
      return '\n';
    case 't':
      return '\t';
    case 'r':
      return '\r';
    case 'b':
      return '\b';
    case 'f':
      return '\f';
    default:
      return letter;
  }
}

static std::string NeededText(std::string_view line, std::string_view name) {
  const auto written = MemberOf(line, name);
  if (!written) RefuseLine(line);
  return Unescaped(*written);
}

static std::string TextIfAny(std::string_view line, std::string_view name) {
  const auto written = MemberOf(line, name);
  return written ? Unescaped(*written) : std::string();
}

static std::optional<report::TAcceptance> AcceptanceOf(std::string_view line,
                                                       std::string_view name) {
  const std::size_t at = FindMember(line, name);
  if (at == std::string_view::npos || at >= line.size() || line[at] != '{') return {};
  report::TAcceptance acceptance;
  TTextMembers members(line.substr(at));
  while (const auto member = members.Next()) {
    if (member->name == "reason") acceptance.reason = Unescaped(member->written);
    if (member->name == "expires") acceptance.expires = Unescaped(member->written);
  }
  return acceptance;
}

static report::TRecord RecordOf(std::string_view line) {
  report::TRecord record;
  record.type = NeededText(line, "Type");
  record.name = NeededText(line, "Name");
  record.installed = NeededText(line, "InstalledVersion");
  record.offered = NeededText(line, "SVVersion");
  const auto verdict = report::VerdictOfName(NeededText(line, "verdict"));
  if (!verdict) RefuseLine(line);
  record.verdict = *verdict;
  const auto ifAny = [&](std::string_view name) {
    const auto written = MemberOf(line, name);
    return written ? Unescaped(*written) : std::string();
  };
  report::TRelease release = {ifAny("urgency"), ifAny("releaseDate"), ifAny("releaseNotes")};
  if (!release.urgency.empty() || !release.date.empty() || !release.notes.empty()) {
    record.release = std::move(release);
  }
  record.waived = AcceptanceOf(line, "waived");
  record.expiredWaiver = AcceptanceOf(line, "expiredWaiver");
  return record;
}

std::optional<std::string_view> TakeLine(std::string_view& text) {
  const std::size_t end = text.find('\n');
  if (end == std::string_view::npos) return {};
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(end + 1);
  return line;
}

std::optional<std::string_view> MemberOf(std::string_view line, std::string_view name) {
  const std::size_t at = FindMember(line, name);
  if (at == std::string_view::npos || at >= line.size() || line[at] != '"') return {};
  return UpToQuote(line.substr(at + 1));
}

std::optional<TTextMembers::TMember> TTextMembers::Next() {
  constexpr std::string_view kBetween = "\":\"";
  if (rest.size() < 2 || rest[1] != '"') return {};
  TMember member{UpToQuote(rest.substr(2)), {}};
  rest.remove_prefix(2 + member.name.size());
  if (!rest.starts_with(kBetween)) return {};
  member.written = UpToQuote(rest.substr(kBetween.size()));
  rest.remove_prefix(std::min(kBetween.size() + member.written.size() + 1, rest.size()));
  return member;
}

bool IsLast(std::string_view line) { return line.find(",\"outcome\":\"") != line.npos; }

std::string Unescaped(std::string_view written) {
  std::string text;
  for (std::size_t i = 0; i < written.size(); ++i) {
    if (written[i] != '\\' || i + 1 == written.size()) {
      text += written[i];
    } else if (written[++i] == 'u') {
      AppendCharacter(text, CodeOf(written.substr(i + 1, 4)));
      i += 4;
    } else {
      text += Escaped(written[i]);
    }
  }
  return text;
}

std::vector<std::string_view> ErrorsOf(std::string_view line) {
  std::vector<std::string_view> errors;
  std::size_t at = FindMember(line, "errors");
  while (at != std::string_view::npos && at + 1 < line.size() && line[at + 1] == '"') {
    errors.push_back(UpToQuote(line.substr(at + 2)));
    at += errors.back().size() + 3;  // At the comma behind it.
  }
  return errors;
}

report::TReport ReportOf(std::string_view lines) {
  report::TReport report;
  while (const auto line = TakeLine(lines)) {
    if (!IsLast(*line)) {
      report.records.push_back(RecordOf(*line));
      report.hasWaivers = report.hasWaivers || report.records.back().waived.has_value();
      continue;
    }
    const auto outcome = report::OutcomeOfName(NeededText(*line, "outcome"));
    if (!outcome) RefuseLine(*line);
    report.outcome = *outcome;
    report.machine = {NeededText(*line, "machineType"), TextIfAny(*line, "manufacturer"),
                      TextIfAny(*line, "model"), TextIfAny(*line, "serialNumber")};
    report.system = {TextIfAny(*line, "caption"), TextIfAny(*line, "version"),
                     TextIfAny(*line, "platform")};
    // Earlier versions wrote none.
    if (const auto reason = MemberOf(*line, "stateReason"); reason && WasCompared(*outcome)) {
      report.nothingComparedBecause = Unescaped(*reason);
    }
    for (const std::string_view error : ErrorsOf(*line)) report.errors.push_back(Unescaped(error));
  }
  return report;
}

// Nearly no record has an object in it.
bool IsWaived(std::string_view record) {
  if (record.find('{', 1) == record.npos) return false;
  const std::size_t at = FindMember(record, "waived");
  return at < record.size() && record[at] == '{';
}

std::string MachineOf(std::string_view line) {
  const auto machine = MemberOf(line, "machine");
  if (!machine) RefuseLine(line);
  return Unescaped(*machine);
}

}  // namespace svc::fleet
