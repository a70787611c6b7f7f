// A plan kept in a file: what it was made from, so that it is applied to nothing else.
#ifndef DEVPREP_TOOLS_PLAN_FILE_H_
#define DEVPREP_TOOLS_PLAN_FILE_H_

#include <map>
#include <string>
#include <vector>

#include "output.h"
#include "platform/result.h"

namespace devprep::tool {

// Digests of what a plan was made from, by the name of each part: registry keys by their paths,
// attached units by their addresses.
using Digests = std::map<std::string, std::string>;

struct PlanBasis {
  Digests registry;  // of the product's keys
  Digests hardware;  // of the units that the pass has found, with their answers
};

// Within a session; the one of the hardware after its pass. The whole registry is all that can be
// in it beside hardware; on Windows, where others keep theirs in it, the product's branch.
Digests RegistryDigests();
Digests WholeRegistryDigests();
Digests HardwareDigests();

struct PlanFile {
  bool follow_identity = false;
  std::vector<std::string> accepted;  // codes of dangers
  PlanBasis basis;
};

// Writes a plan with the report of what it does. A plan that stands there is replaced, another file
// is not.
Result<> SavePlan(const std::string& file_name, const PlanFile& plan, const Json& outcome);

Result<PlanFile> ReadPlan(const std::string& file_name);

// What differs from the plan's basis, in words: "1 unit differs: 0:0:3:0" and so on. Empty:
// nothing. what: one of the things compared.
std::string DifferenceText(const char* what, const Digests& planned, const Digests& now);

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_PLAN_FILE_H_
