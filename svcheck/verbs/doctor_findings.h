// What `svcheck doctor` looked at, and what it found. Each function looks at one thing, changes
// nothing that lasts, and throws nothing but std::bad_alloc.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "svcheck/session/request.h"

namespace svc {

enum class EFinding {
  kGood,
  kUnset,    // Nothing was named to look at.
  kWarning,  // Something is left out, or may become a problem.
  kProblem,  // A check cannot work so.
};

struct TFinding {
  std::string subject;
  EFinding kind = EFinding::kGood;
  std::string text;    // What was found, and where.
  std::string advice;  // What to do; empty when all is well.
};

TFinding ExamineSettings();
TFinding ExaminePlugin(const std::filesystem::path& plugin);
TFinding ExamineDataFolder(const std::filesystem::path& folder);
TFinding ExamineCatalogue(const std::string& catalogue, const std::filesystem::path& dataFolder);
// Fetches the repository's manifest, and takes it as a check would.
TFinding ExamineRepository(const TQueryOptions& options);
TFinding ExamineStateFolder();

// This machine's sources of an inventory, each with what it gives.
std::vector<TFinding> ExamineSources();
// What they give together: whether the machine is known, and what its inventory lacks.
std::vector<TFinding> ExamineInventory();

// What a check with the catalogue comes to: whether catalogues know the system, and whether
// anything can be compared.
std::vector<TFinding> ExamineComparison(const TQueryOptions& options, const std::string& catalogue);

}  // namespace svc
