#include "platform/posix/iscsi_url.h"

#include <gtest/gtest.h>

#include <string>

namespace devprep {
namespace {

TEST(IscsiUrl, IsAPortalAndPerhapsATarget) {
  const struct {
    const char* url;
    const char* portal;  // empty: refused
    const char* target;
  } cases[] = {
      {"iscsi://library", "library:3260", ""},
      {"iscsi://10.0.0.1:3261/", "10.0.0.1:3261", ""},
      {"iscsi://library/iqn.2020-01.example:a:b", "library:3260", "iqn.2020-01.example:a:b"},
      {"iscsi://[fe80::1]:99/t", "[fe80::1]:99", "t"},
      {"iscsi://[fe80::1]", "[fe80::1]:3260", ""},
      {"iscsi://", "", ""},
      {"iscsi:///target", "", ""},
      {"iscsi://host:", "", ""},
      {"iscsi://host:0", "", ""},
      {"iscsi://host:65536", "", ""},
      {"iscsi://host:12x/t", "", ""},
      {"iscsi://[fe80::1", "", ""},
      {"iscsi://host/target/1", "", ""},
      {"iscsi://user%secret@host/t", "", ""},
  };
  for (const auto& c : cases) {
    const Result<IscsiUrl> parsed = ParseIscsiUrl(c.url);
    EXPECT_EQ(static_cast<bool>(parsed), *c.portal != '\0') << c.url;
    if (parsed) {
      EXPECT_EQ(parsed->portal, c.portal);
      EXPECT_EQ(parsed->target, c.target);
    } else {
      EXPECT_EQ(parsed.Failure().message.find("secret"), std::string::npos);
    }
  }
}

}  // namespace
}  // namespace devprep
