// Messages for the person at the machine: one place where all of them come together.
#ifndef DEVPREP_PLATFORM_MESSAGES_H_
#define DEVPREP_PLATFORM_MESSAGES_H_

#include <functional>
#include <string>
#include <string_view>

#include "platform/result.h"

namespace devprep {

enum class Severity { kError, kWarning, kNote };

// Takes each message as it comes, its control characters already replaced. message: with the file
// and line that it is about, as far as there are any; its Text() is a whole line.
using MessageSink = std::function<void(Severity severity, const Error& message)>;

// Sends all messages to sink from now on. Null: to standard error again, a line each, behind the
// product's name and, below an error, the word "warning" or "note".
void SetMessageSink(MessageSink sink);

// Sends a message to the sink.
void ReportMessage(Severity severity, std::string_view text);
void ReportMessage(Severity severity, const Error& message);

// The text with every control character replaced by "?": what devices, files and other machines
// say must not steer a terminal. Line ends count as control characters.
std::string PrintableText(std::string_view text);

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_MESSAGES_H_
