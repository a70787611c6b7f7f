// Text of XML and HTML, with everything in it escaped.
#ifndef DEVPREP_TOOLS_MARKUP_H_
#define DEVPREP_TOOLS_MARKUP_H_

#include <concepts>
#include <string>
#include <string_view>
#include <vector>

namespace devprep::tool {

// The text as XML and HTML take it, between tags and in an attribute: &, <, > and quotes as
// entities; "?" for control characters but a line feed, for what is not UTF-8, and for the code
// points that XML does not allow.
std::string EscapeMarkup(std::string_view text);

// Writes elements one into the other.
class Markup {
 public:
  // Opens an element in the one that is open. name: of static lifetime.
  Markup& Open(const char* name);
  // Of the element that was opened last, before anything stands in it.
  Markup& With(const char* name, std::string_view value);
  Markup& With(const char* name, std::integral auto value) {
    return With(name, std::string_view(std::to_string(value)));
  }
  Markup& Text(std::string_view text);
  // What is markup already.
  Markup& Raw(std::string_view markup);
  Markup& Close();
  // A line end, for people.
  Markup& Line();

  const std::string& Result() const { return text_; }

 private:
  void EndTag();

  std::string text_;
  std::vector<const char*> open_;
  bool in_tag_ = false;
};

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_MARKUP_H_
