// The embedded store: one JSON file, re-read when an operator changes it. Every look-up looks at
// the file's state; one mutex guards the reading, the document itself is read without it.
#include "file_backend.h"

#include <fcntl.h>

#include <cstdio>
#include <exception>
#include <functional>
#include <new>
#include <tuple>
#include <utility>

#include "os/file_io.h"
#include "os/handles.h"

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

}  // namespace

FileBackend::Identity::Identity(const struct stat& status)
    : device(status.st_dev), inode(status.st_ino), size(status.st_size), modified(status.st_mtim) {}

bool FileBackend::Identity::operator==(const Identity& other) const {
  return device == other.device && inode == other.inode && size == other.size &&
         modified.tv_sec == other.modified.tv_sec && modified.tv_nsec == other.modified.tv_nsec;
}

FileBackend::FileBackend(std::string path) : m_path(std::move(path)) {}

bool FileBackend::findValue(const std::string& key, std::string& value) {
  const std::shared_ptr<const Document> document = current();
  const std::string* const found = document ? document->find(key) : nullptr;
  if (found == nullptr) return false;
  value = *found;
  return true;
}

bool FileBackend::findGroup(const std::string& group, std::map<std::string, std::string>& params) {
  const std::shared_ptr<const Document> document = current();
  if (!document) return false;
  std::map<std::string, std::string> found = document->below(group);
  if (found.empty()) return false;
  params.swap(found);
  return true;
}

std::shared_ptr<const Document> FileBackend::current() {
  const std::lock_guard<std::mutex> guard(m_mutex);
  struct stat status {};
  // Checked first, because opening a FIFO or a device has effects.
  if (::stat(m_path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return nullptr;
  return m_identity && *m_identity == Identity(status) ? m_document : reload();
}

std::shared_ptr<const Document> FileBackend::reload() {
  m_identity.reset();
  // Not blocking, so that a pipe in the file's place cannot hold the caller.
  const commutil::Descriptor file = commutil::openFile(m_path, O_RDONLY | O_NONBLOCK);
  struct stat status {};
  if (!file || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) return nullptr;
  const std::timespec readAt = fileClock();
  std::string text;
  if (!commutil::readAll(file.get(), text)) return nullptr;
  accept(text);
  // A file modified in this very tick may change once more without showing it: look again.
  if (isBefore(status.st_mtim, readAt)) m_identity.emplace(status);
  return m_document;
}

void FileBackend::accept(const std::string& text) {
  try {
    m_document = std::make_shared<const Document>(text);
    m_rejected.reset();
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& error) {
    reject(text, error.what());
  }
}

void FileBackend::reject(const std::string& text, const char* reason) {
  const std::size_t hash = std::hash<std::string>()(text);
  if (m_rejected == hash) return;
  m_rejected = hash;
  std::fprintf(stderr, "settingrest: %s is malformed (%s); %s\n", m_path.c_str(), reason,
               m_document ? "what was read before stays in use" : "there are no settings");
}

}  // namespace settingrest
