// Dangers in words.
#ifndef DEVPREP_TOOLS_DANGER_TEXT_H_
#define DEVPREP_TOOLS_DANGER_TEXT_H_

#include <optional>
#include <string>

#include "output.h"
#include "reconfig/danger.h"

namespace devprep::tool {

// "mass-loss" and so on: stable.
std::string DangerName(DangerCode code);

// The code of that name. Nothing when there is none.
std::optional<DangerCode> DangerNamed(const std::string& name);

// All names, separated by commas.
std::string AllDangerNames();

// What the danger is, and what to look at: a sentence. Within the process of the pass.
std::string DangerText(const Danger& danger);

// "danger NAME: TEXT"; of one that is only told "note NAME: TEXT".
std::string DangerLine(const Danger& danger);

Json DangerJson(const Danger& danger);

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_DANGER_TEXT_H_
