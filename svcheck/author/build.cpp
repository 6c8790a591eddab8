// `svcheck catalogue build`.
#include <fmt/format.h>

#include <filesystem>
#include <system_error>

#include "base/error.h"
#include "base/shown_text.h"
#include "host/hskcore/exception.h"
#include "report/text.h"
#include "rules/names.h"
#include "runtime/hskcore/host_setup.h"
#include "runtime/xmlparser/document_window.h"
#include "svcheck/author/command.h"
#include "svcheck/author/new_element.h"
#include "svcheck/author/rules.h"
#include "svcheck/author/update.h"
#include "svcheck/system/failure.h"

namespace fs = std::filesystem;

namespace svc::catalogue {

static void CheckCommand(const TCommand& command) {
  if (command.folder.empty()) {
    throw TError("there is nowhere to write to: give --output DIR, or --merge DIR",
                 EErrorKind::kUsage);
  }
  if (command.drivers.empty() && command.firmware.empty()) {
    throw TError("there is nothing to build of: give --drivers PATH or --firmware FILE.csv",
                 EErrorKind::kUsage);
  }
  if (!command.drivers.empty() && command.machineTypes.empty()) {
    throw TError("no machine type: name those that the drivers are for, --machine 4638",
                 EErrorKind::kUsage);
  }
  for (const std::string& type : command.machineTypes) {
    if (IsMachineType(type)) continue;
    throw TError(
        "--machine \"" + type +
            "\" is no machine type; give it alone, as `svcheck collect --show machine-type` "
            "prints it",
        EErrorKind::kUsage);
  }
  for (const std::string& system : command.systems) {
    if (IsSystem(system)) continue;
    throw TError(fmt::format("--os \"{}\" is unknown; there are {}", system, KnownSystems()),
                 EErrorKind::kUsage);
  }
}

static void AddDrivers(const TCommand& command, const IProgram& program,
                       std::vector<TNewElement>& elements) {
  TDriverList list;
  for (const std::string& path : command.drivers) CollectDrivers(PathOf(path), list);
  std::size_t passedOver = 0;
  for (const TDriver& driver : list.drivers) {
    const TFor whom{command.machineTypes, SystemsFor(driver.platform, command.systems)};
    if (whom.systems.empty()) {
      ++passedOver;
    } else {
      elements.push_back(ElementOf(driver, whom));
    }
  }
  for (const std::string& remark : list.remarks) program.Note(remark);
  if (list.unversioned > 0) {
    program.Note(fmt::format("{} of {} {} no version and {} left out: nothing could be compared",
                             list.unversioned, Counted(list.read, "driver"),
                             list.unversioned == 1 ? "states" : "state",
                             list.unversioned == 1 ? "is" : "are"));
  }
  if (passedOver > 0) {
    program.Note(fmt::format("{} {} for none of the operating systems given",
                             Counted(passedOver, "driver"), passedOver == 1 ? "is" : "are"));
  }
}

static void AddFirmware(const TCommand& command, std::vector<TNewElement>& elements) {
  const TFor otherwise{command.machineTypes, command.systems};
  for (const std::string& path : command.firmware) {
    try {
      const xml::TFileBytes file = xml::ReadWholeFile(path);
      for (TNewElement& element : ReadFirmwareList({file.bytes.get(), file.size}, otherwise)) {
        elements.push_back(std::move(element));
      }
    } catch (const TError& error) {
      throw TError(fmt::format("{}:{}: {}", path, error.Number(), error.what()));
    } catch (const NQRXHSK20::THSKException& error) {
      throw TError("the list cannot be read: " + error.GetMessageText());
    }
  }
}

static std::size_t CountErrors(const std::string& text, const TCommand& command) {
  const TCatalogue catalogue = ReadCatalogueText(text, PathOf(command.dataFolder));
  const std::vector<TUpdate> updates = UpdatesOf(catalogue);
  return CountOf(ESeverity::kError, Lint(catalogue, updates));
}

// What was put together is judged as every other catalogue is; the errors that one had before are
// no hindrance to add to it.
static void CheckCatalogue(const std::string& text, std::size_t errorsBefore,
                           const TCommand& command, const IProgram& program) {
  const TCatalogue catalogue = ReadCatalogueText(text, PathOf(command.dataFolder));
  const std::vector<TUpdate> updates = UpdatesOf(catalogue);
  const std::vector<TFinding> findings = Lint(catalogue, updates);
  TellEach(catalogue, updates, findings, [&](const TToldFinding& finding) {
    const bool isError = finding.rule.severity == ESeverity::kError;
    const std::string told =
        fmt::format("{}: {}: {}{}{}", NameOf(finding.rule.severity), finding.element,
                    finding.rule.what, finding.detail.empty() ? "" : ": ", finding.detail);
    isError ? program.Report(told) : program.Note(told);
  });
  if (CountOf(ESeverity::kError, findings) > errorsBefore) {
    throw TError("the catalogue would have errors and is not written; mend what it is made of");
  }
}

static void MakeFolder(const std::string& folder) {
  std::error_code error;
  fs::create_directories(PathOf(folder), error);
  if (error) {
    throw TError("cannot make the folder " + folder + ": " + error.message() +
                 "; name one that can be written");
  }
}

static std::string ReadMerged(const std::string& folder) {
  const std::string path = (PathOf(folder) / rules::kIndexFile).string();
  const auto file = Retold<NQRXHSK20::THSKException>(
      [&path] { return xml::ReadWholeFile(path); },
      [](const NQRXHSK20::THSKException& error) {
        return TError("there is no catalogue to add to: " + error.GetMessageText() +
                          "; make one first, without --merge",
                      EErrorKind::kCatalogue);
      });
  return Utf8Of({file.bytes.get(), file.size});
}

// Returns what was written, for people.
static std::string Merge(const TCommand& command, const std::vector<TNewElement>& elements,
                         const IProgram& program) {
  const std::string older = ReadMerged(command.merged);
  const TMerged merged = MergeInto(older, elements, PathOf(command.dataFolder));
  for (const std::string& remark : merged.remarks) program.Report(remark);
  CheckCatalogue(merged.text, CountErrors(older, command), command, program);
  return fmt::format("{}: {} added, {} replaced, {} as they were\n",
                     ShownLine(WriteIndex(command.folder, merged.text, program)), merged.added,
                     merged.replaced, merged.kept);
}

static std::string Build(const TCommand& command, const std::vector<TNewElement>& elements,
                         const IProgram& program) {
  const std::string text = CatalogueText(elements);
  CheckCatalogue(text, 0, command, program);
  return fmt::format("{}: {}\n", ShownLine(WriteIndex(command.folder, text, program)),
                     Counted(elements.size(), "update element"));
}

std::string WriteIndex(const std::string& folder, const std::string& text,
                       const IProgram& program) {
  MakeFolder(folder);
  const std::string path = (PathOf(folder) / rules::kIndexFile).string();
  const auto file = program.Open(path);
  file->Write(text);
  file->Commit();
  return path;
}

int BuildCatalogue(const TCommand& given, const IProgram& program) {
  TCommand command = given;
  if (command.folder.empty()) command.folder = command.merged;
  CheckCommand(command);
  std::vector<TNewElement> elements;
  AddFirmware(command, elements);
  AddDrivers(command, program, elements);
  if (elements.empty()) {
    throw TError("nothing with a version was found, and no catalogue is written");
  }
  const std::string told = command.merged.empty() ? Build(command, elements, program)
                                                  : Merge(command, elements, program);
  const auto output = program.Open("-");
  output->Write(told);
  output->Commit();
  return kExitDone;
}

}  // namespace svc::catalogue
