#include "svcheck/fleet/results.h"

#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "runtime/hskcore/path_of.h"
#include "svcheck/fleet/result_lines.h"
#include "svcheck/system/failure.h"

namespace fs = std::filesystem;

namespace svc::fleet {

namespace {

std::unique_ptr<IByteSource> Open(const std::string& path) {
  try {
    return OpenBytes(path);
  } catch (const std::runtime_error& error) {
    throw TFailure(std::string("cannot read results: ") + error.what());
  }
}

}  // namespace

TResultReader::TResultReader(const std::string& path) : path(path), lines(Open(path)) {}

std::optional<TResultReader::TMachine> TResultReader::Next() {
  TMachine machine;
  try {
    while (auto line = lines.Next()) {
      torn = true;
      machine.lines += *line;
      machine.lines += '\n';
      // A last line without its end may be a part of one.
      if (!IsLast(*line) || !line->ends_with('}') || !lines.LastHadEnd()) continue;
      machine.name = MachineOf(*line);
      position += machine.lines.size();
      torn = false;
      return machine;
    }
  } catch (const std::runtime_error& error) {
    throw TFailure(path + ": " + error.what() + "; give a file that `svcheck fleet` wrote");
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
    throw TFailure("cannot go on with " + path + ": " + std::generic_category().message(error));
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
  } catch (const files::TFileError& error) {
    Fail(error.what());
  }
}

void TResultFile::Fail(const std::string& reason) const {
  throw TFailure("cannot write " + (path == "-" ? "standard output" : path) + ": " + reason +
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
      throw TFailure("the results " + torn +
                     " are not whole; run that shard again with --resume, then merge");
    }
    if (machine) {
      take(*machine);
    } else if (!ended) {
      ended = at;
    }
  }
}

}  // namespace svc::fleet
