// One fetcher on a network in memory, with targets that note what they are told.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "runtime/acquire/fetcher.h"
#include "tests/support/fake_transport.h"

namespace svc::acquire {

// Wants a content; what it is told of lengths it takes.
class TNotingTarget : public IFetchTarget {
 public:
  TNotingTarget(std::string path, std::string content)
      : path(std::move(path)), content(std::move(content)) {}

  std::string Path() const override { return path; }
  std::uint64_t Held() const override { return held.size(); }
  void StartOver() override {
    ++startsOver;
    held.clear();
  }
  void CheckLength(std::uint64_t length) override { lengths.push_back(length); }
  void Append(std::string_view bytes) override {
    if (failure) throw *failure;
    held += bytes;
  }
  void Finish() override {
    if (held.size() < content.size())
      throw DownloadError(EOutcome::kBroken, path + " is too short");
    if (held != content) throw DownloadError(EOutcome::kBadContent, path + " is another file");
    isFinished = true;
  }

  std::string path;
  std::string content;
  std::string held;
  std::vector<std::uint64_t> lengths;
  int startsOver = 0;
  bool isFinished = false;
  std::optional<TError> failure;  // Thrown where bytes come.
};

inline constexpr const char* kServer = "http://server/sv";

struct TFetching {
  TFetching() {
    limits.attempts = 3;
    limits.firstPause = std::chrono::milliseconds(1000);
  }

  static std::string Url(const std::string& path) { return std::string(kServer) + "/" + path; }

  void Script(std::vector<TAnswer> answers) { transport.Script(Url("one"), std::move(answers)); }

  // How fetching the targets ended.
  std::optional<TError> Fetch(const std::vector<IFetchTarget*>& targets) {
    const TWatch watch(stopRequested, limits.total, time);
    TFetcher fetcher(transport, kServer, limits, watch);
    try {
      fetcher.Fetch(targets);
      return std::nullopt;
    } catch (const TError& failure) {
      return failure;
    }
  }
  std::optional<TError> Fetch() { return Fetch({&one}); }

  // Milliseconds between two requests.
  long long Pause(std::size_t after) const {
    const auto pause = transport.Requests().at(after + 1).at - transport.Requests().at(after).at;
    return std::chrono::duration_cast<std::chrono::milliseconds>(pause).count();
  }

  TLimits limits;
  std::function<bool()> stopRequested;
  TFakeTime time;
  TFakeTransport transport{time};
  TNotingTarget one{"one", "0123456789"};
};

inline TAnswer Whole(std::string etag = "\"tag\"") {
  TAnswer answer;
  answer.body = "0123456789";
  answer.length = answer.body.size();
  answer.etag = std::move(etag);
  return answer;
}

// Says that all is to come, and breaks off after a part.
inline TAnswer Cut(std::size_t after, std::string etag = "\"tag\"") {
  TAnswer answer = Whole(std::move(etag));
  answer.body.resize(after);
  answer.end = ETransferEnd::kBroken;
  return answer;
}

inline TAnswer Part(std::uint64_t start, std::string body) {
  TAnswer answer;
  answer.status = 206;
  answer.rangeStart = start;
  answer.length = body.size();
  answer.body = std::move(body);
  answer.etag = "\"tag\"";
  return answer;
}

inline TAnswer Status(int status) {
  TAnswer answer;
  answer.status = status;
  return answer;
}

inline TAnswer Redirect(std::string redirect, int status = 302) {
  TAnswer answer = Status(status);
  answer.redirect = std::move(redirect);
  return answer;
}

inline TAnswer Ended(ETransferEnd end) {
  TAnswer answer = Status(0);
  answer.end = end;
  return answer;
}

}  // namespace svc::acquire
