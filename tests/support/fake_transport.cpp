#include "tests/support/fake_transport.h"

#include <algorithm>

namespace svc::acquire {
namespace {

bool HasContent(const TAnswer& answer, const TTransfer& transfer) {
  return answer.status == 200 || answer.status == 206 ||
         (answer.status == 201 && !transfer.method.empty());
}

TResponse ResponseOf(const TAnswer& answer) {
  return {answer.status,   answer.etag,       answer.length,      answer.rangeStart,
          answer.redirect, answer.retryAfter, answer.sessionToken};
}

}  // namespace

void TFakeTransport::Script(const std::string& url, std::vector<TAnswer> answers) {
  scripts[url] = {answers.begin(), answers.end()};
}

void TFakeTransport::Start(TTransfer& transfer) {
  requests.push_back({transfer.url, transfer.offset, transfer.etag, time.Now(), transfer.method,
                      transfer.headers, transfer.body});
  TAnswer answer;
  answer.status = 404;
  if (const auto script = scripts.find(transfer.url); script != scripts.end()) {
    answer = script->second.front();
    if (script->second.size() > 1) script->second.pop_front();
  }
  underWay.push_back({&transfer, std::move(answer)});
  mostUnderWay = std::max(mostUnderWay, underWay.size());
}

std::optional<TTransferResult> TFakeTransport::Wait(std::chrono::milliseconds limit) {
  if (underWay.empty()) {
    time.Sleep(limit);
    return std::nullopt;
  }
  TExchange exchange = std::move(underWay.front());
  underWay.pop_front();
  try {
    if (Advance(exchange)) return ResultOf(exchange, nullptr);
  } catch (...) {
    return ResultOf(exchange, std::current_exception());
  }
  underWay.push_back(std::move(exchange));
  return std::nullopt;
}

bool TFakeTransport::Advance(TExchange& exchange) {
  const TAnswer& answer = exchange.answer;
  time.Sleep(answer.pause);
  if (!HasContent(answer, *exchange.transfer)) return true;
  if (!exchange.isAnnounced) exchange.transfer->sink->OnResponse(ResponseOf(answer));
  exchange.isAnnounced = true;
  const std::size_t left = answer.body.size() - exchange.sent;
  const std::size_t count = answer.piece == 0 ? left : std::min(answer.piece, left);
  if (count != 0)
    exchange.transfer->sink->OnData(std::string_view(answer.body).substr(exchange.sent, count));
  exchange.sent += count;
  return exchange.sent == answer.body.size();
}

TTransferResult TFakeTransport::ResultOf(const TExchange& exchange,
                                         std::exception_ptr thrown) const {
  const TAnswer& answer = exchange.answer;
  const ETransferEnd end = thrown ? ETransferEnd::kSinkThrew : answer.end;
  return {exchange.transfer, end, ResponseOf(answer),
          end == ETransferEnd::kAnswered ? "" : "as scripted", thrown};
}

}  // namespace svc::acquire
