#include "commutil-settings/http_client.h"

#include <VexaVersion.h>
#include <curl/curl.h>

#include <array>
#include <stdexcept>
#include <utility>

namespace agent {
namespace {

constexpr std::size_t kMostBytes = std::size_t{128} << 20;  // of a reply
constexpr long kKeepAliveIdle = 20;                         // s
constexpr long kKeepAliveInterval = 5;

struct EasyCloser {
  void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
};
using EasyHandle = std::unique_ptr<CURL, EasyCloser>;

struct MultiCloser {
  void operator()(CURLM* handle) const { curl_multi_cleanup(handle); }
};

struct ListCloser {
  void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};
using HeaderList = std::unique_ptr<curl_slist, ListCloser>;

HeaderList headerList(const std::vector<std::string>& headers) {
  HeaderList list;
  for (const std::string& header : headers) {
    curl_slist* const longer = curl_slist_append(list.get(), header.c_str());
    if (longer == nullptr) throw std::bad_alloc();
    static_cast<void>(list.release());  // the longer list has all of it
    list.reset(longer);
  }
  return list;
}

template <class Value>
void set(CURL* handle, CURLoption option, Value value) {
  const CURLcode code = curl_easy_setopt(handle, option, value);
  if (code != CURLE_OK) throw std::runtime_error(curl_easy_strerror(code));
}

HttpEvent::Problem problemOf(CURLcode code) {
  if (code == CURLE_OK) return HttpEvent::Problem::none;
  if (code == CURLE_OPERATION_TIMEDOUT) return HttpEvent::Problem::timeout;
  if (code == CURLE_COULDNT_CONNECT || code == CURLE_COULDNT_RESOLVE_HOST)
    return HttpEvent::Problem::unreachable;
  return HttpEvent::Problem::other;
}

}  // namespace

struct HttpClient::Library {
  std::unique_ptr<CURLM, MultiCloser> multi{curl_multi_init()};
};

struct HttpClient::Transfer {
  std::uint64_t id = 0;
  bool isStream = false;
  bool isTooLong = false;
  std::string bytes;
  HeaderList headers;
  std::array<char, CURL_ERROR_SIZE> problem{};
  CURLM* multi = nullptr;
  EasyHandle handle;

  Transfer() = default;
  Transfer(const Transfer&) = delete;
  Transfer& operator=(const Transfer&) = delete;
  ~Transfer() {
    if (handle) curl_multi_remove_handle(multi, handle.get());
  }

  static std::size_t receive(char* data, std::size_t size, std::size_t count, void* self) {
    auto& transfer = *static_cast<Transfer*>(self);
    const std::size_t length = size * count;
    transfer.isTooLong = length > kMostBytes - transfer.bytes.size();
    if (transfer.isTooLong) return 0;  // fails the transfer
    transfer.bytes.append(data, length);
    return length;
  }
};

HttpClient::HttpClient(const TlsFiles& tls, std::chrono::milliseconds connectTimeout)
    : m_tls(tls), m_connectTimeout(connectTimeout) {
  static const CURLcode global = curl_global_init(CURL_GLOBAL_DEFAULT);
  if (global != CURLE_OK) throw std::runtime_error(curl_easy_strerror(global));
  m_library = std::make_unique<Library>();
  if (!m_library->multi) throw std::bad_alloc();
}

HttpClient::~HttpClient() = default;

std::uint64_t HttpClient::start(const HttpRequest& request) {
  auto transfer = std::make_unique<Transfer>();
  transfer->id = ++m_lastId;
  transfer->isStream = request.isStream;
  transfer->headers = headerList(request.headers);
  EasyHandle owner(curl_easy_init());
  if (!owner) throw std::bad_alloc();
  CURL* const handle = owner.get();
  set(handle, CURLOPT_URL, request.url.c_str());
  set(handle, CURLOPT_PROTOCOLS_STR, "http,https");
  set(handle, CURLOPT_HTTP_VERSION, CURL_HTTP_VERSION_1_1);
  set(handle, CURLOPT_NOPROXY, "*");
  set(handle, CURLOPT_NOSIGNAL, 1L);
  set(handle, CURLOPT_USERAGENT, "commutil-settings/" VEXA_COMMUTIL_VERSION);
  set(handle, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(m_connectTimeout.count()));
  set(handle, CURLOPT_TIMEOUT_MS, static_cast<long>(request.timeout.count()));
  set(handle, CURLOPT_TCP_KEEPALIVE, 1L);
  set(handle, CURLOPT_TCP_KEEPIDLE, kKeepAliveIdle);
  set(handle, CURLOPT_TCP_KEEPINTVL, kKeepAliveInterval);
  set(handle, CURLOPT_CA_CACHE_TIMEOUT, 0L);  // a replaced file is used from the next connection on
  if (!m_tls.ca.empty()) set(handle, CURLOPT_CAINFO, m_tls.ca.c_str());
  if (!m_tls.certificate.empty()) set(handle, CURLOPT_SSLCERT, m_tls.certificate.c_str());
  if (!m_tls.key.empty()) set(handle, CURLOPT_SSLKEY, m_tls.key.c_str());
  if (request.isStream) set(handle, CURLOPT_FRESH_CONNECT, 1L);
  if (!request.body.empty()) {
    set(handle, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body.size()));
    set(handle, CURLOPT_COPYPOSTFIELDS, request.body.data());
  }
  set(handle, CURLOPT_HTTPHEADER, transfer->headers.get());
  set(handle, CURLOPT_WRITEFUNCTION, &Transfer::receive);
  set(handle, CURLOPT_WRITEDATA, static_cast<void*>(transfer.get()));
  set(handle, CURLOPT_ERRORBUFFER, transfer->problem.data());
  set(handle, CURLOPT_PRIVATE, static_cast<void*>(transfer.get()));
  transfer->multi = m_library->multi.get();
  if (curl_multi_add_handle(transfer->multi, handle) != CURLM_OK) throw std::bad_alloc();
  transfer->handle = std::move(owner);
  return m_transfers.emplace(m_lastId, std::move(transfer)).first->first;
}

