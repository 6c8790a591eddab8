#include "runtime/acquire/fetcher.h"

#include <algorithm>
#include <limits>

#include "runtime/acquire/address.h"

namespace svc::acquire {

namespace {

constexpr std::chrono::milliseconds kTurn{100};
constexpr std::chrono::seconds kLongestPause{30};
constexpr std::size_t kMaxRedirects = 5;

// A tag that promises equal bytes (RFC 9110, section 8.8.1) lets a transfer go on safely.
bool IsStrong(const std::string& etag) { return etag.starts_with('"'); }

// The sum, or the largest number there is: a server may name any length.
std::uint64_t Sum(std::uint64_t held, std::uint64_t more) {
  return held + std::min(more, std::numeric_limits<std::uint64_t>::max() - held);
}

bool HasContent(const TTransferResult& result) {
  return result.end == ETransferEnd::kAnswered &&
         (result.response.status == 200 || result.response.status == 206);
}

// Gives the transfers back however the work ends.
struct TCancelOnExit {
  ITransport& transport;
  ~TCancelOnExit() { transport.CancelAll(); }
};

}  // namespace

// A target with its request and the attempts at it.
class TFetcher::TErrand : public ITransferSink {
 public:
  TErrand(IFetchTarget& target, const std::string& repository) : target(target) {
    transfer.url = FileAddress(repository, target.Path());
    transfer.sink = this;
    asked = {transfer.url};
  }

  void OnResponse(const TResponse& response) override {
    const bool goesOn = response.status == 206 && response.rangeStart == target.Held();
    if (!goesOn && target.Held() != 0) target.StartOver();
    if (response.status == 206 && !goesOn)
      throw DownloadError(
          EOutcome::kBroken,
          ShownAddress(transfer.url) + ": the server sent another part than it was asked for");
    wasResumed = goesOn;
    if (response.length) target.CheckLength(Sum(target.Held(), *response.length));
    transfer.etag = IsStrong(response.etag) ? response.etag : "";
  }

  void OnData(std::string_view bytes) override { target.Append(bytes); }

  void Start(ITransport& transport) {
    ++attempts;
    transfer.offset = target.Held();
    transport.Start(transfer);
  }

  // Whether another attempt may mend this one; then the next begins where it has to. A file that
  // was put together from parts may be wrong because the server's changed in between.
  bool MayTryAgain(const TTransferResult& result, EOutcome outcome) {
    const bool isMixed = outcome == EOutcome::kBadContent && wasResumed;
    if (isMixed || result.response.status == 416) StartOver();
    return isMixed || outcome == EOutcome::kBroken || MayPass(result);
  }

  // A redirect within the server is followed, one that leads elsewhere is not.
  bool Follow(const TResponse& response) {
    const bool mayFollow = response.status >= 300 && response.status < 400 &&
                           IsSameServer(response.redirect, transfer.url);
    if (!mayFollow) return false;
    if (std::ranges::count(asked, response.redirect) != 0) throw RedirectFailure("in a loop");
    if (asked.size() > kMaxRedirects)
      throw RedirectFailure("more than " + std::to_string(kMaxRedirects) + " times");
    asked.push_back(response.redirect);
    transfer.url = response.redirect;
    return true;
  }

  TError RedirectFailure(const std::string& how) const {
    return DownloadError(EOutcome::kRedirected, "the server redirects the request for " +
                                                    ShownAddress(asked.front()) + " " + how +
                                                    "; ask its administrator");
  }

  void StartOver() {
    transfer.etag.clear();
    target.StartOver();
  }

