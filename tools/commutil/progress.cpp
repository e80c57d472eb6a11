#include "progress.h"

#include <pthread.h>
#include <unistd.h>

#include <csignal>
#include <string_view>
#include <utility>

#include "output.h"

namespace {

constexpr std::chrono::seconds kInterval{1};
constexpr std::string_view kEraseLine = "\r\033[K";

Progress* current = nullptr;

void writeLine(std::string_view text) {
  // Not stdio: a child may be forked at any moment, and must not find stdio's lock taken.
  if (::write(STDERR_FILENO, text.data(), text.size()) < 0) return;
}

/// Starts a thread with all signals blocked, so that the main thread receives them.
template <class Body>
std::thread startSilently(Body body) {
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  ::pthread_sigmask(SIG_SETMASK, &all, &before);
  std::thread thread(body);
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  return thread;
}

}  // namespace

Progress::Progress(std::string what) : m_what(std::move(what)) {
  if (::isatty(STDERR_FILENO) != 1) return;
  current = this;
  m_thread = startSilently([this] { run(); });
}

Progress::~Progress() {
  if (!m_thread.joinable()) return;
  {
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_isEnding = true;
  }
  m_changed.notify_one();
  m_thread.join();
  hide();
  current = nullptr;
}

void Progress::update(const std::string& what) {
  const std::lock_guard<std::mutex> guard(m_mutex);
  m_what = what;
}

void Progress::hide() {
  if (current == nullptr) return;
  const std::lock_guard<std::mutex> guard(current->m_mutex);
  if (std::exchange(current->m_isShown, false)) writeLine(kEraseLine);
}

void Progress::run() {
  std::unique_lock<std::mutex> lock(m_mutex);
  while (!m_changed.wait_for(lock, kInterval, [this] { return m_isEnding; })) show();
}

void Progress::show() {
  const auto elapsed = std::chrono::steady_clock::now() - m_begin;
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(elapsed).count();
  writeLine(std::string(kEraseLine) + "commutil: " + printable(m_what) + " (" +
            std::to_string(seconds) + " s)");
  m_isShown = true;
}
