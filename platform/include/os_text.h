#pragma once
// Small text helpers of the companion libraries and the toolkit's tokenizer.
#include <cstdint>
#include <string>
#include <vector>

#include "fnx_export.h"

// Case-insensitive strict ordering (ASCII letters), for the factories' maps.
struct StrCmpNoCase {
  bool operator()(const std::string& a, const std::string& b) const {
    const std::size_t n = a.size() < b.size() ? a.size() : b.size();
    for (std::size_t i = 0; i < n; ++i) {
      const int ca = Fold(static_cast<unsigned char>(a[i]));
      const int cb = Fold(static_cast<unsigned char>(b[i]));
      if (ca != cb) return ca < cb;
    }
    return a.size() < b.size();
  }

 private:
  static int Fold(int c) { return (c >= 'a' && c <= 'z') ? c - 'a' + 'A' : c; }
};

// Upper-case copy (ASCII letters only; other bytes pass unchanged).
std::string DalToUpper(std::string text);

// Decimal text of a 64-bit number.
std::string tos(const long long& value);

// Turns both path separators into this platform's one, in place.
void DalParsePathSeparators(std::string& path);

// A text fit for a file name that no other call in this or another process
// gives: process-unique seed plus a counter, as hexadecimal digits.
std::string RandomNumber();

// atol of the platform libraries, always 32 bits wide: leading blanks and a
// sign, digits up to the first other character, no digits give 0. Values
// beyond 32 bits wrap as the Windows build's long does.
std::int32_t DalAtol(const std::string& text);

// Splits a text at any of a set of separator characters. Empty pieces (two
// separators in a row, one at either end) are not tokens.
class os_tokenizer {
 public:
  os_tokenizer() = default;
  void separators(const std::string& set) { m_separators = set; }
  // Replaces the content of tokens with the pieces of text.
  void tokenize(const std::string& text, std::vector<std::string>& tokens) const;

 private:
  std::string m_separators;
};
