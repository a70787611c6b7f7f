#include "report.h"

#if defined(_WIN32)
#include <io.h>
#else
#include <unistd.h>
#endif

#include <cstdio>
#include <iostream>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/messages.h"

namespace devprep::tool {
namespace {

#if defined(_WIN32)
int Duplicate(int file) { return _dup(file); }
int DuplicateTo(int file, int onto) { return _dup2(file, onto); }
void Close(int file) { _close(file); }
#else
int Duplicate(int file) { return dup(file); }
int DuplicateTo(int file, int onto) { return dup2(file, onto); }
void Close(int file) { close(file); }
#endif

constexpr int kStandardOutput = 1;
constexpr int kStandardError = 2;

struct Report {
  bool json = false;
  std::vector<Error> errors;  // of the library, not told yet
  Json warnings = Json::array();
};

Report& TheReport() {
  static Report report;
  return report;
}

const char* SeverityName(Severity severity) {
  switch (severity) {
    case Severity::kWarning:
      return "warning";
    case Severity::kNote:
      return "note";
    case Severity::kError:
      break;
  }
  return "error";
}

Json TextOrNull(const std::string& text) { return text.empty() ? Json(nullptr) : Json(text); }

// The members that errors and warnings share.
Json MessageJson(const Error& message) {
  return {{"code", TextOrNull(message.code)},
          {"message", message.message},
          {"file", TextOrNull(message.file)},
          {"line", message.line == 0 ? Json(nullptr) : Json(message.line)}};
}

Json WarningJson(Severity severity, const Error& message,
                 const std::vector<std::string>& units = {}) {
  Json warning = {{"severity", SeverityName(severity)}};
  warning.update(MessageJson(message));
  warning["units"] = units;
  return warning;
}

void TakeMessage(Severity severity, const Error& message) {
  Report& report = TheReport();
  if (severity == Severity::kError) {
    report.errors.push_back(message);
  } else if (report.json) {
    report.warnings.push_back(WarningJson(severity, message));
  } else {
    std::cerr << "devprep: " << SeverityName(severity) << ": " << message.Text() << '\n';
  }
}

}  // namespace

void StartReport(bool json) {
  TheReport().json = json;
  SetMessageSink(TakeMessage);
}

bool ReportsJson() { return TheReport().json; }

void AddJsonWarning(const char* code, const std::string& text,
                    const std::vector<std::string>& units) {
  Error warning{text};
  warning.code = code;
  TheReport().warnings.push_back(WarningJson(Severity::kWarning, warning, units));
}

Error TakeReportedError(const char* code, const char* otherwise) {
  std::vector<Error>& errors = TheReport().errors;
  Error error{otherwise};
  if (!errors.empty()) {
    error = std::move(errors.back());
    errors.pop_back();
  }
  if (error.code.empty()) error.code = code;
  return error;
}

namespace {

constexpr std::size_t kIndent = 2;

// What is no UTF-8, as the name of a file may be, must not keep the rest back.
std::string Dump(const Json& json) {
  return json.dump(static_cast<int>(kIndent), ' ', false, Json::error_handler_t::replace);
}

// The whole document, with what is kept.
Json Document(const Json& members) {
  Report& report = TheReport();
  for (const Error& error : report.errors) {
    report.warnings.push_back(WarningJson(Severity::kError, error));
  }
  report.errors.clear();
  Json listing = {{"format", kJsonFormat}};
  listing.update(members);
  listing["warnings"] = std::exchange(report.warnings, Json::array());
  return listing;
}

}  // namespace

void PrintJson(const Json& members) { std::cout << Dump(Document(members)) << '\n'; }

void PrintJson(const Json& members, const char* list,
               const std::function<void(const JsonVisitor&)>& items) {
  Json with_list = members;
  with_list[list] = Json::array();
  const std::string text = Dump(Document(with_list));
  // No text within the JSON has a line end in it.
  const std::string member = std::string("\n  \"") + list + "\": [";
  const std::size_t at = text.find(member) + member.size();
  std::cout << std::string_view(text).substr(0, at);
  bool any = false;
  std::string indented;
  items([&any, &indented](const Json& item) {
    indented = any ? ",\n    " : "\n    ";
    any = true;
    for (const char c : Dump(item)) {
      indented += c;
      if (c == '\n') indented.append(2 * kIndent, ' ');
    }
    std::cout << indented;
  });
  std::cout << (any ? "\n  " : "") << std::string_view(text).substr(at) << '\n';
}

Json ErrorJson(const Error& error) {
  Json members = MessageJson(error);
  if (error.code.empty()) members["code"] = "failed";
  return members;
}

void PrintError(const Error& error) {
  if (ReportsJson()) {
    PrintJson({{"error", ErrorJson(error)}});
    return;
  }
  std::cout.flush();
  PrintKeptMessages();
  std::cerr << "devprep: " << PrintableText(error.Text()) << '\n';
}

void PrintKeptMessages() {
  for (const Error& error : std::exchange(TheReport().errors, {})) {
    std::cerr << "devprep: " << error.Text() << '\n';
  }
}

LogRedirection::LogRedirection() {
  if (!ReportsJson()) return;
  std::cout.flush();
  std::fflush(stdout);
  saved_ = Duplicate(kStandardOutput);
  if (saved_ >= 0) DuplicateTo(kStandardError, kStandardOutput);
}

LogRedirection::~LogRedirection() {
  if (saved_ < 0) return;
  std::fflush(stdout);
  DuplicateTo(saved_, kStandardOutput);
  Close(saved_);
}

}  // namespace devprep::tool
