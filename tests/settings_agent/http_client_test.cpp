// The agent's HTTP client alone, against a server of the test's own on loopback: what it sends,
// what it reports, and when.
#include <arpa/inet.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <functional>
#include <future>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "commutil-settings/gateway.h"
#include "commutil-settings/http_client.h"
#include "os/handles.h"

namespace {

using namespace std::chrono_literals;
using agent::HttpClient;
using agent::HttpEvent;
using agent::HttpRequest;
using commutil::Descriptor;
using testing::HasSubstr;
using testing::StartsWith;

constexpr std::chrono::milliseconds kPatience = 20s;

/// Returns everything up to the end of a request.
std::string readRequest(int connection) {
  std::string text;
  std::array<char, 4096> part{};
  while (true) {
    const std::size_t head = text.find("\r\n\r\n");
    const std::size_t length = text.find("Content-Length: ");
    const std::size_t body = length == std::string::npos
                                 ? 0
                                 : std::stoul(text.substr(length + sizeof "Content-Length:"));
    if (head != std::string::npos && text.size() >= head + 4 + body) return text;
    const ssize_t count = ::read(connection, part.data(), part.size());
    if (count <= 0) return text;
    text.append(part.data(), static_cast<std::size_t>(count));
  }
}

void reply(int connection, const std::string& bytes) {
  EXPECT_EQ(static_cast<ssize_t>(bytes.size()),
            ::send(connection, bytes.data(), bytes.size(), MSG_NOSIGNAL));
}

/// Answers one connection, in a thread of its own.
class Server {
 public:
  using Handler = std::function<void(int connection, const std::string& request)>;

  explicit Server(Handler handler)
      : m_listener(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)),
        m_handler(std::move(handler)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    EXPECT_EQ(0, ::bind(m_listener.get(), reinterpret_cast<const sockaddr*>(&address), size));
    EXPECT_EQ(0, ::listen(m_listener.get(), 1));
    ::getsockname(m_listener.get(), reinterpret_cast<sockaddr*>(&address), &size);
    m_url = "http://127.0.0.1:" + std::to_string(::ntohs(address.sin_port));
    m_thread = std::thread([this] { serve(); });
  }
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;
  ~Server() {
    ::shutdown(m_listener.get(), SHUT_RDWR);
    m_thread.join();
  }

  const std::string& url() const { return m_url; }

