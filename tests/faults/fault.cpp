#include "faults/fault.h"

#include <cxxabi.h>
#include <dlfcn.h>
#include <execinfo.h>
#include <link.h>
#include <sys/mman.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>

namespace commutil_faults {
namespace {

constexpr std::size_t kFrames = 40;
constexpr std::size_t kNameSize = 160;
constexpr std::string_view kProgram = "faults_test";

struct Frame {
  char library[64];
  char function[kNameSize];
};

/// Shared with the children, to be read even after they crash.
struct Record {
  CallCounts counts;
  bool struck;
  std::size_t frames;
  std::array<Frame, kFrames> stack;
};

Record* record = nullptr;
Fault armedFault;
bool isArmed = false;

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
  record->struck = false;
  record->frames = 0;
  armedFault = fault;
  isArmed = true;
}

void disarm() { isArmed = false; }

bool mustFail(Function function) {
  if (!isArmed) return false;
  const unsigned count = ++record->counts[static_cast<std::size_t>(function)];
  if (function != armedFault.function || count != armedFault.occurrence) return false;
  isArmed = false;
  keepStack();
  isArmed = true;
  record->struck = true;
  return true;
}

CallCounts counts() { return record->counts; }

bool struck() { return record->struck; }

std::vector<std::string> stackOfFault() {
  std::vector<std::string> stack;
  bool replaced = false;  // after the frames of the replaced function, which are this program's
  for (std::size_t i = 0; i < record->frames; ++i) {
    const Frame& frame = record->stack[i];
    const bool own = std::string_view(frame.library) == kProgram;
    if (own && !stack.empty()) break;  // the caller of the operation
    replaced = replaced || own;
    if (!own && replaced)
      stack.push_back(std::string(frame.library) + "!" + readable(frame.function));
  }
  return stack;
}

}  // namespace commutil_faults
