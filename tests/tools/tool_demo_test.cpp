// The demo runs to its end in any environment and leaves nothing behind.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tools/run_tool.h"

namespace {

using commutil_test::ProcessResult;
using commutil_test::runDemo;
using commutil_test::TempDir;

TEST(Demo, ShowsTheMainJobAndCleansUp) {
  const TempDir scratch;
  const ProcessResult result = runDemo({{"TMPDIR", scratch.path().string()},
                                        {"SETTINGREST_URL", "file:///nowhere"},
                                        {"APP_NAME", "other"},
                                        {"LD_LIBRARY_PATH", std::nullopt}});
  EXPECT_EQ(0, result.code) << result.err;
  EXPECT_EQ("", result.err);
  for (const std::string text :
       {"  APP_NAME                  inventory\n", "isListenAllIp = yes       decided by: ",
        "+-SSLAuthenticate SERVER_AND_CLIENT\n+-SSLVersion TLSv1.2,TLSv1.3\"\n",
        "inventory logs to ", "'%100\\%\\_o''clock%' escape '\\' \n", "\nfe80:0:0:0:0:0:0:1\n",
        "\nclusterNodes\n  - 10.20.1.1\n", "\naccepted  yes\n", "\nnode^c7^btrace\n",
        "\nno other cleanup runs\n", "\ndGVuIGdyZWVuIGJvdHRsZXM=\n"}) {
    EXPECT_NE(std::string::npos, result.out.find(text)) << text << "\nin\n" << result.out;
  }
  EXPECT_TRUE(std::filesystem::is_empty(scratch.path()));
}

}  // namespace
