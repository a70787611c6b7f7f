#include "posix/progress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <iostream>
#include <string>

#include "output.h"
#include "platform/hardware/inquiry_source.h"

namespace devprep::tool {
namespace {

// A machine that answers sooner needs no line.
constexpr std::chrono::milliseconds kPatience{300};
constexpr std::size_t kUsualWidth = 80;
constexpr const char* kClearLine = "\r\033[K";

std::size_t TerminalWidth() {
  winsize size = {};
  return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 1 ? size.ws_col
                                                                         : kUsualWidth;
}

void PrintProgress(const AskingProgress& progress) {
  static bool shown = false;
  if (progress.finished == progress.units) {
    if (shown) std::cerr << kClearLine << std::flush;
    shown = false;
    return;
  }
  if (progress.elapsed < kPatience) return;
  std::string line = "Asking " + Count(progress.units, "device") + ": " +
                     std::to_string(progress.finished) + " done";
  for (std::size_t i = 0; i < progress.slow.size(); ++i) {
    line.append(i == 0 ? "; waiting for " : ", ").append(progress.slow[i]);
  }
  line.resize(std::min(line.size(), TerminalWidth() - 1));
  std::cerr << kClearLine << line << std::flush;
  shown = true;
}

}  // namespace

void ShowProgress() {
  if (isatty(STDERR_FILENO) != 0) SetProgressListener(PrintProgress);
}

}  // namespace devprep::tool
