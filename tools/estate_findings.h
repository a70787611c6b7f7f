// What many machines do not agree on.
#ifndef DEVPREP_TOOLS_ESTATE_FINDINGS_H_
#define DEVPREP_TOOLS_ESTATE_FINDINGS_H_

#include <cstddef>
#include <vector>

#include "estate.h"

namespace devprep::tool {

// Adds the findings to an estate whose devices are recognised and in their order. twins: different
// devices of one identity.
void CompareMachines(Estate& estate, std::vector<std::vector<std::size_t>> twins);

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_ESTATE_FINDINGS_H_
