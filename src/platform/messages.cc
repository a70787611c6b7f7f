#include "platform/messages.h"

#include <cstdio>
#include <utility>

namespace devprep {
namespace {

MessageSink& Sink() {
  static MessageSink sink;
  return sink;
}

const char* PrefixOf(Severity severity) {
  switch (severity) {
    case Severity::kWarning:
      return "warning: ";
    case Severity::kNote:
      return "note: ";
    case Severity::kError:
      break;
  }
  return "";
}

}  // namespace

void SetMessageSink(MessageSink sink) { Sink() = std::move(sink); }

void ReportMessage(Severity severity, std::string_view text) {
  ReportMessage(severity, Error{std::string(text)});
}

void ReportMessage(Severity severity, const Error& message) {
  Error printable = message;
  printable.message = PrintableText(message.message);
  printable.file = PrintableText(message.file);
  if (Sink()) {
    Sink()(severity, printable);
    return;
  }
  std::fprintf(stderr, "devprep: %s%s\n", PrefixOf(severity), printable.Text().c_str());
  std::fflush(stderr);
}

std::string PrintableText(std::string_view text) {
  std::string printable(text);
  for (char& c : printable) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte == 0x7F) c = '?';
  }
  return printable;
}

}  // namespace devprep
