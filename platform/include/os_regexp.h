#pragma once
// A small regular expression of the toolkit: literal characters, "." for any
// character, bracket classes ("[0-9]", "[^a-z]") and the repeats "+", "*"
// and "?" on the element before them. search finds the leftmost match.
#include <cstddef>
#include <string>
#include <vector>

struct os_regexp_range {
  std::size_t begin = 0;
  std::size_t end = 0;  // one past the match; begin == end: no match
  bool empty() const { return begin == end; }
};

class os_regexp {
 public:
  // The two flags of the toolkit (case folding, anchoring) are accepted as
  // false only. A malformed pattern (an open "[") matches nothing.
  os_regexp(const std::string& pattern, bool ignoreCase, bool anchored);

  // Searches text from start over length characters (-1: to the end).
  os_regexp_range search(const std::string& text, std::size_t start, long length) const;

 private:
  struct Element {
    bool any = false;
    bool negated = false;
    std::string set;  // pairs lo,hi of ranges when !any
    char repeat = 0;  // 0, '+', '*' or '?'
    bool Matches(char c) const;
  };
  // Length of the match of m_elements[from..] at text[pos, end), or -1.
  long MatchHere(std::size_t from, const std::string& text, std::size_t pos, std::size_t end) const;

  std::vector<Element> m_elements;
  bool m_valid = true;
};
