#include "svcheck/fleet/inputs.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string_view>
#include <utility>

#include "svcheck/paths.h"

namespace fs = std::filesystem;

namespace svc::fleet {

namespace {

std::string_view WithoutCompression(std::string_view name) {
  for (const std::string_view ending : {".gz", ".zst"}) {
    if (name.ends_with(ending)) return name.substr(0, name.size() - ending.size());
  }
  return name;
}

bool HoldsLines(std::string_view name) {
  const std::string_view plain = WithoutCompression(name);
  return name == "-" || plain.ends_with(".ndjson") || plain.ends_with(".jsonl");
}

bool HoldsOneMachine(std::string_view name) { return WithoutCompression(name).ends_with(".xml"); }

std::string MachineOfFile(std::string_view name) {
  std::string_view plain = WithoutCompression(name);
  if (plain.ends_with(".xml")) plain.remove_suffix(4);
  return std::string(plain);
}

TTask WithoutInventory(std::string machine, std::string cause) {
  return {std::move(machine), TTask::EInventory::kNone, std::move(cause)};
}

bool IsBlank(std::string_view line) {
  return line.find_first_not_of(" \t\r") == std::string_view::npos;
}

}  // namespace

TInputs::TInputs(std::vector<std::string> paths) : paths(std::move(paths)) {}

std::optional<TTask> TInputs::Next() {
  for (;;) {
    if (lines) {
      try {
        while (auto line = lines->Next()) {
          ++lineNumber;
          if (!IsBlank(*line)) return NextOfLines(std::move(*line));
        }
      } catch (const std::runtime_error& error) {
        lines.reset();
        return WithoutInventory(linesPath, error.what());
      }
      lines.reset();
    } else if (nextFile < files.size()) {
      const TPlace& place = files[nextFile++];
      if (!HoldsLines(place.path)) {
        return TTask{place.machine, TTask::EInventory::kFile, place.path};
      }
      linesPath = place.path;
      lineNumber = 0;
      try {
        lines = std::make_unique<TLineReader>(OpenBytes(place.path));
      } catch (const std::runtime_error& error) {
        return WithoutInventory(linesPath, error.what());
      }
    } else if (next < paths.size()) {
      OpenNextPath();
    } else {
      return {};
    }
  }
}

void TInputs::OpenNextPath() {
  const std::string& path = paths[next++];
  files.clear();
  nextFile = 0;
  std::error_code ignored;
  if (path != "-" && fs::is_directory(path, ignored)) {
    ListFolder(path);
  } else {
    files.push_back({path == "-" ? path : Absolute(path).string(),
                     MachineOfFile(fs::path(path).filename().string())});
  }
}

// Machines below a folder are named by their way from it.
void TInputs::ListFolder(const std::string& folder) {
  const fs::path root = Absolute(folder);
  std::error_code error;
  for (fs::recursive_directory_iterator entry(root, error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    if (!HoldsOneMachine(name) && !HoldsLines(name)) continue;
    std::error_code unreadable;
    if (entry->is_directory(unreadable)) continue;
    files.push_back({entry->path().string(),
                     MachineOfFile(entry->path().lexically_relative(root).generic_string())});
  }
  if (error) {
    throw std::runtime_error("cannot list the inventories below " + root.string() + ": " +
                             error.message());
  }
  std::sort(files.begin(), files.end(),
            [](const TPlace& a, const TPlace& b) { return a.path < b.path; });
}

TTask TInputs::NextOfLines(std::string line) {
  const std::string place = linesPath + ":" + std::to_string(lineNumber);
  const auto parsed = nlohmann::json::parse(line, nullptr, false);
  if (!parsed.is_object()) return WithoutInventory(place, place + ": the line is no JSON object");
  const auto machine = parsed.find("machine");
  const auto inventory = parsed.find("inventory");
  if (machine == parsed.end() || !machine->is_string()) {
    return WithoutInventory(place, place + ": the line has no text \"machine\"");
  }
  const auto& name = machine->get_ref<const std::string&>();
  if (inventory == parsed.end() || !inventory->is_string()) {
    return WithoutInventory(name, place + ": the line has no text \"inventory\"");
  }
  return {name, TTask::EInventory::kDocument, inventory->get<std::string>()};
}

}  // namespace svc::fleet
