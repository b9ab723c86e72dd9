#include "os_regexp.h"

os_regexp::os_regexp(const std::string& pattern, bool ignoreCase, bool anchored) {
  (void)ignoreCase;
  (void)anchored;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    const char c = pattern[i];
    if ((c == '+' || c == '*' || c == '?') && !m_elements.empty() && m_elements.back().repeat == 0) {
      m_elements.back().repeat = c;
      continue;
    }
    Element element;
    if (c == '.') {
      element.any = true;
    } else if (c == '[') {
      std::size_t j = i + 1;
      if (j < pattern.size() && pattern[j] == '^') {
        element.negated = true;
        ++j;
      }
      bool closed = false;
      for (bool first = true; j < pattern.size(); first = false) {
        if (pattern[j] == ']' && !first) {
          closed = true;
          break;
        }
        const char lo = pattern[j];
        char hi = lo;
        if (j + 2 < pattern.size() && pattern[j + 1] == '-' && pattern[j + 2] != ']') {
          hi = pattern[j + 2];
          j += 2;
        }
        element.set += lo;
        element.set += hi;
        ++j;
      }
      if (!closed) {
        m_valid = false;
        return;
      }
      i = j;
    } else {
      const char literal = (c == '\\' && i + 1 < pattern.size()) ? pattern[++i] : c;
      element.set.assign({literal, literal});
    }
    m_elements.push_back(element);
  }
}

bool os_regexp::Element::Matches(char c) const {
  if (any) return true;
  bool inside = false;
  for (std::size_t k = 0; k + 1 < set.size(); k += 2) {
    if (c >= set[k] && c <= set[k + 1]) inside = true;
  }
  return inside != negated;
}

// Backtracking over at most a few dozen elements; the inputs are file names.
long os_regexp::MatchHere(std::size_t from, const std::string& text, std::size_t pos,
                          std::size_t end) const {
  if (from == m_elements.size()) return 0;
  const Element& element = m_elements[from];
  const std::size_t least = (element.repeat == '+' || element.repeat == 0) ? 1 : 0;
  const std::size_t most = (element.repeat == '+' || element.repeat == '*') ? end - pos
                                                                            : (pos < end ? 1 : 0);
  std::size_t count = 0;
  while (count < most && pos + count < end && element.Matches(text[pos + count])) ++count;
  for (std::size_t taken = count + 1; taken-- > least;) {
    const long rest = MatchHere(from + 1, text, pos + taken, end);
    if (rest >= 0) return static_cast<long>(taken) + rest;
  }
  return -1;
}

os_regexp_range os_regexp::search(const std::string& text, std::size_t start, long length) const {
  os_regexp_range none;
  if (!m_valid || start > text.size()) return none;
  const std::size_t end = (length < 0 || start + static_cast<std::size_t>(length) > text.size())
                              ? text.size()
                              : start + static_cast<std::size_t>(length);
  for (std::size_t pos = start; pos <= end; ++pos) {
    const long matched = MatchHere(0, text, pos, end);
    if (matched > 0) return {pos, pos + static_cast<std::size_t>(matched)};
  }
  return none;
}
