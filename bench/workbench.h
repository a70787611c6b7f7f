// Where the measurements are made: a folder with a registry and a hardware capture, this process as
// one after the other, and the times taken.
#ifndef DEVPREP_BENCH_WORKBENCH_H_
#define DEVPREP_BENCH_WORKBENCH_H_

#include <chrono>
#include <initializer_list>
#include <string>

#include "large_machine.h"

namespace devprep {

class Workbench {
 public:
  // Makes the folder below parent and points the environment at it.
  explicit Workbench(const char* parent);
  Workbench(const Workbench&) = delete;
  Workbench& operator=(const Workbench&) = delete;
  ~Workbench();

  // Puts the machine into the files. The next transaction sees it.
  void SetUp(const Machine& machine) const;

  const std::string& Folder() const { return folder_; }

  // Starts over as a process that has just loaded the library.
  static void NewProcess();

 private:
  std::string folder_;
  std::string registry_;
  std::string hardware_;
};

// In memory, and on the disk that holds temporary files.
inline constexpr const char* kMemoryFolder = "/dev/shm";
inline constexpr const char* kDiskFolder = "/var/tmp";

// The seconds that work takes by the clock on the wall: work that waits for disks or processes.
template <typename Work>
double WallSeconds(Work work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// A process of the tool from start to end, which prints to nowhere.
struct ToolRun {
  int status = 0;  // its exit status; -1: it did not end by itself
  double seconds = 0;
  long peak_kib = 0;  // of its memory, or of this program's own, from which it is forked
};
ToolRun RunTool(std::initializer_list<std::string> arguments);

// Processor time of this thread so far.
double ProcessorSeconds();

// The processor seconds of work in memory: what else the machine does hardly counts.
template <typename Work>
double Seconds(Work work) {
  const double start = ProcessorSeconds();
  work();
  return ProcessorSeconds() - start;
}

// The seconds for reading a registry text and formatting it again.
double ReadAndWriteSeconds(const std::string& text);

}  // namespace devprep

#endif  // DEVPREP_BENCH_WORKBENCH_H_
