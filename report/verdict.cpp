#include "report/version.h"

#include <algorithm>
#include <array>
#include <functional>
#include <memory>
#include <new>

#include "report/text.h"

namespace svc::report {

namespace {

// A text that names a version, a build, or both. An absent one is empty.
struct TParts {
  std::string_view version;
  std::string_view build;
};

bool SaysNothing(std::string_view text) noexcept {
  return All<[](char c) { return !IsAlphanumeric(c); }>(text);
}

TParts OnePart(std::string_view text) noexcept {
  return IsBuildId(text) ? TParts{{}, text} : TParts{text, {}};
}

// "1.00 (YUOO99A) "
std::optional<TParts> SplitParentheses(std::string_view text) noexcept {
  text = Trim(text);
  if (!text.ends_with(')')) return {};
  const std::size_t open = text.rfind('(');
  if (open == std::string_view::npos) return {};
  return TParts{Trim(text.substr(0, open)), Trim(text.substr(open + 1, text.size() - open - 2))};
}

// "YUOO99A-1.10", the contents of a pair of marks.
TParts SplitAtDash(std::string_view text) noexcept {
  const std::size_t dash = text.find('-');
  if (dash == std::string_view::npos || !IsBuildId(text.substr(0, dash))) return OnePart(text);
  return TParts{Trim(text.substr(dash + 1)), text.substr(0, dash)};
}

// "-[YUOO99A-1.10]-" or "1.10-[YUOO99A]-"; other texts are one part.
TParts SplitMarks(std::string_view text) noexcept {
  text = Trim(text);
  const std::size_t open = text.find("-[");
  const std::size_t close = open == std::string_view::npos ? open : text.find("]-", open + 2);
  if (close == std::string_view::npos) return OnePart(text);
  TParts parts = SplitAtDash(Trim(text.substr(open + 2, close - open - 2)));
  if (parts.version.empty()) parts.version = Trim(text.substr(0, open));
  return parts;
}

struct TPair {
  std::string_view first;
  std::string_view second;
};

// "YUOO99A - 1.10"
std::optional<TPair> SplitSpacedDash(std::string_view text) noexcept {
  const std::size_t dash = text.find(" - ");
  if (dash == std::string_view::npos) return {};
  return TPair{Trim(text.substr(0, dash)), Trim(text.substr(dash + 3))};
}

TParts InstalledParts(std::string_view text) noexcept {
  const auto pair = SplitSpacedDash(text);
  return pair ? TParts{pair->second, pair->first} : SplitMarks(text);
}

// On the offered side "A - B" is a version and a build, the reverse of the installed side; unless a
// build id stands first and no other behind it.
TParts OfferedParts(std::string_view text) noexcept {
  const auto pair = SplitSpacedDash(text);
  if (!pair) return SplitMarks(text);
  if (IsBuildId(pair->first) && !IsBuildId(pair->second)) return {pair->second, pair->first};
  return {pair->first, pair->second};
}

TJudgement JudgementOf(TVersionOrder order) noexcept {
  if (!order) return {EVerdict::kUnknown, order.Why()};
  if (*order == 0) return {EVerdict::kCurrent, {}};
  return {*order < 0 ? EVerdict::kOutdated : EVerdict::kNewer, {}};
}

TJudgement Unknown(EUnordered why) noexcept { return {EVerdict::kUnknown, why}; }

// Why nothing can be compared where one side is silent.
std::optional<EUnordered> Silence(std::string_view installed, std::string_view offered) noexcept {
  if (SaysNothing(installed)) return EUnordered::kNothingInstalled;
  if (SaysNothing(offered)) return EUnordered::kNothingOffered;
  return {};
}

// Compares the versions, or the builds, of both sides; nothing where one side has none.
std::optional<TJudgement> JudgePart(std::string_view installed, std::string_view offered) noexcept {
  if (Silence(installed, offered)) return {};
  return JudgementOf(CompareVersions(installed, offered));
}

// The version decides; the build does where the versions are equal or have no order. Where the two
// contradict each other nothing is known.
TJudgement Combine(const TJudgement& version, const TJudgement& build) noexcept {
  using enum EVerdict;
  if (version.verdict == kCurrent || version.verdict == kUnknown) return build;
  const bool contradiction =
      build.verdict != version.verdict && build.verdict != kUnknown && build.verdict != kCurrent;
  return contradiction ? Unknown(EUnordered::kContradiction) : version;
}

TJudgement JudgeParts(const TParts& installed, const TParts& offered) noexcept {
  const auto version = JudgePart(installed.version, offered.version);
  const auto build = JudgePart(installed.build, offered.build);
  if (version && build) return Combine(*version, *build);
  // A build on one side, a version on the other.
  return version ? *version : build.value_or(Unknown(EUnordered::kForms));
}

// The version in front may be the installed one on both sides: alone it says nothing.
TJudgement JudgeParenthesized(const TParts& installed, const TParts& offered) noexcept {
  if (Silence(installed.build, offered.build)) return Unknown(EUnordered::kNoBuild);
  return JudgeParts(installed, offered);
}

}  // namespace

std::optional<EVerdict> VerdictOfName(std::string_view name) noexcept {
  const auto found = std::find_if(kVerdicts.begin(), kVerdicts.end(),
                                  [&](EVerdict verdict) { return NameOf(verdict) == name; });
  if (found == kVerdicts.end()) return {};
  return *found;
}

namespace {

TJudgement JudgeAnew(std::string_view installed, std::string_view offered) noexcept {
  if (const auto silence = Silence(installed, offered)) return Unknown(*silence);
  const auto installedPair = SplitParentheses(installed);
  const auto offeredPair = SplitParentheses(offered);
  if (installedPair && offeredPair) return JudgeParenthesized(*installedPair, *offeredPair);
  if (Trim(installed) == Trim(offered)) return {EVerdict::kCurrent, {}};
  return JudgeParts(InstalledParts(installed), OfferedParts(offered));
}

// Judgements of short texts, as most are: the machines of a fleet have the same drivers, and are
// offered the same. Each pair has a set of places, one of which is taken anew for each that is not
// known there. Used by one thread.
class TKnownJudgements {
 public:
  TJudgement Of(std::string_view installed, std::string_view offered) noexcept {
    if (installed.size() > kLongest || offered.size() > kLongest) {
      return JudgeAnew(installed, offered);
    }
    const std::hash<std::string_view> hash;
    const std::size_t both = hash(installed) * 3 ^ hash(offered);
    TSet& set = sets[both % sets.size()];
    for (const TKnown& known : set) {
      if (known.Is(installed, offered)) return known.judgement;
    }
    TKnown& known = set[turn++ % set.size()];
    known.judgement = JudgeAnew(installed, offered);
    known.installed.Set(installed);
    known.offered.Set(offered);
    known.isUsed = true;
    return known.judgement;
  }

