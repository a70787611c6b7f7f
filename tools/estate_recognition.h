// Which devices of many machines are the same drive or changer.
#ifndef DEVPREP_TOOLS_ESTATE_RECOGNITION_H_
#define DEVPREP_TOOLS_ESTATE_RECOGNITION_H_

#include <cstddef>
#include <vector>

#include "estate.h"

namespace devprep::tool {

struct RecognisedDevices {
  std::vector<SharedDevice> devices;            // with their sightings alone, in no order
  std::vector<std::vector<std::size_t>> twins;  // different devices of one identity
};

// By serial number, else by World Wide ID. Tells each device of the machines which one it is.
RecognisedDevices RecogniseDevices(std::vector<EstateMachine>& machines);

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_ESTATE_RECOGNITION_H_