  IFetchTarget& target;
  TTransfer transfer;
  std::vector<std::string> asked;  // Its addresses: a redirect adds one.
  int attempts = 0;
  bool wasResumed = false;
  bool isDone = false;
  TWatch::TClock::time_point due;
};

TFetcher::TFetcher(ITransport& transport, std::string repository, const TLimits& limits,
                   const TWatch& watch)
    : transport(transport),
      repository(std::move(repository)),
      limits(limits),
      watch(watch),
      random(static_cast<unsigned>(watch.Now().time_since_epoch().count())) {}

TFetcher::~TFetcher() = default;

void TFetcher::Fetch(const std::vector<IFetchTarget*>& targets) {
  TErrands errands;
  for (IFetchTarget* target : targets)
    errands.push_back(std::make_unique<TErrand>(*target, repository));
  Run(errands);
}

void TFetcher::Run(TErrands& waiting) {
  TErrands active;
  const TCancelOnExit cancel{transport};
  while (!waiting.empty() || !active.empty()) {
    watch.Check();
    StartDue(waiting, active);
    const auto result = transport.Wait(kTurn);
    if (!result) continue;
    const auto ended = std::ranges::find_if(
        active, [&result](const auto& errand) { return &errand->transfer == result->transfer; });
    std::unique_ptr<TErrand> errand = std::move(*ended);
    active.erase(ended);
    Settle(*errand, *result);
    if (!errand->isDone) waiting.insert(waiting.begin(), std::move(errand));
  }
}

void TFetcher::StartDue(TErrands& waiting, TErrands& active) {
  const auto now = watch.Now();
  for (auto errand = waiting.begin(); errand != waiting.end();) {
    if (active.size() >= static_cast<std::size_t>(limits.parallel)) return;
    if ((*errand)->due > now) {
      ++errand;
      continue;
    }
    active.push_back(std::move(*errand));
    errand = waiting.erase(errand);
    active.back()->Start(transport);
  }
}

void TFetcher::Settle(TErrand& errand, const TTransferResult& result) {
  if (result.end == ETransferEnd::kAnswered && errand.Follow(result.response)) return;
  try {
    Conclude(errand, result);
  } catch (const TError& failure) {
    if (!errand.MayTryAgain(result, OutcomeOf(failure))) throw;
    if (errand.attempts >= limits.attempts)
      throw DownloadError(OutcomeOf(failure), std::string(failure.what()) + " (tried " +
                                                  std::to_string(errand.attempts) + " times)");
    const std::chrono::milliseconds asked =
        std::clamp(result.response.retryAfter, std::chrono::seconds(0), kLongestPause);
    errand.due = watch.Now() + std::max(PauseAfter(errand.attempts), asked);
  }
}

void TFetcher::Conclude(TErrand& errand, const TTransferResult& result) {
  if (result.thrown) std::rethrow_exception(result.thrown);
  if (!HasContent(result)) throw FailureOf(result);
  errand.target.Finish();
  errand.isDone = true;
}

std::chrono::milliseconds TFetcher::PauseAfter(int attempts) {
  const auto pause = std::min<std::chrono::milliseconds>(
      limits.firstPause * (1 << std::min(attempts - 1, 16)), kLongestPause);
  // Machines that failed together shall not come back together.
  return pause * std::uniform_int_distribution(75, 125)(random) / 100;
}

static std::string AdviceForStatus(int status) {
  if (status == 401)  // Some proxies say so too, where their own password is wrong.
    return "check user and password, also those of a proxy on the way";
  if (status == 403) return "ask its administrator for access";
  if (status == 404 || status == 410) return "check the address of the repository";
  return "try again later, or ask its administrator";
}

static TError RefusalOf(const TTransferResult& result, const std::string& address) {
  const TResponse& response = result.response;
  if (response.status >= 300 && response.status < 400 && !response.redirect.empty())
    return DownloadError(EOutcome::kRedirected,
                         address + " sends to another server, " + ShownAddress(response.redirect) +
                             "; if that is right, name that one as the repository");
  return DownloadError(EOutcome::kServerRefused, "the server answered for " + address +
                                                     " with status " +
                                                     std::to_string(response.status) + "; " +
                                                     AdviceForStatus(response.status));
}

TError FailureOf(const TTransferResult& result) {
  const std::string address = ShownAddress(result.transfer->url);
  const std::string reason = " (" + result.reason + ")";
  switch (result.end) {
    case ETransferEnd::kUnreachable:
      return DownloadError(EOutcome::kUnreachable,
                           address + " cannot be reached" + reason +
                               "; check the network, the address and the proxy");
    case ETransferEnd::kNotTrusted:
      return DownloadError(EOutcome::kNotTrusted,
                           "the certificate behind " + address + " cannot be verified" + reason +
                               "; name the authority's own with --ca-file FILE");
    case ETransferEnd::kProxyRefused:
      return DownloadError(EOutcome::kProxyRefused, "the proxy does not let " + address +
                                                        " through" + reason +
                                                        "; check its address, user and password");
    case ETransferEnd::kTooSlow:
      return DownloadError(EOutcome::kTooSlow,
                           address + " took too long" + reason + "; try again later");
    case ETransferEnd::kAnswered:
      return RefusalOf(result, address);
    default:
      return DownloadError(EOutcome::kBroken, "the transfer of " + address + " broke off" + reason +
                                                  "; try again later");
  }
}

bool MayPass(const TTransferResult& result) {
  const int status = result.response.status;
  switch (result.end) {
    case ETransferEnd::kNotTrusted:
    case ETransferEnd::kProxyRefused:
    case ETransferEnd::kSinkThrew:
      return false;
    case ETransferEnd::kAnswered:
      return status == 408 || status == 416 || status == 429 || status >= 500;
    default:
      return true;
  }
}

static std::string FetchSignature(TFetcher& fetcher) {
  TTextTarget signature(std::string(kManifestName) + kSignatureSuffix, kMaxSignatureText);
  Retold(
      [&] { fetcher.Fetch({&signature}); },
      [](const TError& failure) {
        if (OutcomeOf(failure) != EOutcome::kServerRefused) return failure;
        return DownloadError(
            EOutcome::kUnsigned,
            "the repository is not signed, as far as can be seen: " + std::string(failure.what()) +
                "; nothing was taken from it. --allow-unsigned instead of a key takes it");
      });
  return signature.Text();
}

TManifest FetchManifest(TFetcher& fetcher, const TLimits& limits,
                        const std::optional<TPublicKey>& key) {
  TTextTarget manifest(kManifestName, limits.manifest);
  fetcher.Fetch({&manifest});
  if (key) VerifySignature(*key, ParseSignature(FetchSignature(fetcher)), manifest.Text());
  return ParseManifest(manifest.Text());
}

// --- Where the bytes go ---

static TError WrongFile(const TManifestFile& file, const std::string& what) {
  return DownloadError(EOutcome::kBadContent,
                       file.path + " is not the file that the manifest describes: " + what +
                           "; the repository is being changed or was tampered with");
}

void TTextTarget::CheckLength(std::uint64_t length) {
  if (length > limit)
    throw DownloadError(EOutcome::kTooLarge, path + " is longer than the " + std::to_string(limit) +
                                                 " bytes that this program takes");
}

void TTextTarget::Append(std::string_view bytes) {
  CheckLength(text.size() + bytes.size());
  text += bytes;
}

TFileTarget::TFileTarget(TManifestFile description, std::string staged, std::string published,
                         TProgressReport& report)
    : file(std::move(description)),
      stagedPath(std::move(staged)),
      publishedPath(std::move(published)),
      report(report) {}

void TFileTarget::StartOver() {
  report.Forget(held);
  held = 0;
  hasher = THasher(EHash::kSha256);
  if (staged) staged->StartOver();
}

void TFileTarget::CheckLength(std::uint64_t length) {
  if (length != file.size)
    throw WrongFile(file, "the server's has " + std::to_string(length) + " bytes, not " +
                              std::to_string(file.size));
  if (staged) return;
  staged = std::make_unique<TStagedFile>(stagedPath);
  report.ItemStarted(file.name, file.size);
}

void TFileTarget::Append(std::string_view bytes) {
  if (bytes.size() > file.size - held)
    throw WrongFile(file,
                    "the server's goes on beyond its " + std::to_string(file.size) + " bytes");
  if (!staged) CheckLength(file.size);
  staged->Write(bytes);
  hasher.Update(bytes);
  held += bytes.size();
  report.Received(file.name, held, bytes.size());
}

void TFileTarget::Finish() {
  if (held < file.size)
    throw DownloadError(EOutcome::kBroken, file.path + " ended after " + std::to_string(held) +
                                               " of " + std::to_string(file.size) +
                                               " bytes; try again later");
  if (!staged) CheckLength(file.size);
  if (ToHex(hasher.Digest()) != file.sha256) throw WrongFile(file, "its SHA-256 is another");
  staged->Publish(publishedPath);
  staged.reset();
  report.ItemEnded(file.name);
}

}  // namespace svc::acquire