 private:
  static constexpr std::size_t kLongest = 31;
  struct TShortText {
    std::array<char, kLongest> bytes;
    unsigned char size;
    std::string_view View() const noexcept { return {bytes.data(), size}; }
    void Set(std::string_view text) noexcept {
      text.copy(bytes.data(), text.size());
      size = static_cast<unsigned char>(text.size());
    }
  };
  struct TKnown {
    TShortText installed;
    TShortText offered;
    TJudgement judgement;
    bool isUsed = false;
    bool Is(std::string_view theInstalled, std::string_view theOffered) const noexcept {
      return isUsed && offered.View() == theOffered && installed.View() == theInstalled;
    }
  };
  using TSet = std::array<TKnown, 4>;

  std::array<TSet, 256> sets;
  std::size_t turn = 0;  // Of places to be taken anew.
};

}  // namespace

TJudgement JudgeWithReason(std::string_view installed, std::string_view offered) noexcept {
  // Beside the thread, which few of a process's need it for.
  thread_local const std::unique_ptr<TKnownJudgements> known(new (std::nothrow) TKnownJudgements);
  return known ? known->Of(installed, offered) : JudgeAnew(installed, offered);
}

EVerdict JudgeTexts(std::string_view installed, std::string_view offered) noexcept {
  return JudgeWithReason(installed, offered).verdict;
}

}  // namespace svc::report
