// The embedded store: one JSON file, re-read when an operator changes it. Every lookup checks the
// file's status. Takes no lock: threads that see a change at the same moment each read the file.
#include "file_backend.h"

#include <fcntl.h>

#include <ctime>
#include <exception>
#include <functional>
#include <new>
#include <tuple>
#include <utility>

#include "os/file_io.h"
#include "os/handles.h"
#include "report.h"

namespace settingrest {
namespace {

bool isBefore(const std::timespec& a, const std::timespec& b) {
  return std::tie(a.tv_sec, a.tv_nsec) < std::tie(b.tv_sec, b.tv_nsec);
}

/// The clock that the kernel stamps files with: a file modified before this moment gets another
/// time when it is modified after it.
std::timespec fileClock() {
  std::timespec now{};
  ::clock_gettime(CLOCK_REALTIME_COARSE, &now);
  return now;
}

/// Parses `text`. Returns null with the `reason` if it is malformed.
std::shared_ptr<const Document> parse(const std::string& text, std::string& reason) {
  try {
    return std::make_shared<const Document>(text);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& error) {
    reason = error.what();
    return nullptr;
  }
}

}  // namespace

FileBackend::FileBackend(std::string path) : m_path(std::move(path)) {}

Answer FileBackend::findValue(const std::string& key, std::string& value) {
  const Reading reading = current();
  const Document* const document = reading.document();
  const std::string* const found = document != nullptr ? document->find(key) : nullptr;
  if (found == nullptr) return Answer::absent;
  value = *found;
  return Answer::found;
}

Answer FileBackend::findGroup(const std::string& group,
                              std::map<std::string, std::string>& params) {
  const Reading reading = current();
  const Document* const document = reading.document();
  if (document == nullptr) return Answer::absent;
  std::map<std::string, std::string> found = document->below(group);
  if (found.empty()) return Answer::absent;
  params.swap(found);
  return Answer::found;
}

FileBackend::Reading FileBackend::current() {
  struct stat status {};
  if (::stat(m_path.c_str(), &status) != 0) return {};
  Published<Contents>::Pin last = m_contents.pin();
  if (last && last->identity == FileIdentity(status)) return {std::move(last), nullptr};
  return reload(std::move(last));
}

FileBackend::Reading FileBackend::reload(Published<Contents>::Pin last) {
  // Not blocking, so that a pipe in the file's place cannot hold the caller.
  const commutil::Descriptor file(::open(m_path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status {};
  if (!file || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) return {};
  const std::timespec readAt = fileClock();
  std::string text;
  if (!commutil::readAll(file.get(), text)) return {};
  Contents next;
  // A file modified in this very tick may change once more without showing it: read it again.
  if (isBefore(status.st_mtim, readAt)) next.identity.emplace(status);
  std::string reason;
  next.document = parse(text, reason);
  const bool isMalformed = !next.document;
  if (isMalformed) {
    if (last) next.document = last->document;
    next.rejected = std::hash<std::string>()(text);
  }
  const bool isNews = isMalformed && !(last && last->rejected == next.rejected);
  Reading reading{{}, next.document};
  // If another thread has published what it read, this lookup still answers from its own reading.
  if (m_contents.replace(last, std::move(next)) && isNews) report(reason, reading.own != nullptr);
  last = Published<Contents>::Pin();
  m_contents.reap();
  return reading;
}

void FileBackend::report(const std::string& reason, bool hasDocument) const {
  settingrest::report(
      m_path + " is malformed (" + reason + "); " +
      (hasDocument ? "what was read before stays in use" : "there are no settings"));
}

}  // namespace settingrest
