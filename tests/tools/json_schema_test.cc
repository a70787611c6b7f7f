// The enumerations of the shipped schemas are those of the code.
#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <functional>
#include <set>
#include <string>

#include "check.h"
#include "danger_text.h"
#include "library_map.h"
#include "outcome_report.h"
#include "words.h"

namespace devprep::tool {
namespace {

using Names = std::set<std::string>;

Json Schema(const std::string& name) {
  std::ifstream file(std::string(DEVPREP_SCHEMAS) + '/' + name + ".schema.json");
  return Json::parse(file);
}

// The identifiers of the codes below count; what is no code has the name of one, or none.
Names NamesOf(unsigned count, const std::function<Term(unsigned)>& name) {
  Names names;
  for (unsigned code = 0; code < count; ++code) names.insert(name(code).identifier);
  names.erase("");
  return names;
}

template <typename Code>
Names AllNames(Term (*name)(Code)) {
  return NamesOf(1U << 8 * sizeof(Code),
                 [name](unsigned code) { return name(static_cast<Code>(code)); });
}

TEST(JsonSchemas, EnumerateWhatTheCodeNames) {
  const struct {
    const char* schema;
    const char* enumeration;
    Names names;
  } cases[] = {
      {"common", "outcome", AllNames(OutcomeName)},
      {"common", "criterion", AllNames(CriterionName)},
      {"common", "danger_code",
       NamesOf(kDangerCodeCount,
               [](unsigned code) {
                 return Term{DangerName(static_cast<DangerCode>(code)), ""};
               })},
      {"common", "danger_place",
       NamesOf(256,
               [](unsigned place) {
                 return Term{DangerPlaceName(static_cast<DangerPlace>(place)), ""};
               })},
      {"common", "deviation_code",
       NamesOf(kDeviationCodeCount,
               [](unsigned code) {
                 return Term{DeviationName(static_cast<DeviationCode>(code)), ""};
               })},
      {"common", "device_type", AllNames(TypeName)},
      {"common", "group_kind", AllNames(GroupKindName)},
      {"common", "raid_status",
       NamesOf(256, [](unsigned flags) { return ChangerStatusName(flags << 24); })},
      {"plan", "verdict", AllNames(VerdictName)},
      {"library", "recognised_by", AllNames(RecognisedByName)},
      {"library", "reservation", AllNames(ReservationVerdictName)},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Schema(c.schema)["$defs"][c.enumeration]["enum"].get<Names>(), c.names)
        << c.schema << ' ' << c.enumeration;
  }
  EXPECT_EQ(Schema("common")["$defs"]["format"]["const"], kJsonFormat);
}

}  // namespace
}  // namespace devprep::tool
