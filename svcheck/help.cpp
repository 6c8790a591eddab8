#include "svcheck/help.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <vector>

#include "svcheck/failure.h"
#include "svcheck/output.h"
#include "svcheck/paths.h"
#include "svcheck/query_run.h"

namespace svc {

namespace {

// How many letters must be typed, dropped or exchanged to make one word of the other (Levenshtein).
std::size_t Distance(std::string_view left, std::string_view right) {
  std::vector<std::size_t> row(right.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 0; i < left.size(); ++i) {
    std::size_t diagonal = std::exchange(row[0], i + 1);
    for (std::size_t k = 0; k < right.size(); ++k) {
      const std::size_t replaced = diagonal + (left[i] == right[k] ? 0 : 1);
      diagonal = row[k + 1];
      row[k + 1] = std::min({replaced, row[k] + 1, row[k + 1] + 1});
    }
  }
  return row.back();
}

void Print(std::FILE* file, const std::string& text) {
  std::fwrite(text.data(), 1, text.size(), file);
}

}  // namespace

int PrintProgramHelp(std::FILE* file) {
  std::string text =
      "Which firmware and drivers of this machine does the update catalogue offer?\n\n"
      "Usage: svcheck VERB [OPTIONS]\n\nVerbs:\n";
  for (const TVerb& verb : kVerbs) text += fmt::format("  {:<12} {}\n", verb.name, verb.summary);
  text += "\n`svcheck VERB --help` tells the options of a verb, `svcheck --version` the version.\n";
  Print(file, text);
  if (file == stdout) FlushStandardOutput();
  return kExitDone;
}

int PrintVerbHelp(const TVerb& verb, std::string text) {
  text += "\nExamples:\n";
  std::string_view rest = verb.examples;
  while (!rest.empty()) {
    const std::size_t end = rest.find('\n');
    text += fmt::format("  {}\n", rest.substr(0, end));
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
  }
  Print(stdout, text);
  FlushStandardOutput();
  return kExitDone;
}

int PrintVersion() {
  Print(stdout, "svcheck " SVCHECK_VERSION "\n");
  TQueryRequest request;
  request.plugin = DefaultPlugin();
  const TQueryRun run(std::move(request));
  Print(stdout, fmt::format("{} {}, {}\n", run.PluginName(), run.PluginVersion(),
                            DefaultPlugin().string()));
  FlushStandardOutput();
  return kExitDone;
}

std::string UnknownVerb(std::string_view word) {
  constexpr std::size_t kNear = 3;
  const TVerb* best = nullptr;
  std::size_t bestDistance = kNear;
  for (const TVerb& verb : kVerbs) {
    const std::size_t distance = Distance(word, verb.name);
    if (distance >= bestDistance) continue;
    best = &verb;
    bestDistance = distance;
  }
  std::string text = fmt::format("there is no verb \"{}\"; ", word);
  if (best != nullptr) text += fmt::format("did you mean \"{}\"? ", best->name);
  return text + "`svcheck --help` lists them all";
}

const TVerb* FindVerb(std::string_view name) noexcept {
  const auto found = std::find_if(kVerbs.begin(), kVerbs.end(),
                                  [&](const TVerb& verb) { return verb.name == name; });
  return found == kVerbs.end() ? nullptr : &*found;
}

}  // namespace svc
