// What the tool reports beside a listing: errors, and the messages of the library. On a terminal
// they are lines on standard error; with --json they are part of the JSON on standard output.
#ifndef DEVPREP_TOOLS_REPORT_H_
#define DEVPREP_TOOLS_REPORT_H_

#include <functional>
#include <string>
#include <vector>

#include "output.h"
#include "platform/result.h"

namespace devprep::tool {

// Takes over the messages of the library. Errors are kept for TakeReportedError; warnings and notes
// are printed at once, or kept for the JSON.
void StartReport(bool json);

// Whether JSON is printed.
bool ReportsJson();

// Adds a warning of the tool's own to the JSON: code is stable. units: addresses that it is about.
void AddJsonWarning(const char* code, const std::string& text,
                    const std::vector<std::string>& units = {});

// The error that the library reported last, which then counts as told; its code is that one where
// it has none. When there is no such error, one that says otherwise.
Error TakeReportedError(const char* code, const char* otherwise);

// The member "error" of the JSON.
Json ErrorJson(const Error& error);

// Prints what is kept: the errors that no command took, and in JSON the warnings.
void PrintJson(const Json& members);
// The same with a list under that name, whose items are made one after the other: a long one is
// never held whole.
using JsonVisitor = std::function<void(const Json&)>;
void PrintJson(const Json& members, const char* list,
               const std::function<void(const JsonVisitor&)>& items);
void PrintError(const Error& error);
void PrintKeptMessages();

// As long as it lives, what is written to standard output goes to standard error where JSON is
// printed: the library's log prints its lines there.
class LogRedirection {
 public:
  LogRedirection();
  ~LogRedirection();
  LogRedirection(const LogRedirection&) = delete;
  LogRedirection& operator=(const LogRedirection&) = delete;

 private:
  int saved_ = -1;
};

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_REPORT_H_
