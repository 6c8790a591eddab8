// What a management controller answers: anything, for whoever sits in its place. An input is a
// service: lines of a path, a tab and the answer to a request for it, which a status may lead.
#include <curl/curl.h>

#include <algorithm>
#include <charconv>
#include <memory>
#include <vector>

#include "base/error.h"
#include "base/shown_text.h"
#include "collect/cim_xml.h"
#include "collect/redfish/redfish.h"
#include "runtime/acquire/progress_report.h"
#include "runtime/hskcore/in_memory_namespace.h"
#include "tests/fuzz/fuzz_support.h"

using namespace svc::fuzz;
using namespace svc::collect;
using namespace svc::acquire;

namespace {

constexpr const char* kOrigin = "https://bmc";
constexpr std::size_t kMostRequests = 100;

// The server that a request for the address would go to, as the library that asks takes it.
std::string ServerOf(const std::string& address) {
  const std::unique_ptr<CURLU, decltype(&curl_url_cleanup)> url(curl_url(), curl_url_cleanup);
  if (curl_url_set(url.get(), CURLUPART_URL, address.c_str(), 0) != CURLUE_OK) return kOrigin;
  std::string server;
  for (const auto& [part, before] :
       {std::pair{CURLUPART_SCHEME, ""}, {CURLUPART_HOST, "://"}, {CURLUPART_PORT, ":"}}) {
    char* text = nullptr;
    if (curl_url_get(url.get(), part, &text, 0) == CURLUE_OK) server += std::string(before) + text;
    curl_free(text);
  }
  std::ranges::transform(server, server.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c;
  });
  return server.ends_with(":443") ? server.substr(0, server.size() - 4) : server;
}

struct TAnswer {
  std::string_view path;
  int status = 200;
  std::string_view body;  // Where it sends on to, with a status of 300 and more.
};

// "/path 302<tab>/other", "/path<tab>{}".
TAnswer AnswerOf(std::string_view line) {
  TAnswer answer;
  const std::size_t tab = std::min(line.find('\t'), line.size());
  answer.path = line.substr(0, tab);
  answer.body = line.substr(std::min(tab + 1, line.size()));
  if (const std::size_t blank = answer.path.find(' '); blank != std::string_view::npos) {
    std::from_chars(answer.path.data() + blank + 1, answer.path.data() + answer.path.size(),
                    answer.status);
    answer.path = answer.path.substr(0, blank);
  }
  return answer;
}

class TFakeService : public ITransport {
 public:
  explicit TFakeService(std::string_view text) {
    while (!text.empty()) {
      const std::size_t end = std::min(text.find('\n'), text.size());
      answers.push_back(AnswerOf(text.substr(0, end)));
      text.remove_prefix(std::min(end + 1, text.size()));
    }
  }

  void Start(TTransfer& transfer) override {
    Require(ServerOf(transfer.url) == kOrigin, "nobody but the server is asked");
    Require(++requests <= kMostRequests + 1, "there is an end to asking");
    waiting = &transfer;
  }

  std::optional<TTransferResult> Wait(std::chrono::milliseconds /*limit*/) override {
    TTransfer* const transfer = std::exchange(waiting, nullptr);
    if (transfer == nullptr) return std::nullopt;
    TTransferResult result{transfer, ETransferEnd::kAnswered, {}, "", nullptr};
    try {
      Answer(*transfer, result.response);
    } catch (...) {
      result.end = ETransferEnd::kSinkThrew;
      result.thrown = std::current_exception();
    }
    return result;
  }

  void CancelAll() override { waiting = nullptr; }

 private:
  // Without an answer of its own a path gets one that its length names.
  TAnswer Find(const std::string& url) const {
    if (answers.empty()) return {"", 404, ""};
    const std::string_view path = std::string_view(url).substr(HostEndOf(url));
    const auto found =
        std::ranges::find_if(answers, [&](const TAnswer& one) { return one.path == path; });
    return found == answers.end() ? answers[path.size() % answers.size()] : *found;
  }
  static std::size_t HostEndOf(const std::string& url) {
    return std::min(url.find('/', std::string_view("https://").size()), url.size());
  }

  void Answer(const TTransfer& transfer, TResponse& response) const {
    const TAnswer answer = Find(transfer.url);
    response.status = transfer.method == "POST" && answer.status == 200 ? 201 : answer.status;
    if (response.status == 201) response.sessionToken = "token";
    if (response.status >= 300 && response.status < 400)
      response.redirect = AbsoluteAddress(transfer.url, std::string(answer.body));
    if (response.status != 200 && response.status != 201) return;
    transfer.sink->OnResponse(response);
    transfer.sink->OnData(answer.body);
  }

  std::vector<TAnswer> answers;
  TTransfer* waiting = nullptr;
  std::size_t requests = 0;
};

// Passes when somebody sleeps.
class TTime : public ITime {
 public:
  TClock::time_point Now() override { return now; }
  void Sleep(std::chrono::milliseconds pause) override { now += pause; }

 private:
  TClock::time_point now{std::chrono::hours(1)};
};

void CheckLine(std::string_view line) {
  Require(line.find('\n') == std::string_view::npos, "a note is one line");
  while (!line.empty()) {
    const svc::TCodePoint character = svc::FirstCodePoint(line);
    Require(character.valid && character.value >= ' ', "a note is a clean text");
    line.remove_prefix(character.size);
  }
}

void Read(ITransport& transport, TInventory& inventory) {
  TTime time;
  const TWatch watch([] { return false; }, std::chrono::minutes(10), time);
  TClient client(transport, watch, kOrigin, {.requests = kMostRequests, .values = 20'000});
  svc::collect::TService service(client, inventory);
  service.Open();
  client.LogIn(PlaceOf(PartOf(PartOf(service.Root(), "Links"), "Sessions")), "user", "secret");
  TServer server{service, inventory};
  ReadServer("", server);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  TFakeService transport(AsText(data, size));
  TInventory inventory;
  try {
    Read(transport, inventory);
  } catch (const svc::TError& error) {
    CheckLine(error.what());
  }
  for (const std::string& note : inventory.Notes()) CheckLine(note);
  const std::string made = ToCimXml(inventory.Instances());
  const auto machine = NewNamespace();
  svc::DeclareBuiltinClasses(machine);
  Require(ParseDocument(machine, made, false), "the inventory can be loaded");
  return 0;
}
