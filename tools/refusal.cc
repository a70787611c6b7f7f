#include "refusal.h"

namespace devprep::tool {

Error Refusal(const Term& reason) {
  Error error{reason.text};
  error.code = reason.identifier;
  return error;
}

Error RefusalUnlessForced(const Term& reason) {
  return Refusal({reason.identifier, reason.text + " (--force does it all the same)"});
}

}  // namespace devprep::tool
