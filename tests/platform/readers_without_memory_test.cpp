// Fails each allocation of the readers of configuration files: lack of memory is an exception,
// never an unreadable file or a malformed document.
#include <gtest/gtest.h>
#include <json/value.h>

#include <list>
#include <new>
#include <string>

#include "os/file_text.h"
#include "platform/ini_reader.h"
#include "platform/json_reader.h"
#include "support/failing_allocations.h"
#include "support/fixtures.h"
#include "support/system_calls.h"

#include <sys/syscall.h>

namespace {

using commutil::readFileText;
using commutil_test::failEachAllocation;
using commutil_test::failSystemCall;
using commutil_test::runInChild;
using commutil_test::TempDir;

/// The outcome of a call: its result, or the exception.
enum class Outcome { success, failure, outOfMemory };

template <class Call>
Outcome outcomeOf(const Call& call) {
  try {
    return call() ? Outcome::success : Outcome::failure;
  } catch (const std::bad_alloc&) {
    return Outcome::outOfMemory;
  }
}

/// Expects that `call` succeeds without a failure, and with one succeeds or throws.
template <class Call>
void expectNeverAFailure(const Call& call) {
  Outcome last = Outcome::failure;
  std::size_t failures = 0;
  std::size_t thrown = 0;
  failEachAllocation([&] {
    last = outcomeOf(call);
    if (last == Outcome::failure) ++failures;
    if (last == Outcome::outOfMemory) ++thrown;
  });
  EXPECT_EQ(Outcome::success, last);
  EXPECT_EQ(0U, failures);
  EXPECT_LT(0U, thrown);
}

TEST(ReadersWithoutMemory, AFileIsNeverUnreadable) {
  const TempDir dir;
  const std::string path = dir.write("a.cfg", std::string(100'000, 'x'));
  expectNeverAFailure([&path] {
    std::string text;
    return readFileText(path, text) && text.size() == 100'000;
  });
}

TEST(ReadersWithoutMemory, AFileIsNotUnreadableIfTheKernelLacksMemory) {
  const TempDir dir;
  const std::string path = dir.write("a.cfg", "[IP]\nkey=value\n");
  for (const long number : {SYS_openat, SYS_read}) {
    runInChild([&path, number] {
      std::string text = "before";
      failSystemCall(number, ENOMEM);
      EXPECT_THROW(readFileText(path, text), std::bad_alloc);
      EXPECT_EQ("before", text);
    });
  }
}

TEST(ReadersWithoutMemory, AnIniFileIsNeverUnreadable) {
  // In a child, because SimpleIni leaks.
  runInChild([] {
    const TempDir dir;
    const std::string path =
        dir.write("a.cfg", "; a comment\n[IP]\nkey=value\nkey=other\n[UnsafeWord]\na=rm -rf\n");
    expectNeverAFailure([&path] {
      VexaIniReader reader(path);
      if (reader.initialize(false) != 0) return false;
      std::list<VexaIniReader::IniNode> nodes;
      reader.getParamList("[UnsafeWord]", nodes);
      return reader.getParamValue("[IP]", "key") == "value" && nodes.size() == 1;
    });
  });
}

TEST(ReadersWithoutMemory, AReaderHoldsNothingAfterwards) {
  runInChild([] {
    const TempDir dir;
    VexaIniReader reader(dir.write("a.cfg", "[IP]\nkey=value\n"));
    ASSERT_EQ(0, reader.initialize(false));
    failEachAllocation([&reader] {
      if (outcomeOf([&reader] { return reader.initialize(false) == 0; }) == Outcome::success)
        return;
      EXPECT_EQ("", reader.getParamValue("[IP]", "key"));
    });
    EXPECT_EQ(0, reader.initialize(false));
    EXPECT_EQ("value", reader.getParamValue("[IP]", "key"));
  });
}

TEST(ReadersWithoutMemory, AJsonDocumentIsNeverMalformed) {
  const std::string text = R"({"text": "a string that has to be copied", "real": 5.25,
    "large": 123456789012345678901234567890, "list": [1, true, null, {"below": "\u00e4"}]})";
  for (const bool strict : {false, true}) {
    expectNeverAFailure([&text, strict] {
      Json::Value root;
      return JsonReader(strict).parse(text, root) && root["real"] == 5.25 &&
             root["list"].size() == 4;
    });
  }
}

TEST(ReadersWithoutMemory, ADocumentNestedTooDeepIsStillMalformed) {
  Json::Value root;
  EXPECT_FALSE(JsonReader(false).parse(std::string(1001, '[') + std::string(1001, ']'), root));
}

}  // namespace
