// A server on a port of this machine, for tests of what makes connections: each request comes on a
// connection of its own, is read whole, answered, and the connection is closed.
#pragma once

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstddef>
#include <functional>
#include <limits>
#include <string>
#include <thread>
#include <utility>

namespace svc::test {

// A request as it came: what stands before " HTTP/", the whole head with its last line end, and
// the content, of which nothing says that it is complete when the client has gone.
struct THttpRequest {
  std::string what;
  std::string head;
  std::string content;

  // The value of a header; empty where there is none of that name, written so.
  std::string ValueOf(const std::string& name) const {
    const std::size_t at = head.find("\r\n" + name + ": ");
    if (at == head.npos) return "";
    const std::size_t begin = at + name.size() + 4;
    return head.substr(begin, head.find("\r\n", begin) - begin);
  }
};

// Owns its socket and the thread that answers. Made, stopped and asked by one other thread.
class TListeningServer {
 public:
  // The whole answer to a request, with its status line. Called in the server's thread.
  using TAnswer = std::function<std::string(const THttpRequest& request)>;

  // Answers no more requests than `most`.
  explicit TListeningServer(TAnswer answer, int most = std::numeric_limits<int>::max())
      : listening(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)), answer(std::move(answer)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const any = reinterpret_cast<sockaddr*>(&address);
    EXPECT_EQ(::bind(listening, any, size), 0);
    EXPECT_EQ(::getsockname(listening, any, &size), 0);
    EXPECT_EQ(::listen(listening, 8), 0);
    port = ntohs(address.sin_port);
    thread = std::thread([this, most] {
      for (int left = most; left > 0; --left) {
        const int client = ::accept(listening, nullptr, nullptr);
        if (client == -1) return;
        Serve(client);
      }
    });
  }
  ~TListeningServer() { Stop(); }
  TListeningServer(const TListeningServer&) = delete;
  TListeningServer& operator=(const TListeningServer&) = delete;

  int Port() const { return port; }
  std::string Address() const { return "http://127.0.0.1:" + std::to_string(port); }

  // Returns when the request under way is answered; none is from then on.
  void Stop() {
    if (!thread.joinable()) return;
    ::shutdown(listening, SHUT_RDWR);  // Where it waits for a request.
    thread.join();
    ::close(listening);
  }

 private:
  static THttpRequest Receive(int client) {
    THttpRequest request;
    std::string bytes;
    char block[1024];
    for (std::size_t whole = 1; bytes.size() < whole;) {
      const ssize_t count = ::recv(client, block, sizeof block, 0);
      if (count <= 0) break;
      bytes.append(block, static_cast<std::size_t>(count));
      const std::size_t end = bytes.find("\r\n\r\n");
      whole = bytes.size() + 1;
      if (end == bytes.npos) continue;
      request.head = bytes.substr(0, end + 2);
      request.content = bytes.substr(end + 4);
      const std::string length = request.ValueOf("Content-Length");
      whole = end + 4 + (length.empty() ? 0 : std::stoul(length));
    }
    request.what = bytes.substr(0, bytes.find(" HTTP/"));
    return request;
  }

  void Serve(int client) const {
    const std::string text = answer(Receive(client));
    ::send(client, text.data(), text.size(), MSG_NOSIGNAL);
    ::shutdown(client, SHUT_WR);
    char block[1024];
    while (::recv(client, block, sizeof block, 0) > 0) continue;
    ::close(client);
  }

  int listening;
  TAnswer answer;
  int port = 0;
  std::thread thread;
};

}  // namespace svc::test