void HttpClient::cancel(std::uint64_t id) { m_transfers.erase(id); }

void HttpClient::finish(void* handle, int code) {
  char* self = nullptr;
  curl_easy_getinfo(handle, CURLINFO_PRIVATE, &self);
  auto& transfer = *reinterpret_cast<Transfer*>(self);
  HttpEvent event;
  event.id = transfer.id;
  event.isEnd = true;
  event.bytes.swap(transfer.bytes);
  event.problem = problemOf(static_cast<CURLcode>(code));
  curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &event.status);
  long sentBytes = 0;
  curl_easy_getinfo(handle, CURLINFO_REQUEST_SIZE, &sentBytes);
  event.isSent = sentBytes > 0;
  if (event.problem != HttpEvent::Problem::none) {
    event.problemText = transfer.isTooLong ? "a reply of more than 128 MiB"
                        : transfer.problem.front() != '\0'
                            ? transfer.problem.data()
                            : curl_easy_strerror(static_cast<CURLcode>(code));
  }
  m_events.push_back(std::move(event));
  m_transfers.erase(transfer.id);
}

std::vector<HttpEvent> HttpClient::poll(std::chrono::milliseconds timeout, int wakeUp) {
  CURLM* const multi = m_library->multi.get();
  curl_waitfd extra{wakeUp, CURL_WAIT_POLLIN, 0};
  const unsigned extras = wakeUp < 0 ? 0 : 1;
  int running = 0;
  curl_multi_perform(multi, &running);
  int left = 0;
  bool isReady = false;
  for (const auto& [id, transfer] : m_transfers)
    isReady |= transfer->isStream && !transfer->bytes.empty();
  const CURLMsg* message = curl_multi_info_read(multi, &left);
  if (message == nullptr && !isReady) {
    curl_multi_poll(multi, extras != 0 ? &extra : nullptr, extras,
                    static_cast<int>(timeout.count()), nullptr);
    curl_multi_perform(multi, &running);
    message = curl_multi_info_read(multi, &left);
  }
  for (; message != nullptr; message = curl_multi_info_read(multi, &left))
    if (message->msg == CURLMSG_DONE) finish(message->easy_handle, message->data.result);
  for (const auto& [id, transfer] : m_transfers) {
    if (!transfer->isStream || transfer->bytes.empty()) continue;
    HttpEvent event;
    event.id = id;
    event.bytes.swap(transfer->bytes);
    m_events.push_back(std::move(event));
  }
  return std::exchange(m_events, {});
}

}  // namespace agent
