#include "platform/posix/iscsi_source.h"

#include <gtest/gtest.h>

#include <string>

namespace devprep {
namespace {

TEST(IscsiPlace, IsAPortalAndPerhapsATarget) {
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
    IscsiPlace place;
    const std::string problem = ParseIscsiPlace(c.url, place);
    EXPECT_EQ(problem.empty(), *c.portal != '\0') << c.url << ": " << problem;
    if (problem.empty()) {
      EXPECT_EQ(place.portal, c.portal);
      EXPECT_EQ(place.target, c.target);
    }
    EXPECT_EQ(problem.find("secret"), std::string::npos);
  }
}

}  // namespace
}  // namespace devprep
