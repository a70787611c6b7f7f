#include "report.h"

#if defined(_WIN32)
#include <io.h>
#else
#include <unistd.h>
#endif

#include <cstdio>
#include <iostream>
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
  std::vector<std::string> errors;  // of the library, not told yet
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

void TakeMessage(Severity severity, const std::string& text) {
  Report& report = TheReport();
  if (severity == Severity::kError) {
    report.errors.push_back(text);
  } else if (report.json) {
    report.warnings.push_back(
        {{"severity", SeverityName(severity)}, {"code", nullptr}, {"message", text}});
  } else {
    std::cerr << "devprep: " << SeverityName(severity) << ": " << text << '\n';
  }
}

Json TextOrNull(const std::string& text) { return text.empty() ? Json(nullptr) : Json(text); }

}  // namespace

void StartReport(bool json) {
  TheReport().json = json;
  SetMessageSink(TakeMessage);
}

bool ReportsJson() { return TheReport().json; }

void AddJsonWarning(const char* code, const std::string& text, const Json& members) {
  Json warning = {{"severity", "warning"}, {"code", code}, {"message", text}};
  warning.update(members);
  TheReport().warnings.push_back(std::move(warning));
}

Error TakeReportedError(const char* otherwise) {
  std::vector<std::string>& errors = TheReport().errors;
  if (errors.empty()) return {otherwise};
  Error error = {std::move(errors.back())};
  errors.pop_back();
  return error;
}

void PrintJson(const Json& members) {
  Report& report = TheReport();
  for (const std::string& text : report.errors) {
    report.warnings.push_back({{"severity", "error"}, {"code", nullptr}, {"message", text}});
  }
  report.errors.clear();
  Json listing = {{"format", kJsonFormat}};
  listing.update(members);
  listing["warnings"] = std::exchange(report.warnings, Json::array());
  // What is no UTF-8, as the name of a file may be, must not keep the rest back.
  std::cout << listing.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
}

void PrintError(const Error& error) {
  if (ReportsJson()) {
    PrintJson({{"error",
                {{"code", error.code.empty() ? "failed" : error.code},
                 {"message", error.message},
                 {"file", TextOrNull(error.file)},
                 {"line", error.line == 0 ? Json(nullptr) : Json(error.line)}}}});
    return;
  }
  std::cout.flush();
  PrintKeptMessages();
  std::cerr << "devprep: " << PrintableText(error.Text()) << '\n';
}

void PrintKeptMessages() {
  for (const std::string& text : std::exchange(TheReport().errors, {})) {
    std::cerr << "devprep: " << text << '\n';
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
