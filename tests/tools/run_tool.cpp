#include "tools/run_tool.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <json/reader.h>
#include <pty.h>
#include <sys/ptrace.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <memory>

namespace commutil_test {
namespace {

constexpr int kCannotRun = 127;

void redirect(int fd, const std::string& path, int flags) {
  const int file = ::open(path.c_str(), flags, 0600);
  if (file < 0 || ::dup2(file, fd) < 0) ::_exit(kCannotRun);
  ::close(file);
}

[[noreturn]] void become(const std::vector<std::string>& words, const Environment& environment) {
  for (const auto& [name, value] : environment)
    value ? ::setenv(name.c_str(), value->c_str(), 1) : ::unsetenv(name.c_str());
  // ACE takes the two locks of its library loader in both orders. The command has one thread.
  ::setenv("TSAN_OPTIONS", "detect_deadlocks=0", 0);
  std::vector<char*> arguments;
  arguments.reserve(words.size() + 1);
  for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  ::execv(arguments[0], arguments.data());
  ::_exit(kCannotRun);
}

[[noreturn]] void become(const std::vector<std::string>& words, const Environment& environment,
                         const TempDir& dir) {
  redirect(0, dir / "in", O_RDONLY);
  redirect(1, dir / "out", O_WRONLY | O_CREAT);
  redirect(2, dir / "err", O_WRONLY | O_CREAT);
  become(words, environment);
}

int codeOf(pid_t child) {
  int status = 0;
  EXPECT_EQ(child, ::waitpid(child, &status, 0));
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

}  // namespace

Json::Value ProcessResult::json() const {
  Json::Value root;
  std::string errors;
  const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
  EXPECT_TRUE(reader->parse(out.data(), out.data() + out.size(), &root, &errors)) << out << errors;
  return root;
}

ProcessResult runProcess(const std::vector<std::string>& words, const Environment& environment,
                         const std::string& input) {
  const TempDir dir;
  dir.write("in", input);
  const pid_t child = ::fork();
  if (child == 0) become(words, environment, dir);
  const int code = codeOf(child);
  return {code, readFile(dir / "out"), readFile(dir / "err")};
}

TerminalRun::TerminalRun(const std::vector<std::string>& words, const Environment& environment) {
  m_child = ::forkpty(&m_terminal, nullptr, nullptr, nullptr);
  if (m_child == 0) become(words, environment);
}

TerminalRun::~TerminalRun() { ::close(m_terminal); }

bool TerminalRun::readPiece() {
  std::array<char, 4096> piece{};
  const ssize_t count = ::read(m_terminal, piece.data(), piece.size());
  if (count > 0) m_output.append(piece.data(), static_cast<std::size_t>(count));
  return count > 0;  // EIO: the other side is closed
}

void TerminalRun::waitFor(const std::string& text) {
  while (m_output.find(text) == std::string::npos)
    if (!readPiece()) FAIL() << "the command ended with: " << m_output;
}

ProcessResult TerminalRun::finish() {
  while (readPiece()) {
  }
  return {codeOf(m_child), m_output, ""};
}

bool runUntilCall(const std::vector<std::string>& words, const Environment& environment,
                  const std::set<long>& calls, int count) {
  const TempDir dir;
  dir.write("in", "");
  const pid_t child = ::fork();
  if (child == 0) {
    ::setenv("ASAN_OPTIONS", "detect_leaks=0", 1);  // it needs ptrace itself
    if (::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) ::_exit(kCannotRun);
    become(words, environment, dir);
  }
  int status = 0;
  EXPECT_EQ(child, ::waitpid(child, &status, 0));
  EXPECT_TRUE(WIFSTOPPED(status));
  ::ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
  for (bool isEntry = false; WIFSTOPPED(status);) {
    ::ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
    EXPECT_EQ(child, ::waitpid(child, &status, 0));
    if (!WIFSTOPPED(status) || WSTOPSIG(status) != (SIGTRAP | 0x80)) continue;
    isEntry = !isEntry;
    user_regs_struct registers{};
    ::ptrace(PTRACE_GETREGS, child, nullptr, &registers);
    if (isEntry && calls.count(static_cast<long>(registers.orig_rax)) != 0 && --count == 0)
      ::kill(child, SIGKILL);
  }
  return WIFSIGNALED(status);
}

Deployment::Deployment()
    : environment{{"_APP_SHARE_DIR", m_dir / "share"},
                  {"APP_ROOT", m_dir / "app"},
                  {"COMMON_LIB_PATH", m_dir / "common"},
                  {"COMMON_SHARE_PATH", m_dir / "omc"},
                  {"QORV_ROOT", m_dir / "cluster"},
                  {"_APP_LOG_DIR", m_dir / "logs"},
                  {"APP_NAME", "inventory"},
                  {"PROCESS_INSTANCE_ID", "7"},
                  {"APP_CONF_FILE", m_dir / "app/conf/inventory.json"},
                  {"VEXA_DUMP_ALL_LOCKS_FILE", std::nullopt},
                  {"SETTINGREST_URL", std::nullopt},
                  {"LD_LIBRARY_PATH", SETTINGREST_DIR}} {
  std::filesystem::copy(COMMUTIL_DEPLOYMENT, m_dir.path(),
                        std::filesystem::copy_options::recursive);
}

std::string Deployment::tool() { return COMMUTIL_TOOL; }

ProcessResult Deployment::run(const std::vector<std::string>& words,
                              const std::string& input) const {
  std::vector<std::string> line{COMMUTIL_TOOL};
  line.insert(line.end(), words.begin(), words.end());
  return runProcess(line, environment, input);
}

ProcessResult Deployment::runInto(const std::string& path,
                                  const std::vector<std::string>& words) const {
  std::vector<std::string> line{"/bin/sh", "-c", "out=$1; shift; exec \"$@\" >\"$out\"",
                                "sh",      path, COMMUTIL_TOOL};
  line.insert(line.end(), words.begin(), words.end());
  return runProcess(line, environment);
}

ProcessResult runDemo(const Environment& environment) {
  return runProcess({COMMUTIL_DEMO, COMMUTIL_BUILD_DIR}, environment);
}

}  // namespace commutil_test
