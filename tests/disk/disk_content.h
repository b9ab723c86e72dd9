#pragma once
// What the disk suites and their worker process share: document bytes that a
// seed determines, so that a checker in another process can verify them, the
// lists through which processes announce documents, and a look at a root's
// date directories.
#include <cstdint>
#include <random>
#include <string>
#include <vector>

class CFnx_Dal_Configuration;

// size bytes of a stream that only the seed decides (splitmix64).
inline std::string DocumentBytes(std::uint64_t seed, std::size_t size) {
  std::string bytes(size, '\0');
  for (std::size_t i = 0; i < size; i += 8) {
    std::uint64_t z = (seed += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    z ^= z >> 31;
    for (std::size_t k = 0; k < 8 && i + k < size; ++k) bytes[i + k] = static_cast<char>(z >> (8 * k));
  }
  return bytes;
}

// One document as a writer announces it: a line "location<TAB>seed<TAB>size".
struct AnnouncedDocument {
  std::string location;
  std::uint64_t seed = 0;
  std::size_t size = 0;
};
std::vector<AnnouncedDocument> ReadAnnouncements(const std::string& path);
// The complete lines of a list; a line still being written is left out.
std::vector<std::string> ReadLines(const std::string& path);
// Appends one line and flushes it, so that readers in other processes see
// whole lines only.
void AppendLine(const std::string& path, const std::string& line);

// Stores content as a new document in one to three write calls that random
// picks, so that writes go on where the last one ended; returns its name.
// Throws std::runtime_error when the open is refused or a write comes back short.
std::string StoreInPieces(CFnx_Dal_Configuration& config, const std::string& content, std::mt19937_64& random);

// The names of the date directories directly under root.
std::vector<std::string> DateDirectories(const std::string& root);
// The entries of a directory, "." and ".." left out.
std::vector<std::string> Entries(const std::string& directory);
// The count in a directory's "dirfile.txt", -1 when it has none.
long DirFileCount(const std::string& directory);
