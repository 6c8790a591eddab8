// The module that does the work of `svcheck catalogue import`: metadata of public firmware services
// becomes the file of a catalogue that the second plug-in reads.
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <filesystem>
#include <memory>
#include <system_error>
#include <utility>
#include <vector>

#include "base/error.h"
#include "base/files.h"
#include "base/shown_text.h"
#include "host/hskcore/exception.h"
#include "host/hskcore/export.h"
#include "runtime/acquire/crypto.h"
#include "runtime/hskcore/host_setup.h"
#include "runtime/xmlparser/document_window.h"
#include "svcheck/author/command.h"
#include "svcheck/importer/appstream.h"
#include "svcheck/system/failure.h"

namespace fs = std::filesystem;

namespace svc::offers {

namespace {

using catalogue::IProgram;
using catalogue::TCommand;

// The largest catalogue that can be read back.
constexpr std::size_t kMostWritten = 500'000'000;

// Writes offers as they are found, and counts them.
class TWriter {
 public:
  explicit TWriter(TOutput& output) : output(output) { Write(FileBegin()); }

  void Add(const TComponent& component) {
    DemandRoom(component);
    ++components;
    for (const TRelease& release : component.releases) Write(InstanceText(component, release));
    releases += component.releases.size();
  }
  void End() {
    if (releases == 0) {
      throw TError("no firmware with identifiers and releases was found, and nothing is written",
                   EErrorKind::kCatalogue);
    }
    Write(FileEnd());
  }
  std::string Summary() const {
    return fmt::format("{} releases of {} components", releases, components);
  }

 private:
  // Each release repeats the lists of its component: a short file can ask for very much, and is
  // told so before the first of it is written.
  void DemandRoom(const TComponent& component) const {
    std::size_t repeated = 0;
    for (const auto* list : {&component.identifiers, &component.requirements}) {
      for (const std::string& text : *list) repeated += text.size();
    }
    DemandRoom(repeated * component.releases.size());
  }
  void DemandRoom(std::size_t size) const {
    if (size <= kMostWritten - written) return;
    throw TError("the catalogue would be larger than can be read", EErrorKind::kCatalogue);
  }
  void Write(std::string_view text) {
    DemandRoom(text.size());
    written += text.size();
    output.Write(text);
  }

