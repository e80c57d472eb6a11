#include <gtest/gtest.h>
#include <pwd.h>

#include <array>
#include <string>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "support/fixtures.h"

namespace {

struct LookUp {
  passwd entry{};
  std::array<char, 1024> buffer{};

  bool byName(const std::string& name, long size = 1024) {
    return VexaCommonUtils_i::securityGetpwnam(name, entry, buffer.data(), size);
  }
  bool byId(unsigned id, long size = 1024) {
    return VexaCommonUtils_i::securityGetpwuid(id, entry, buffer.data(), size);
  }
  bool owns(const char* text) const {
    return text >= buffer.data() && text < buffer.data() + buffer.size();
  }
};

}  // namespace

// securityGetpwnam and securityGetpwuid

TEST(UserLookup, FindsAUserByNameAndById) {
  LookUp name;
  ASSERT_TRUE(name.byName("root"));
  LookUp id;
  ASSERT_TRUE(id.byId(0));
  for (const LookUp* look : {&name, &id}) {
    EXPECT_STREQ("root", look->entry.pw_name);
    EXPECT_EQ(0U, look->entry.pw_uid);
    EXPECT_EQ(0U, look->entry.pw_gid);
    EXPECT_STREQ(::getpwnam("root")->pw_dir, look->entry.pw_dir);
    EXPECT_STREQ(::getpwnam("root")->pw_shell, look->entry.pw_shell);
    EXPECT_TRUE(look->owns(look->entry.pw_name));
    EXPECT_TRUE(look->owns(look->entry.pw_dir));
  }
}

TEST(UserLookup, DoesNotFindAnUnknownUser) {
  LookUp look;
  for (const std::string& name : {std::string(), std::string("commutil-no-such-user"),
                                  std::string("root\n"), std::string("ROOT"), std::string("root:x"),
                                  std::string(1 << 20, 'r'), std::string(16 << 20, 'r')}) {
    EXPECT_FALSE(look.byName(name)) << name.substr(0, 40);
  }
  for (const unsigned id : {4294967294U, 4294967295U, 3999999999U}) {
    EXPECT_FALSE(look.byId(id)) << id;
  }
}

TEST(UserLookup, ReadsANameUpToItsNul) {
  LookUp look;
  EXPECT_TRUE(look.byName("root" + std::string(2000, '\0')));
}

TEST(UserLookup, FailsOnATooSmallBuffer) {
  LookUp look;
  for (const long size : {0L, 1L, 10L, -1L, -1024L}) {
    SCOPED_TRACE(size);
    EXPECT_FALSE(look.byName("root", size));
    EXPECT_FALSE(look.byId(0, size));
  }
  passwd entry{};
  EXPECT_FALSE(VexaCommonUtils_i::securityGetpwnam("root", entry, nullptr, 1024));
  EXPECT_FALSE(VexaCommonUtils_i::securityGetpwuid(0, entry, nullptr, 1024));
}
