// The one form of errors in src/platform and tools: a value, or the reason why there is none.
#ifndef DEVPREP_PLATFORM_RESULT_H_
#define DEVPREP_PLATFORM_RESULT_H_

#include <cstddef>
#include <string>
#include <utility>
#include <variant>

namespace devprep {

// Why something could not be done, in words for the person at the machine.
struct Error {
  std::string message;
  std::string file = {};  // that the message is about; empty: none
  std::size_t line = 0;   // of that file, from 1; 0: the file as a whole
  int system_error = 0;   // the errno behind it; 0: none
  std::string code = {};  // for programs, stable; empty: none

  // The same error as one of the file at path.
  Error In(std::string path) const { return {message, std::move(path), line, system_error, code}; }

  // "FILE:LINE: MESSAGE", with what there is of it.
  std::string Text() const {
    std::string text = file;
    if (line != 0) text += ':' + std::to_string(line);
    return text.empty() ? message : text + ": " + message;
  }
};

template <typename T = void>
class [[nodiscard]] Result {
 public:
  // NOLINTBEGIN(google-explicit-constructor): a function returns its value or an Error as it is.
  Result(T value) : outcome_(std::in_place_index<0>, std::move(value)) {}
  Result(Error error) : outcome_(std::in_place_index<1>, std::move(error)) {}
  // NOLINTEND(google-explicit-constructor)

  explicit operator bool() const { return outcome_.index() == 0; }

  // To be called when there is a value.
  T& operator*() & { return *std::get_if<0>(&outcome_); }
  T&& operator*() && { return std::move(*std::get_if<0>(&outcome_)); }
  const T& operator*() const& { return *std::get_if<0>(&outcome_); }
  T* operator->() { return std::get_if<0>(&outcome_); }
  const T* operator->() const { return std::get_if<0>(&outcome_); }

  // To be called when there is none.
  const Error& Failure() const { return *std::get_if<1>(&outcome_); }

 private:
  std::variant<T, Error> outcome_;
};

// Done, or the reason why not.
template <>
class [[nodiscard]] Result<void> : public Result<std::monostate> {
 public:
  Result() : Result<std::monostate>(std::monostate{}) {}
  // NOLINTNEXTLINE(google-explicit-constructor): as above.
  Result(Error error) : Result<std::monostate>(std::move(error)) {}
};

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_RESULT_H_
