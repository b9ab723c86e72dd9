#pragma once
// What the disk suites and their worker process share: document bytes that a
// seed determines, so that a checker in another process can verify them, and
// a look at a root's date directories.
#include <cstdint>
#include <string>
#include <vector>

// size bytes of a stream that only the seed decides (splitmix64).
inline std::string DocumentBytes(std::uint64_t seed, std::size_t size) {
  std::string bytes(size, '\0');
  std::uint64_t state = seed;
  for (std::size_t i = 0; i < size; i += 8) {
    state += 0x9E3779B97F4A7C15ull;
    std::uint64_t z = state;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    z ^= z >> 31;
    for (std::size_t k = 0; k < 8 && i + k < size; ++k) bytes[i + k] = static_cast<char>(z >> (8 * k));
  }
  return bytes;
}

// A small deterministic generator for sizes and choices.
class SeededRandom {
 public:
  explicit SeededRandom(std::uint64_t seed) : m_state(seed) {}
  std::uint64_t Next() {
    m_state ^= m_state << 13;
    m_state ^= m_state >> 7;
    m_state ^= m_state << 17;
    return m_state;
  }
  // A number in [0, bound).
  std::uint64_t Below(std::uint64_t bound) { return Next() % bound; }

 private:
  std::uint64_t m_state;  // never 0
};

// One document as a writer announces it: one line of its list.
struct AnnouncedDocument {
  std::string location;
  std::uint64_t seed = 0;
  std::size_t size = 0;
};
std::string FormatAnnouncement(const AnnouncedDocument& document);
// The complete lines of a list; a line still being written is left out.
std::vector<AnnouncedDocument> ReadAnnouncements(const std::string& path);
// The complete lines of a plain list.
std::vector<std::string> ReadLines(const std::string& path);
// Appends one line and flushes it, so that readers in other processes see
// whole lines only.
void AppendLine(const std::string& path, const std::string& line);

// The names of the date directories directly under root.
std::vector<std::string> DateDirectories(const std::string& root);
// The entries of a directory, "." and ".." left out.
std::vector<std::string> Entries(const std::string& directory);
// The count in a directory's "dirfile.txt", -1 when it has none.
long DirFileCount(const std::string& directory);