  TOutput& output;
  std::size_t written = 0;
  std::size_t components = 0;
  std::size_t releases = 0;
};

void CheckCommand(const TCommand& command) {
  if (!command.signature.empty() && command.allowUnsigned) {
    throw TError("--jcat and --allow-unsigned exclude each other", EErrorKind::kUsage);
  }
  if (command.signature.empty() && !command.allowUnsigned) {
    throw TError(
        "nobody says whom the metadata comes from: give its signature with --jcat FILE, or "
        "--allow-unsigned",
        EErrorKind::kUsage);
  }
}

// The compressed bytes are let go before the unpacked ones are read.
std::string ReadMetadata(const TCommand& command) {
  const xml::TFileBytes file = xml::ReadWholeFile(command.metadata);
  const std::string_view bytes(file.bytes.get(), file.size);
  if (!command.signature.empty()) {
    DemandSignature(bytes, PathOf(command.metadata).filename().string(), command.signature,
                    command.keys);
  }
  return Unpacked(bytes, kMostUnpacked);
}

void AddFile(const TCommand& command, TWriter& writer) {
  try {
    std::string metadata = ReadMetadata(command);
    ReadAppStream(metadata.data(), metadata.size(),
                  [&](const TComponent& component) { writer.Add(component); });
  } catch (const NQRXHSK20::THSKException& error) {
    throw TError("the metadata cannot be read: " + error.GetMessageText(), EErrorKind::kCatalogue);
  } catch (const TError& error) {
    if (error.Kind() == EErrorKind::kCatalogue) throw;
    const std::string line =
        error.Kind() == EErrorKind::kText ? ':' + std::to_string(error.Number()) : std::string();
    throw TError(fmt::format("{}{}: {}", command.metadata, line, error.what()),
                 EErrorKind::kCatalogue);
  }
}

std::vector<fs::path> CabinetsIn(const fs::path& folder) {
  std::vector<fs::path> found;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    std::error_code unknown;  // A link that leads to itself is no file either.
    if (entry->path().extension() == ".cab" && entry->is_regular_file(unknown))
      found.push_back(entry->path());
  }
  if (error) {
    throw TError("the folder " + folder.string() + " cannot be read: " + error.message() +
                     "; give one of archives",
                 EErrorKind::kCatalogue);
  }
  std::sort(found.begin(), found.end());
  return found;
}

// Keeps the releases whose content, as far as the metadata tells of it, is in the archive; older
// ones that it tells of as well are in others. Empty, or why none is.
std::string KeepWhatIsThere(const std::set<TContentHash>& there, TComponent& component) {
  std::string why;
  const auto isMissing = [&](const TContentHash& told) {
    constexpr std::array<std::string_view, 3> kKnown = {"sha1", "sha256", "sha512"};
    return std::ranges::find(kKnown, told.kind) != kKnown.end() && !there.contains(told);
  };
  std::erase_if(component.releases, [&](const TRelease& release) {
    const auto missing = std::ranges::find_if(release.contents, isMissing);
    if (missing == release.contents.end()) return false;
    if (why.empty()) {
      why = fmt::format(
          "{} of {} {} is not what its metadata says: its {} is another, or it is not there once",
          missing->file, component.name, release.version, missing->kind);
    }
    return true;
  });
  const bool isAny = std::ranges::any_of(
      component.releases, [](const TRelease& release) { return !release.contents.empty(); });
  return isAny ? std::string() : why;
}

std::pair<std::uint64_t, std::string> SizeAndHash(const fs::path& path) {
  constexpr std::size_t kBlock = 1U << 16U;
  const std::unique_ptr<std::FILE, decltype(&std::fclose)> file(
      files::OpenToRead(path.string(), files::EPipes::kNone), &std::fclose);
  acquire::THasher hasher(acquire::EHash::kSha256);
  std::uint64_t size = 0;
  std::string block(kBlock, '\0');
  while (const std::size_t count = std::fread(block.data(), 1, block.size(), file.get())) {
    hasher.Update(std::string_view(block).substr(0, count));
    size += count;
  }
  if (std::ferror(file.get()) != 0) throw TError("it cannot be read to its end");
  return {size, acquire::ToHex(hasher.Digest())};
}

// What the metadata in an archive cannot say of it itself.
struct TAboutArchive {
  std::string name;
  std::string size;
  std::string hash;
};

TAboutArchive AboutArchive(const fs::path& path) {
  const auto [size, hash] = SizeAndHash(path);
  return {path.filename().string(), std::to_string(size), "sha256:" + hash};
}

void Tell(const TAboutArchive& archive, TComponent& component) {
  for (TRelease& release : component.releases) {
    release.location = archive.name;
    release.size = archive.size;
    std::erase_if(release.hashes,
                  [](const std::string& text) { return text.starts_with("sha256:"); });
    release.hashes.push_back(archive.hash);
  }
}

std::size_t RoomOf(const std::vector<std::string>& texts) {
  std::size_t room = texts.size() * sizeof(std::string);
  for (const std::string& text : texts) room += text.size();
  return room;
}

// A checksum is kept as it is told, as it is asked for and as it is found.
std::size_t RoomOf(const std::vector<TContentHash>& contents) {
  std::size_t room = contents.size() * sizeof(TContentHash);
  for (const auto& [kind, value, file] : contents) room += kind.size() + value.size() + file.size();
  constexpr std::size_t kTimes = 3;
  return kTimes * room;
}

// About what a component takes in memory.
std::size_t RoomOf(const TComponent& component) {
  std::size_t room =
      sizeof(component) + RoomOf(component.identifiers) + RoomOf(component.requirements);
  for (const TRelease& release : component.releases) {
    room += sizeof(release) + release.description.size() + RoomOf(release.hashes) +
            RoomOf(release.issues) + RoomOf(release.contents);
  }
  return room;
}

// The components of an archive, which are kept until its content was looked at: short ones take
// many times their text.
std::deque<TComponent> ComponentsIn(const fs::path& path) {
  constexpr std::size_t kMostKept = 16U << 20U;
  std::deque<TComponent> components;
  std::size_t left = kMostKept;
  const auto keep = [&](const TComponent& component) {
    const std::size_t room = RoomOf(component);
    if (room > left) throw TError("its metadata tells of more than any that is published");
    left -= room;
    components.push_back(component);
  };
  ReadCabinet(path,
              [&](std::string metadata) { ReadAppStream(metadata.data(), metadata.size(), keep); });
  return components;
}

// The components of an archive, as they are written.
std::deque<TComponent> ReadArchive(const fs::path& path) {
  std::deque<TComponent> components = ComponentsIn(path);
  std::vector<TContentHash> asked;
  for (const TComponent& component : components) {
    for (const TRelease& release : component.releases) {
      asked.insert(asked.end(), release.contents.begin(), release.contents.end());
    }
  }
  std::set<TContentHash> there;
  if (!asked.empty()) there = HashesIn(path, asked);
  for (TComponent& component : components) {
    const std::string why = KeepWhatIsThere(there, component);
    if (!why.empty()) throw TError(why);
  }
  const TAboutArchive archive = AboutArchive(path);
  for (TComponent& component : components) Tell(archive, component);
  return components;
}

// An archive is taken whole, or refused with a line that says why, and the rest goes on.
void AddArchive(const fs::path& path, const IProgram& program, TWriter& writer) {
  std::deque<TComponent> components;
  try {
    components = ReadArchive(path);
  } catch (const TError& error) {
    const std::string line = error.Kind() == EErrorKind::kText
                                 ? fmt::format("line {} of its metadata: ", error.Number())
                                 : std::string();
    program.Report(fmt::format("{} is refused: {}{}", path.string(), line, error.what()));
  }
  for (; !components.empty(); components.pop_front()) writer.Add(components.front());
}

void AddFolder(const TCommand& command, const IProgram& program, TWriter& writer) {
  if (!command.signature.empty()) {
    throw TError("a folder of archives has no signature; say --allow-unsigned", EErrorKind::kUsage);
  }
  for (const fs::path& path : CabinetsIn(PathOf(command.metadata)))
    AddArchive(path, program, writer);
}

void Import(const TCommand& command, const IProgram& program) {
  CheckCommand(command);
  std::error_code error;
  fs::create_directories(PathOf(command.folder), error);
  if (error) {
    throw TError("cannot make the folder " + command.folder + ": " + error.message() +
                 "; name one that can be written");
  }
  const std::string path = (PathOf(command.folder) / kOfferFile).string();
  const auto file = program.Open(path);
  TWriter writer(*file);
  const bool isFolder = fs::is_directory(PathOf(command.metadata));
  isFolder ? AddFolder(command, program, writer) : AddFile(command, writer);
  writer.End();
  file->Commit();
  const auto output = program.Open("-");
  output->Write(fmt::format("{}: {}\n", ShownLine(path), writer.Summary()));
  output->Commit();
}

}  // namespace

}  // namespace svc::offers

extern "C" HOST_EXPORT int SvcImportOffers(const svc::catalogue::TCommand& command,
                                           const svc::catalogue::IProgram& program) noexcept {
  const auto take = [&] {
    svc::offers::Import(command, program);
    return svc::kExitDone;
  };
  return svc::StatusOfRun(take, [&](const std::string& reason) { program.Report(reason); });
}