 private:
  void serve() {
    const Descriptor connection(::accept4(m_listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
    if (connection) m_handler(connection.get(), readRequest(connection.get()));
  }

  Descriptor m_listener;
  Handler m_handler;
  std::string m_url;
  std::thread m_thread;  // last: it uses the others
};

HttpRequest requestOf(const std::string& url) {
  HttpRequest request;
  request.url = url;
  request.timeout = kPatience;
  return request;
}

/// Returns the next event; an empty one, as a failure, after `kPatience`.
HttpEvent nextEvent(HttpClient& client) {
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  while (std::chrono::steady_clock::now() < deadline) {
    std::vector<HttpEvent> events = client.poll(100ms);
    if (!events.empty()) return std::move(events.front());
  }
  ADD_FAILURE() << "nothing has happened";
  return {};
}

class HttpClientTest : public testing::Test {
 protected:
  HttpClient m_client{{}, 2s};
};

TEST_F(HttpClientTest, SendsWhatAGatewayNeeds) {
  std::string received;
  const Server server([&](int connection, const std::string& request) {
    received = request;
    reply(connection, "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n{}");
  });
  const agent::Configuration configuration;
  agent::Gateway gateway(configuration);
  gateway.setToken("a.token");
  m_client.start(gateway.list(server.url(), "/vexa/", 7));
  const HttpEvent event = nextEvent(m_client);
  EXPECT_TRUE(event.isEnd);
  EXPECT_EQ(200, event.status);
  EXPECT_EQ("{}", event.bytes);
  EXPECT_THAT(received, StartsWith("POST /v3/kv/range HTTP/1.1\r\n"));
  EXPECT_THAT(received, HasSubstr("\r\nGrpc-Metadata-hasleader: true\r\n"));
  EXPECT_THAT(received, HasSubstr("\r\nAuthorization: a.token\r\n"));
  EXPECT_THAT(received, testing::EndsWith("\r\n\r\n" + agent::listRequest("/vexa/", "/vexa/", 7)));
  EXPECT_THAT(received, Not(HasSubstr("Expect:")));
}

TEST_F(HttpClientTest, ReportsAStreamAsItArrives) {
  std::promise<void> isFirstSeen;
  const Server server([&](int connection, const std::string&) {
    reply(connection, "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n3\r\none\r\n");
    isFirstSeen.get_future().wait_for(kPatience);
    reply(connection, "3\r\ntwo\r\n0\r\n\r\n");
  });
  HttpRequest request = requestOf(server.url());
  request.isStream = true;
  const std::uint64_t id = m_client.start(request);
  const HttpEvent first = nextEvent(m_client);
  isFirstSeen.set_value();
  EXPECT_EQ(id, first.id);
  EXPECT_EQ("one", first.bytes);
  EXPECT_FALSE(first.isEnd);
  std::string rest;
  HttpEvent event;
  while (!event.isEnd) {
    event = nextEvent(m_client);
    rest += event.bytes;
    if (event.id == 0) return;
  }
  EXPECT_EQ("two", rest);
  EXPECT_EQ(HttpEvent::Problem::none, event.problem);
}

TEST_F(HttpClientTest, ReportsTheStatusAndTheBodyOfAnError) {
  const Server server([](int connection, const std::string&) {
    reply(connection, "HTTP/1.1 403 Forbidden\r\nContent-Length: 4\r\n\r\nno\r\n");
  });
  m_client.start(requestOf(server.url()));
  const HttpEvent event = nextEvent(m_client);
  EXPECT_EQ(403, event.status);
  EXPECT_EQ("no\r\n", event.bytes);
  EXPECT_TRUE(event.isSent);
}

TEST_F(HttpClientTest, GivesUpAfterTheTimeout) {
  std::promise<void> isOver;
  const Server server([&](int, const std::string&) { isOver.get_future().wait_for(kPatience); });
  HttpRequest request = requestOf(server.url());
  request.timeout = 50ms;
  m_client.start(request);
  const HttpEvent event = nextEvent(m_client);
  isOver.set_value();
  EXPECT_EQ(HttpEvent::Problem::timeout, event.problem);
  EXPECT_TRUE(event.isSent);
}

TEST_F(HttpClientTest, TellsAServerThatIsGoneFromOneThatEndsEarly) {
  std::string url;
  {
    const Server gone([](int, const std::string&) {});
    url = gone.url();
  }
  m_client.start(requestOf(url));
  const HttpEvent unreachable = nextEvent(m_client);
  EXPECT_EQ(HttpEvent::Problem::unreachable, unreachable.problem);
  EXPECT_FALSE(unreachable.isSent);
  EXPECT_NE("", unreachable.problemText);

  const Server ending([](int connection, const std::string&) {
    reply(connection, "HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf");
  });
  m_client.start(requestOf(ending.url()));
  const HttpEvent half = nextEvent(m_client);
  EXPECT_EQ(HttpEvent::Problem::other, half.problem);
  EXPECT_TRUE(half.isSent);
}

TEST_F(HttpClientTest, ReportsNothingOfACanceledRequest) {
  const Server canceled([](int, const std::string&) {});
  const Server other([](int connection, const std::string&) {
    reply(connection, "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok");
  });
  m_client.cancel(m_client.start(requestOf(canceled.url())));
  const std::uint64_t id = m_client.start(requestOf(other.url()));
  EXPECT_EQ(id, nextEvent(m_client).id);
}

TEST_F(HttpClientTest, EndsAWaitWhenTheOtherDescriptorIsReadable) {
  std::array<int, 2> ends{};
  ASSERT_EQ(0, ::pipe2(ends.data(), O_CLOEXEC));
  const Descriptor readEnd(ends[0]);
  const Descriptor writeEnd(ends[1]);
  ASSERT_EQ(1, ::write(writeEnd.get(), "x", 1));
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_TRUE(m_client.poll(kPatience, readEnd.get()).empty());
  EXPECT_LT(std::chrono::steady_clock::now() - begin, kPatience / 2);
}

}  // namespace
