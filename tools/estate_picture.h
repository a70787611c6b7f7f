// Many machines as a picture: drives and changers against machines.
#ifndef DEVPREP_TOOLS_ESTATE_PICTURE_H_
#define DEVPREP_TOOLS_ESTATE_PICTURE_H_

#include <functional>
#include <string>
#include <vector>

#include "estate.h"
#include "picture.h"

namespace devprep::tool {

// What is known of a device (in the devices of the estate) on a machine.
using SightingFacts =
    std::function<std::vector<PictureFact>(std::size_t device, const Sighting& sighting)>;

// A row for each drive, below its changer, a column for each machine, and where these meet the
// number of the device there. The same estate gives the same picture. Of an estate that is too
// large to be looked at, only what does not agree is drawn, as far as there is room: the picture
// tells so.
std::string EstateSvg(const Estate& estate, const SightingFacts& facts);
std::string EstateHtml(const Estate& estate, const SightingFacts& facts);

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_ESTATE_PICTURE_H_
