// A controller on this machine, asked from the address to the inventory, and the places of its
// resources.
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "collect/collector.h"
#include "collect/redfish/redfish.h"

extern "C" void SvcheckCollectRedfish(const svc::collect::ServiceOptions& options,
                                      svc::collect::Outcome& outcome);

namespace svc::collect {
namespace {

using TTexts = std::vector<std::string>;

// Answers each request on a connection of its own until it goes, and keeps what it was asked.
class TController {
 public:
  // By "METHOD PLACE": headers with their line ends, an empty line, and the content.
  explicit TController(std::map<std::string, std::string> answers)
      : listening(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)), answers(std::move(answers)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const any = reinterpret_cast<sockaddr*>(&address);
    EXPECT_EQ(::bind(listening, any, size), 0);
    EXPECT_EQ(::getsockname(listening, any, &size), 0);
    EXPECT_EQ(::listen(listening, 8), 0);
    port = ntohs(address.sin_port);
    thread = std::thread([this] {
      for (int client = Accept(); client != -1; client = Accept()) Answer(client);
    });
  }
  ~TController() {
    if (thread.joinable()) Stop();
  }
  TController(const TController&) = delete;
  TController& operator=(const TController&) = delete;

  std::string Address() const { return "http://127.0.0.1:" + std::to_string(port); }

  // "METHOD PLACE CREDENTIALS CONTENT" of each request; it answers none from then on.
  TTexts Stop() {
    ::shutdown(listening, SHUT_RDWR);
    thread.join();
    ::close(listening);
    return asked;
  }

 private:
  int Accept() const { return ::accept(listening, nullptr, nullptr); }

  static std::string ValueOf(const std::string& head, const std::string& name) {
    const std::size_t at = head.find("\r\n" + name + ": ");
    if (at == head.npos) return "";
    const std::size_t begin = at + name.size() + 4;
    return head.substr(begin, head.find("\r\n", begin) - begin);
  }

  void Answer(int client) {
    std::string request;
    std::size_t end = request.npos;
    char block[1024];
    for (std::size_t whole = 1; request.size() < whole;) {
      const ssize_t count = ::recv(client, block, sizeof block, 0);
      if (count <= 0) break;
      request.append(block, static_cast<std::size_t>(count));
      end = request.find("\r\n\r\n");
      if (end == request.npos) {
        whole = request.size() + 1;
        continue;
      }
      const std::string length = ValueOf(request.substr(0, end + 2), "Content-Length");
      whole = end + 4 + (length.empty() ? 0 : std::stoul(length));
    }
    const std::string what = request.substr(0, request.find(" HTTP/"));
    const std::string head = request.substr(0, std::min(end, request.size()) + 2);
    asked.push_back(what + " " + ValueOf(head, "X-Auth-Token") + ValueOf(head, "Authorization") +
                    " " + (end == request.npos ? "" : request.substr(end + 4)));
    const auto found = answers.find(what);
    const std::string answer =
        found == answers.end() ? "HTTP/1.1 404 None\r\nConnection: close\r\n\r\n" : found->second;
    ::send(client, answer.data(), answer.size(), MSG_NOSIGNAL);
    ::shutdown(client, SHUT_WR);
    while (::recv(client, block, sizeof block, 0) > 0) continue;
    ::close(client);
  }

  int listening;
  std::map<std::string, std::string> answers;
  TTexts asked;
  int port = 0;
  std::thread thread;
};

std::string Found(const std::string& json) {
  return "HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n" + json;
}

// Sets variables for as long as it lives.
class TEnvironment {
 public:
  explicit TEnvironment(TTexts names, const char* value) : names(std::move(names)) {
    for (const std::string& name : this->names) ::setenv(name.c_str(), value, 1);
  }
  ~TEnvironment() {
    for (const std::string& name : names) ::unsetenv(name.c_str());
  }
  TEnvironment(const TEnvironment&) = delete;
  TEnvironment& operator=(const TEnvironment&) = delete;

