// disk_bench: the disk media against the plain file calls on the same file
// system in the same run.
//
//   disk_bench [--smoke] [--dir <path>]
//
// (a) one large document written through CFnx_Dal_Storage::Write in 64 KiB
//     calls and read back through Read, against an os_file write()/read()
//     loop over a file of the same size: ratio of throughputs;
// (b) new 4 KiB documents per second through the new-document road, against
//     create + write + close of plain 4 KiB files, in alternating batches;
// (c) the peak resident memory after the library runs of (a) with a smaller
//     and a larger document, which should not differ.
// --smoke runs tiny sizes in seconds, to prove that the benchmark works.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "dal_configuration.h"
#include "dal_storage.h"
#include "os_file.h"
#include "os_path.h"
#include "osl_directory.h"
#include "peak_memory.h"
#include "scratch_run.h"

namespace {

constexpr std::uint32_t kCall = 64 * 1024;
constexpr std::uint32_t kSmall = 4096;
constexpr double kMiB = 1024.0 * 1024.0;

struct Settings {
  std::uint64_t smallDocument;  // bytes of the first run of (a), for (c)
  std::uint64_t largeDocument;  // bytes of the other runs of (a)
  int smallFiles;               // documents of (b)
  int repeats;                  // rounds: (a) takes the best, (b) the sum
  std::string dir;
};

double Seconds(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

std::unique_ptr<CFnx_Dal_Configuration> DiskConfig(const std::string& root) {
  CFnx_Dal_ConfigValues values;
  values.m_location = root;
  values.m_maxFilesPerDir = 1000;
  return std::unique_ptr<CFnx_Dal_Configuration>(Create_Dal_Configuration("disk", values));
}

// Writes size bytes through the handle; returns the document's location.
std::string LibraryWrite(CFnx_Dal_Configuration* config, const std::vector<char>& buffer, std::uint64_t size) {
  CFnx_Dal_Storage document;
  document.OpenForWriting("disk", config);
  for (std::uint64_t done = 0; done < size; done += kCall) {
    std::uint32_t written = 0;
    if (!document.Write(buffer.data(), kCall, written, -1) || written != kCall) throw std::runtime_error("write");
  }
  document.Close(false);
  return document.GetName();
}

void LibraryRead(const std::string& location, std::vector<char>& buffer, std::uint64_t size) {
  CFnx_Dal_Storage document(location);
  document.OpenForReading(nullptr);
  std::uint64_t done = 0;
  for (std::int64_t position = -1;; position = 0) {
    const std::int32_t n = document.Read(buffer.data(), kCall, position);
    if (n <= 0) break;
    done += static_cast<std::uint64_t>(n);
  }
  document.Close(true);
  if (done != size) throw std::runtime_error("short library read");
}

void PlainWrite(const std::string& path, const std::vector<char>& buffer, std::uint64_t size) {
  Osl_File file;
  file.open(path, OSL_FILE_CREATE | OSL_FILE_EXCLUSIVE, OSL_ACCESS_READ_WRITE, 0);
  for (std::uint64_t done = 0; done < size; done += kCall) {
    if (file.write(buffer.data(), kCall) != static_cast<int>(kCall)) throw std::runtime_error("plain write");
  }
  file.close();
}

void PlainRead(const std::string& path, std::vector<char>& buffer, std::uint64_t size) {
  Osl_File file;
  file.open(path, 0, OSL_ACCESS_READ, 0);
  std::uint64_t done = 0;
  for (int n; (n = file.read(buffer.data(), kCall)) > 0;) done += static_cast<std::uint64_t>(n);
  file.close();
  if (done != size) throw std::runtime_error("short plain read");
}

struct Throughputs {
  double libraryWrite = 0, libraryRead = 0, plainWrite = 0, plainRead = 0;  // MiB/s, best run
};

// One round of (a) at the given size: library and plain, write then read.
// The side that goes first meets the write-back of the round before, so
// the rounds take turns.
void LargeRound(const Settings& settings, std::uint64_t size, bool libraryFirst, Throughputs& best) {
  const std::string root = os_path(settings.dir, "library");
  auto config = DiskConfig(root);
  std::vector<char> buffer(kCall, 'x');
  const double mib = static_cast<double>(size) / kMiB;

  double libraryWrite = 0, libraryRead = 0, plainWrite = 0, plainRead = 0;
  const auto library = [&] {
    std::string location;
    libraryWrite = Seconds([&] { location = LibraryWrite(config.get(), buffer, size); });
    libraryRead = Seconds([&] { LibraryRead(location, buffer, size); });
    CFnx_Dal_Storage(location).Delete();
  };
  const auto plainTool = [&] {
    const std::string plain = os_path(settings.dir, "plain.bin");
    plainWrite = Seconds([&] { PlainWrite(plain, buffer, size); });
    plainRead = Seconds([&] { PlainRead(plain, buffer, size); });
    Osl_File_System::remove(plain);
  };
  if (libraryFirst) {
    library();
    plainTool();
  } else {
    plainTool();
    library();
  }

  best.libraryWrite = std::max(best.libraryWrite, mib / libraryWrite);
  best.libraryRead = std::max(best.libraryRead, mib / libraryRead);
  best.plainWrite = std::max(best.plainWrite, mib / plainWrite);
  best.plainRead = std::max(best.plainRead, mib / plainRead);
}

struct Rates {
  double library = 0, plain = 0;  // files per second over all rounds
  double librarySeconds = 0, plainSeconds = 0;
  int files = 0;
};

// One round of (b). The two sides take turns in small batches, so that a
// stall of the file system (a journal commit, the write-back of (a)) falls
// on both alike.
void SmallRound(const Settings& settings, Rates& rates) {
  constexpr int kBatch = 50;
  const std::string root = os_path(settings.dir, "small-library");
  const std::string plainDir = os_path(settings.dir, "small-plain");
  Osl_Directory::create(plainDir);
  auto config = DiskConfig(root);
  const std::vector<char> buffer(kSmall, 's');
  std::vector<std::string> locations;
  std::vector<std::string> paths;
  const auto libraryBatch = [&](int count) {
    rates.librarySeconds += Seconds([&] {
      for (int i = 0; i < count; ++i) {
        CFnx_Dal_Storage document;
        document.OpenForWriting("disk", config.get());
        std::uint32_t written = 0;
        document.Write(buffer.data(), kSmall, written, -1);
        document.Close(false);
        locations.push_back(document.GetName());
      }
    });
  };
  const auto plainBatch = [&](int count) {
    const std::size_t first = paths.size();
    for (int i = 0; i < count; ++i) paths.push_back(os_path(plainDir, std::to_string(first + i) + ".plain"));
    rates.plainSeconds += Seconds([&] {
      for (std::size_t i = first; i < paths.size(); ++i) {
        Osl_File file;
        file.open(paths[i], OSL_FILE_CREATE | OSL_FILE_EXCLUSIVE, OSL_ACCESS_READ_WRITE, 0);
        if (file.write(buffer.data(), kSmall) != static_cast<int>(kSmall)) throw std::runtime_error("plain write");
        file.close();
      }
    });
  };
  for (int done = 0, turn = 0; done < settings.smallFiles; done += kBatch, ++turn) {
    const int count = std::min(kBatch, settings.smallFiles - done);
    if (turn % 2 == 0) {
      libraryBatch(count);
      plainBatch(count);
    } else {
      plainBatch(count);
      libraryBatch(count);
    }
  }
  for (const std::string& location : locations) CFnx_Dal_Storage(location).Delete();
  for (const std::string& path : paths) Osl_File_System::remove(path);
  Osl_Directory::remove(plainDir);

  rates.files += settings.smallFiles;
  rates.library = rates.files / rates.librarySeconds;
  rates.plain = rates.files / rates.plainSeconds;
}

void PrintRow(const char* name, double library, double plain, const char* unit) {
  std::printf("%-36s %12.1f %-6s %12.1f %-6s %7.2f\n", name, library, unit, plain, unit, library / plain);
}

int Run(const Settings& settings) {
  Osl_Directory::create(settings.dir);
  std::printf("disk_bench  dir=%s  document %.0f MiB (first %.0f MiB), %d x 4 KiB, %d rounds\n\n",
              settings.dir.c_str(), settings.largeDocument / kMiB, settings.smallDocument / kMiB,
              settings.smallFiles, settings.repeats);

  const std::uint64_t peakBefore = PeakResidentBytes();
  Throughputs smallRun;
  LargeRound(settings, settings.smallDocument, true, smallRun);
  const std::uint64_t peakSmall = PeakResidentBytes();
  Throughputs large;
  for (int i = 0; i < settings.repeats; ++i) LargeRound(settings, settings.largeDocument, i % 2 == 1, large);
  const std::uint64_t peakLarge = PeakResidentBytes();
  Rates rates;
  for (int i = 0; i < settings.repeats; ++i) SmallRound(settings, rates);

  std::printf("%-36s %19s %19s %7s\n", "case", "library", "plain", "ratio");
  PrintRow("(a) write, 64 KiB calls", large.libraryWrite, large.plainWrite, "MiB/s");
  PrintRow("(a) read, 64 KiB calls", large.libraryRead, large.plainRead, "MiB/s");
  PrintRow("(b) new 4 KiB documents", rates.library, rates.plain, "1/s");
  std::printf("(c) peak RSS: start %.1f MiB, after %.0f MiB document %.1f MiB, after %.0f MiB document %.1f MiB\n",
              peakBefore / kMiB, settings.smallDocument / kMiB, peakSmall / kMiB, settings.largeDocument / kMiB,
              peakLarge / kMiB);
  std::printf("    growth from the smaller to the larger document: %.2f MiB\n",
              (static_cast<double>(peakLarge) - static_cast<double>(peakSmall)) / kMiB);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  Settings settings{256ull << 20, 1024ull << 20, 2000, 4, {}};
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "--smoke") {
      settings = Settings{4ull << 20, 8ull << 20, 50, 2, settings.dir};
    } else if (arg == "--dir" && i + 1 < argc) {
      settings.dir = argv[++i];
    } else {
      std::fprintf(stderr, "usage: disk_bench [--smoke] [--dir <path>]\n");
      return 1;
    }
  }
  return RunInScratchDirectory("disk_bench", settings.dir, [&](const std::string& dir) {
    settings.dir = dir;
    return Run(settings);
  });
}
