#include "faults/fault.h"

#include <cxxabi.h>
#include <dlfcn.h>
#include <execinfo.h>
#include <link.h>
#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>

namespace commutil_faults {
namespace {

constexpr std::size_t kFrames = 40;
constexpr std::size_t kNameSize = 160;
constexpr std::string_view kProgram = "faults_test";
constexpr std::string_view kLibrary = "libcommutil.so";

struct Frame {
  char library[64];
  char function[kNameSize];
};

/// Shared with the children, to be read even after they crash.
struct Record {
  CallCounts counts;
  bool armed;
  bool struck;
  std::size_t frames;
  std::array<Frame, kFrames> stack;
};

Record* record = nullptr;
Fault armedFault;
bool isArmed = false;  // in this process, for functions

void keep(char* to, std::size_t size, const char* text) {
  const std::size_t length = std::min(std::strlen(text), size - 1);
  std::memcpy(to, text, length);
  to[length] = '\0';
}

/// Names the functions while their libraries are loaded, without allocating.
void keepStack() {
  std::array<void*, kFrames> addresses{};
  record->frames =
      static_cast<std::size_t>(::backtrace(addresses.data(), static_cast<int>(kFrames)));
  for (std::size_t i = 0; i < record->frames; ++i) {
    Dl_info info{};
    const ElfW(Sym)* symbol = nullptr;
    ::dladdr1(addresses[i], &info, reinterpret_cast<void**>(const_cast<ElfW(Sym)**>(&symbol)),
              RTLD_DL_SYMENT);
    const char* const path = info.dli_fname != nullptr ? info.dli_fname : "";
    const char* const slash = std::strrchr(path, '/');
    // The found symbol is the nearest one before: a local function is after its end.
    const auto* const start = static_cast<const char*>(info.dli_saddr);
    const bool inside = symbol != nullptr && start != nullptr &&
                        static_cast<const char*>(addresses[i]) <= start + symbol->st_size;
    Frame& frame = record->stack[i];
    keep(frame.library, sizeof frame.library, slash != nullptr ? slash + 1 : path);
    keep(frame.function, sizeof frame.function, inside ? info.dli_sname : "");
  }
}

std::string readable(const char* symbol) {
  int status = 0;
  const std::unique_ptr<char, decltype(&std::free)> name(
      abi::__cxa_demangle(symbol, nullptr, nullptr, &status), &std::free);
  return status == 0 && name ? name.get() : symbol;
}

bool isOwn(const Frame& frame) { return std::string_view(frame.library) == kProgram; }

/// Returns the index after the frames of the operation. Replaced functions may be among them, and
/// its own frame is missing if its last step is the failing call.
std::size_t endOfOperation() {
  for (std::size_t i = record->frames; i > 0; --i) {
    if (std::string_view(record->stack[i - 1].library).substr(0, kLibrary.size()) == kLibrary)
      return i;
  }
  std::size_t i = 0;
  while (i < record->frames && !isOwn(record->stack[i])) ++i;
  while (i < record->frames && isOwn(record->stack[i])) ++i;
  while (i < record->frames && !isOwn(record->stack[i])) ++i;
  return i;
}

}  // namespace

void prepareFaults() {
  if (record != nullptr) return;
  void* const shared =
      ::mmap(nullptr, sizeof(Record), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (shared == MAP_FAILED) std::abort();
  record = static_cast<Record*>(shared);
  keepStack();  // the first backtrace(3) of a process loads a library
}

void arm(const Fault& fault) {
  record->counts = {};
  record->armed = true;
  record->struck = false;
  record->frames = 0;
  armedFault = fault;
  if (fault.level == Level::function) {
    isArmed = true;
    return;
  }
  ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
  ::syscall(SYS_kill, ::getpid(), SIGSTOP);  // not raise(3), which calls the kernel afterwards
}

void disarm() {
  isArmed = false;
  if (!record->armed) return;
  record->armed = false;
  if (armedFault.level == Level::system) ::syscall(SYS_getppid);  // here the tracer detaches
}

void disarmChild() { isArmed = false; }

int errorDue(std::size_t call) {
  if (!isArmed) return 0;
  const unsigned count = ++record->counts[call];
  if (call != armedFault.call || count != armedFault.occurrence) return 0;
  isArmed = false;
  keepStack();
  isArmed = true;
  record->struck = true;
  return armedFault.error;
}

int errorDueInKernel(std::size_t call, const Fault& fault) {
  const unsigned count = ++record->counts[call];
  if (call != fault.call || count != fault.occurrence) return 0;
  record->struck = true;
  return fault.error;
}

bool isArmedInChild() { return record->armed; }

// The stack is wherever the failing call has left it.
[[gnu::force_align_arg_pointer]] void keepStackAndStop() {
  keepStack();
  asm volatile("int3");
}

CallCounts counts() { return record->counts; }

bool struck() { return record->struck; }

std::vector<std::string> stackOfFault() {
  std::vector<std::string> stack;
  const std::size_t end = endOfOperation();
  bool replaced = false;  // after the frames that keep the stack, which are this program's
  for (std::size_t i = 0; i < end; ++i) {
    const Frame& frame = record->stack[i];
    replaced = replaced || isOwn(frame);
    if (!isOwn(frame) && replaced)
      stack.push_back(std::string(frame.library) + "!" + readable(frame.function));
  }
  return stack;
}

}  // namespace commutil_faults
