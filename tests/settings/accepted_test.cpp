// Which values the catalog accepts, and what it suggests instead.
#include "settings/accepted.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using settings::checkStoreValue;
using settings::checkValue;
using settings::Form;

TEST(Accepted, ChecksValuesOfTheStore) {
  const struct {
    std::string key;
    std::string value;
    std::string message;
  } rows[] = {
      {"/vexa/common/setting_cfg/global/ListenAllIp", "enable", ""},
      {"vexa/common/setting_cfg/inventory/ListenLoopbackIP", "disable", ""},
      {"/vexa/common/setting_cfg/global/ListenAllIp", "enabled",
       "takes enable or disable; did you mean enable?"},
      {"/vexa/common/setting_cfg/global/ListenAllIp", "Enable",
       "takes enable or disable; did you mean enable?"},
      {"/vexa/common/setting_cfg/global/ListenAllIp", "\"disable\"",
       "takes enable or disable; did you mean disable?"},
      {"/vexa/common/setting_cfg/global/ListenAllIp", "enable ; note",
       "takes enable or disable; did you mean enable?"},
      {"/vexa/common/setting_cfg/global/ListenAllIp", "yes", "takes enable or disable"},
      {"/vexa/common/setting_cfg/global/ListenAllIp", "", "takes enable or disable"},
      {"/vexa/common/svc_ssl_conf/global/SSLAuthenticate", "SERVER_AND_CLIENT", ""},
      {"/vexa/common/svc_ssl_conf/global/SSLAuthenticate", "SERVER,NONE",
       "takes NONE, SERVER or SERVER_AND_CLIENT"},
      {"/vexa/common/svc_ssl_conf/global/SSLVersion", "TLSv1.2,TLSv1.3", ""},
      {"/vexa/common/svc_ssl_conf/global/SSLVersion", "TLSv1.3", ""},
      {"/vexa/common/svc_ssl_conf/global/SSLVersion", "TLS1.2, TLSv1.3",
       "takes a comma-separated list of TLSv1.2 and TLSv1.3; did you mean TLSv1.2,TLSv1.3?"},
      {"/vexa/common/svc_ssl_conf/global/SSLVersion", "TLSv1.2,",
       "takes a comma-separated list of TLSv1.2 and TLSv1.3"},
      {"/vexa/common/setting_cfg/global/ListenAllIP", "enable",
       "is not a setting of the library; did you mean "
       "/vexa/common/setting_cfg/global/ListenAllIp?"},
      {"/vexa/common/setting_cfg/global", "enable", "is not a setting of the library"},
      {"", "enable", "is not a setting of the library"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.key + " = " + row.value);
    EXPECT_EQ(row.message, checkStoreValue(row.key, row.value).message());
    EXPECT_EQ(row.message.empty(), checkStoreValue(row.key, row.value).accepted());
  }
}

TEST(Accepted, DistinguishesUnknownKeysFromRefusedValues) {
  using Result = settings::Verdict::Result;
  EXPECT_EQ(Result::unknownKey, checkStoreValue("/vexa/common/other/global/X", "1").result);
  EXPECT_EQ(Result::unknownKey,
            checkStoreValue("/vexa/common/setting_cfg//ListenAllIp", "enable").result);
  EXPECT_EQ(Result::refused,
            checkStoreValue("/vexa/common/setting_cfg/global/ListenAllIp", "on").result);
}

TEST(Accepted, ChecksForms) {
  const struct {
    Form form;
    std::string value;
    bool accepted;
  } rows[] = {
      {Form::directory, "/srv", true},    {Form::directory, "srv", false},
      {Form::file, "/srv/a", true},       {Form::file, "", false},
      {Form::segment, "inventory", true}, {Form::segment, "a/b", false},
      {Form::segment, "", false},         {Form::url, "file:///a", true},
      {Form::url, "/a", false},           {Form::url, "://a", false},
      {Form::address, "10.0.0.1", true},  {Form::address, "fe80::1", true},
      {Form::address, "10.0.0", false},   {Form::anything, "", true},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.value);
    EXPECT_EQ(row.accepted, checkValue({row.form, {}}, row.value).accepted());
  }
}

}  // namespace
