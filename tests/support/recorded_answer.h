// Answers of devices, recorded as text.
#ifndef DEVPREP_TESTS_SUPPORT_RECORDED_ANSWER_H_
#define DEVPREP_TESTS_SUPPORT_RECORDED_ANSWER_H_

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

namespace devprep {

// Hexadecimal bytes, with comments from # to the end of a line.
inline std::string RecordedAnswer(const std::string& name) {
  std::ifstream file(DEVPREP_TEST_ANSWERS "/" + name + ".hex");
  EXPECT_TRUE(file) << name;
  std::string bytes;
  for (std::string line; std::getline(file, line);) {
    std::istringstream words(line.substr(0, line.find('#')));
    for (std::string word; words >> word;) {
      bytes += static_cast<char>(std::strtoul(word.c_str(), nullptr, 16));
    }
  }
  return bytes;
}

}  // namespace devprep

#endif  // DEVPREP_TESTS_SUPPORT_RECORDED_ANSWER_H_
