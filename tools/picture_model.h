// What a picture shows, from the configuration, the hardware and the libraries' own maps.
#ifndef DEVPREP_TOOLS_PICTURE_MODEL_H_
#define DEVPREP_TOOLS_PICTURE_MODEL_H_

#include "picture.h"
#include "platform/result.h"

namespace devprep::tool {

// The machine as it is configured and attached. Within a session.
PictureModel ModelMachine();

// The configuration before and after the pass, which it runs within the session. Fails as RunPass.
Result<PictureModel> ModelPlan(bool follow_identity);

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_PICTURE_MODEL_H_
