// A server in memory and a time of its own, so that what happens between a program and the network
// is tested without either: scripted answers, cut and slow transfers, lies about lengths. Records
// every request.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "runtime/acquire/progress_report.h"
#include "runtime/acquire/transport.h"

namespace svc::acquire {

// Passes when somebody sleeps, and at no other time.
class TFakeTime : public ITime {
 public:
  TClock::time_point Now() override { return now; }
  void Sleep(std::chrono::milliseconds pause) override { now += pause; }

 private:
  TClock::time_point now{std::chrono::hours(1)};
};

struct TAnswer {
  int status = 200;
  std::string body = {};
  std::optional<std::uint64_t> length = {};  // What it says of the body.
  std::optional<std::uint64_t> rangeStart = {};
  std::string etag = {};
  std::string redirect = {};
  std::chrono::seconds retryAfter{0};
  ETransferEnd end = ETransferEnd::kAnswered;  // Any other: breaks off after the body.
  std::size_t piece = 0;                       // Bytes that come at once; 0: all.
  std::chrono::milliseconds pause{0};          // Before each piece.
  std::string sessionToken = {};
};

struct TRequest {
  std::string url;
  std::uint64_t offset = 0;
  std::string etag;
  ITime::TClock::time_point at;
  std::string method = {};
  std::vector<std::string> headers = {};
  std::string body = {};
};

// Borrows the time. One thread.
class TFakeTransport : public ITransport {
 public:
  explicit TFakeTransport(TFakeTime& time) : time(time) {}

  // What requests for the address get, whatever their method, one after the other; the last also
  // from then on. An address without a script is not found (404).
  void Script(const std::string& url, std::vector<TAnswer> answers);

  void Start(TTransfer& transfer) override;
  // A piece of the transfer whose turn it is; without any, time passes.
  std::optional<TTransferResult> Wait(std::chrono::milliseconds limit) override;
  void CancelAll() override { underWay.clear(); }

  const std::vector<TRequest>& Requests() const { return requests; }
  std::size_t UnderWay() const { return underWay.size(); }
  std::size_t MostUnderWay() const { return mostUnderWay; }

 private:
  struct TExchange {
    TTransfer* transfer;
    TAnswer answer;
    bool isAnnounced = false;
    std::size_t sent = 0;
  };
  // Whether it has ended with that.
  bool Advance(TExchange& exchange);
  TTransferResult ResultOf(const TExchange& exchange, std::exception_ptr thrown) const;

  TFakeTime& time;
  std::map<std::string, std::deque<TAnswer>> scripts;
  std::vector<TRequest> requests;
  std::deque<TExchange> underWay;
  std::size_t mostUnderWay = 0;
};

}  // namespace svc::acquire
