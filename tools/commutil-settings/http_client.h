#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "commutil-settings/configuration.h"

namespace agent {

struct HttpRequest {
  std::string url;
  std::string body;  ///< posted as JSON; "" for a GET
  std::vector<std::string> headers;
  std::chrono::milliseconds timeout{};  ///< 0: none
  bool isStream = false;                ///< bytes are reported as they arrive
};

/// What has happened to a request.
struct HttpEvent {
  enum class Problem { none, unreachable, timeout, other };
  std::uint64_t id = 0;
  bool isEnd = false;
  std::string bytes;    ///< of a stream: what has arrived; else, at the end, the whole reply
  long status = 0;      ///< at the end
  bool isSent = false;  ///< at the end: whether the server may have got the request
  Problem problem = Problem::none;
  std::string problemText;
};

/// Requests to HTTP servers, many at a time on the caller's thread. The resolver of the HTTP
/// library may start threads that live as long as a lookup.
class HttpClient {
 public:
  HttpClient(const TlsFiles& tls, std::chrono::milliseconds connectTimeout);
  HttpClient(const HttpClient&) = delete;
  HttpClient& operator=(const HttpClient&) = delete;
  ~HttpClient();

  /// Starts a request; its events carry the number that is returned.
  std::uint64_t start(const HttpRequest& request);

  /// Gives up a request: no event of it follows.
  void cancel(std::uint64_t id);

  /// Waits for at most `timeout` or until `wakeUp`, unless negative, is readable; returns what has
  /// happened.
  std::vector<HttpEvent> poll(std::chrono::milliseconds timeout, int wakeUp = -1);

 private:
  struct Transfer;
  struct Library;

  void finish(void* handle, int code);

  TlsFiles m_tls;
  std::chrono::milliseconds m_connectTimeout;
  std::unique_ptr<Library> m_library;  // before the transfers, which it outlives
  std::map<std::uint64_t, std::unique_ptr<Transfer>> m_transfers;
  std::uint64_t m_lastId = 0;
  std::vector<HttpEvent> m_events;
};

}  // namespace agent
