#include <atomic>
#include <chrono>
#include <cstdio>
#include <random>

#include "os_host.h"
#include "os_path.h"
#include "os_text.h"

std::string DalToUpper(std::string text) {
  for (char& c : text) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  return text;
}

std::string tos(const long long& value) { return std::to_string(value); }

void DalParsePathSeparators(std::string& path) {
  for (char& c : path) {
    if (c == '/' || c == '\\') c = OS_PATH_SEPARATOR;
  }
}

std::int32_t DalAtol(const std::string& text) {
  std::size_t i = 0;
  while (i < text.size() && (text[i] == ' ' || (text[i] >= '\t' && text[i] <= '\r'))) ++i;
  bool negative = false;
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) negative = text[i++] == '-';
  std::uint32_t value = 0;  // wraps as the 32-bit long of the Windows build
  for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
    value = value * 10u + static_cast<std::uint32_t>(text[i] - '0');
  }
  if (negative) value = 0u - value;
  return static_cast<std::int32_t>(value);
}

namespace {

std::uint64_t SplitMix64(std::uint64_t x) {
  x += 0x9E3779B97F4A7C15ull;
  x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9ull;
  x = (x ^ (x >> 27)) * 0x94D049BB133111EBull;
  return x ^ (x >> 31);
}

std::uint64_t ProcessSeed() {
  std::uint64_t seed = static_cast<std::uint64_t>(os_process_id()) << 32;
  seed ^= static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
  seed ^= static_cast<std::uint64_t>(std::chrono::system_clock::now().time_since_epoch().count()) << 7;
  try {
    std::random_device device;
    seed ^= (static_cast<std::uint64_t>(device()) << 32) | device();
  } catch (...) {
    // No entropy source: pid and clocks still tell processes apart.
  }
  return SplitMix64(seed);
}

}  // namespace

// SplitMix64 is a bijection, so distinct counter values never give the same
// text within a process; the seed keeps processes apart. The process id is
// mixed in at every call: a child forked after the first call inherits seed
// and counter, and would otherwise repeat its parent's and siblings' texts.
std::string RandomNumber() {
  static const std::uint64_t seed = ProcessSeed();
  static std::atomic<std::uint64_t> counter{0};
  const std::uint64_t stream = SplitMix64(seed ^ os_process_id());
  const std::uint64_t value = SplitMix64(stream + counter.fetch_add(1, std::memory_order_relaxed));
  char text[17];
  std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(value));
  return text;
}

void os_tokenizer::tokenize(const std::string& text, std::vector<std::string>& tokens) const {
  tokens.clear();
  std::size_t start = 0;
  while (start < text.size()) {
    const std::size_t end = text.find_first_of(m_separators, start);
    const std::size_t stop = end == std::string::npos ? text.size() : end;
    if (stop > start) tokens.push_back(text.substr(start, stop - start));
    start = stop + 1;
  }
}