 private:
  TTexts names;
};

TEST(Controller, OfThisMachineIsAskedByNoProxyInASessionOfTheUserThatEnds) {
  TController controller(
      {{"GET /redfish/v1/", Found(R"({"Systems":{"@odata.id":"/systems"},"Links":{"Sessions":)"
                                  R"({"@odata.id":"/sessions"}}})")},
       {"POST /sessions",
        "HTTP/1.1 201 Made\r\nX-Auth-Token: token\r\nLocation: /sessions/1\r\n"
        "Connection: close\r\n\r\n{}"},
       {"DELETE /sessions/1", "HTTP/1.1 204 Gone\r\nConnection: close\r\n\r\n"},
       {"GET /systems", Found(R"({"Members":[{"@odata.id":"/systems/1"}]})")},
       {"GET /systems/1", Found(R"({"Model":"M","BiosVersion":"1.0","SerialNumber":"S"})")}});
  const TEnvironment proxies({"http_proxy", "all_proxy"}, "http://127.0.0.1:1");
  ServiceOptions options;
  options.url = controller.Address() + "/redfish/v1";
  options.user = "root";
  options.password = "secret";
  options.redact = true;
  options.stopRequested = [] { return false; };
  Outcome outcome;
  SvcheckCollectRedfish(options, outcome);
  EXPECT_EQ(
      controller.Stop(),
      (TTexts{"GET /redfish/v1/  ", R"(POST /sessions  {"Password":"secret","UserName":"root"})",
              "GET /systems token ", "GET /systems/1 token ", "DELETE /sessions/1 token "}));
  EXPECT_EQ(outcome.notes, TTexts{});
  EXPECT_NE(outcome.document.find("<VALUE>M</VALUE>"), std::string::npos) << outcome.document;
  EXPECT_EQ(outcome.document.find("<VALUE>S</VALUE>"), std::string::npos) << "it is redacted";
}

TEST(Places, AreWithinAResourceWithWhatIsBelowIt) {
  for (const char* place : {"/s/1", "/s/1/", "/s/1/Bios", "/s/1#/Fans/0"}) {
    EXPECT_TRUE(IsWithin(place, "/s/1")) << place;
    EXPECT_TRUE(IsWithin(place, "/s/1//")) << place;
  }
  for (const char* place : {"", "/s", "/s/", "/s/10", "/s/1x", "s/1", "/S/1"})
    EXPECT_FALSE(IsWithin(place, "/s/1")) << place;
  EXPECT_FALSE(IsWithin("/s/1", ""));
  EXPECT_FALSE(IsWithin("/s/1", "/")) << "else everything would be";
  EXPECT_EQ(LastName("/s/1"), "1");
  EXPECT_EQ(LastName("/s/1//"), "1");
  EXPECT_EQ(LastName("1"), "1");
  EXPECT_EQ(LastName("/"), "");
}

TEST(Lists, AreReadUpToTwoThousandElements) {
  for (const std::size_t count : {1999, 2000, 2001}) {
    TJson resource = {{"List", TJson::array()}};
    for (std::size_t i = 0; i < count; ++i) resource["List"].push_back({{"@odata.id", "/x"}});
    EXPECT_EQ(ListOf(resource, "List").size(), std::min<std::size_t>(count, 2000));
    EXPECT_EQ(PlacesOf(resource, "List").size(), std::min<std::size_t>(count, 2000));
  }
  const TJson odd = TJson::parse(R"({"List":[{"@odata.id":"/x"},{},7,null,{"@odata.id":7}]})");
  EXPECT_EQ(PlacesOf(odd, "List"), TTexts{"/x"});
  EXPECT_TRUE(ListOf(odd, "None").empty());
  EXPECT_TRUE(PlacesOf(TJson::parse(R"({"List":{"a":1}})"), "List").empty());
}

}  // namespace
}  // namespace svc::collect
