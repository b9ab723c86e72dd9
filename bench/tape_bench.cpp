// tape_bench: tape through the storage handle on the virtual drive, against
// the plain tools doing the same work in the same run.
//
//   tape_bench [--smoke] [--block <bytes>] [--dir <path>]
//
// The cartridges have blocks of 65536 bytes unless --block names another
// size the format takes (512 to 65536, dividing 65536).
// (a) a backup run of 1 GiB as 1 MiB documents (BackupStart, the documents,
//     BackupEnd), against `dd bs=64k` copying a file of the same bytes into a
//     plain file: ratio of throughputs, best of the rounds;
// (b) the restore of one document from a volume of 1,000 documents, the first
//     and the last, against GNU tar extracting the same member from an
//     archive of the same documents written with 64 KiB records (-b 128):
//     medians of repeated restores;
// (c) the peak resident memory after (a) at 256 MiB and after (a) at 1 GiB,
//     which should be the same.
// --smoke runs tiny sizes in seconds, to prove that the benchmark works.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "dal_configuration_tape.h"
#include "dal_operator.h"
#include "dal_storage.h"
#include "fnx_vtape.h"
#include "peak_memory.h"
#include "scratch_run.h"

namespace {

namespace fs = std::filesystem;

constexpr double kMiB = 1024.0 * 1024.0;
const CFnx_Dal_OperatorItemID kOperatorId(7, "tape_bench", "DAS_BENCH");

struct Settings {
  std::uint64_t smallRun;       // bytes of the first run of (a), for (c)
  std::uint64_t largeRun;       // bytes of the other runs of (a)
  std::uint32_t document;       // bytes of a document of (a)
  int volumeDocuments;          // documents of the volume of (b)
  std::uint32_t volumeDocument; // bytes of each of them
  int restores;                 // restores of each kind in (b)
  int rounds;                   // rounds of (a)
  std::uint32_t block;          // the cartridges' block size
  fs::path dir;
};

double Seconds(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

void Shell(const std::string& command) {
  if (std::system(command.c_str()) != 0) throw std::runtime_error("failed: " + command);
}

// Bytes that repeat with the period of one document, unlike zeros.
std::vector<char> Pattern(std::uint32_t size) {
  std::vector<char> bytes(size);
  std::uint32_t state = 14;
  for (char& byte : bytes) {
    state = state * 1103515245u + 12345u;
    byte = static_cast<char>(state >> 16);
  }
  return bytes;
}

// Blocks that documents of these sizes take on tape: two labels and the
// records of each, with the early-warning zone of the medium on top.
std::uint64_t CartridgeBytes(int documents, std::uint64_t size) {
  const std::uint64_t records = static_cast<std::uint64_t>(documents) * (3 + size / 65528);
  return (records + records / 32 + 64) * 65536;
}

// Answers every question of the operator with "Cancel": a benchmark that
// runs out of tape ends with the failure instead of waiting for a person.
class NoOperator {
 public:
  NoOperator()
      : m_thread([this] {
          CFnx_Dal_Operator& table = CFnx_Dal_OperatorSingelton::Get();
          while (!m_stop) {
            if (table.IsWaitingOperatorResponce(kOperatorId)) table.SetOperatorResponce(kOperatorId, 1);
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
          }
        }) {}
  ~NoOperator() {
    m_stop = true;
    m_thread.join();
  }

 private:
  std::atomic<bool> m_stop{false};
  std::thread m_thread;
};

// A virtual drive with one blank cartridge of the given room, in the drive,
// and a configuration that labels it at the start of the run.
struct Drive {
  Drive(const fs::path& library, std::uint64_t capacity, std::uint32_t block) : directory(library.string()) {
    fs::remove_all(library);
    FnxVtapeLibraryShape shape;
    shape.cartridges = 1;
    shape.blockSize = block;
    shape.capacityBytes = capacity;
    FnxVtapeCreateLibrary(directory, shape);
    FnxVtapeInsert(directory, FnxVtapeGetStatus(directory).cartridges.at(0).name);
    CFnx_Dal_ConfigValues values;
    values.m_type = kOperatorId.getType();
    values.m_name = kOperatorId.getName();
    values.m_dasName = kOperatorId.getDasName();
    values.m_volumeName = "BENCH";
    values.m_deviceName = "vtape:" + directory;
    values.m_newVolume1 = true;
    config.SetValues(values);
  }
  ~Drive() {
    std::error_code ignored;
    fs::remove_all(directory, ignored);
  }

  std::string directory;
  CFnx_Dal_ConfigurationTape config;
};

std::string WriteDocument(CFnx_Dal_ConfigurationTape& config, const std::vector<char>& bytes) {
  CFnx_Dal_Storage document;
  document.OpenForWriting("tape", &config);
  std::uint32_t written = 0;
  if (!document.Write(bytes.data(), static_cast<std::uint32_t>(bytes.size()), written, -1) ||
      written != bytes.size()) {
    throw std::runtime_error("a document did not fit the cartridge");
  }
  document.Close(false);
  return document.GetName();
}

std::vector<std::string> BackupRun(CFnx_Dal_ConfigurationTape& config, const std::vector<char>& bytes, int count) {
  std::vector<std::string> locations;
  CFnx_Dal_Storage::BackupStart(&config);
  for (int i = 0; i < count; ++i) locations.push_back(WriteDocument(config, bytes));
  CFnx_Dal_Storage::BackupEnd(&config);
  return locations;
}

std::string Restore(CFnx_Dal_ConfigurationTape& config, const std::string& location, std::vector<char>& buffer) {
  CFnx_Dal_Storage document(location);
  document.OpenForReading(&config);
  const auto size = static_cast<std::uint32_t>(document.GetSize());
  if (buffer.size() < size) buffer.resize(size);
  if (document.Read(buffer.data(), size, -1) != static_cast<std::int32_t>(size)) throw std::runtime_error("restore");
  document.Close(true);
  return std::string(buffer.data(), size);
}

struct Backup {
  double library = 0, dd = 0;  // MiB/s, best round
};

// One round of (a): the run through the handle, and dd of the same bytes.
// The side that goes first meets the write-back of the round before, so the
// rounds take turns.
void BackupRound(const Settings& settings, std::uint64_t bytes, bool libraryFirst, Backup& best) {
  const std::vector<char> document = Pattern(settings.document);
  const int count = static_cast<int>(bytes / settings.document);
  const fs::path source = settings.dir / "source.bin";
  const fs::path plain = settings.dir / "plain.bin";
  {
    std::ofstream out(source, std::ios::binary);
    for (int i = 0; i < count; ++i) out.write(document.data(), static_cast<std::streamsize>(document.size()));
  }
  double library = 0, dd = 0;
  const auto librarySide = [&] {
    Drive drive(settings.dir / "library", CartridgeBytes(count, settings.document), settings.block);
    library = Seconds([&] { BackupRun(drive.config, document, count); });
  };
  const auto ddSide = [&] {
    dd = Seconds([&] { Shell("dd if='" + source.string() + "' of='" + plain.string() + "' bs=64k status=none"); });
    fs::remove(plain);
  };
  if (libraryFirst) {
    librarySide();
    ddSide();
  } else {
    ddSide();
    librarySide();
  }
  fs::remove(source);
  const double mib = static_cast<double>(count) * settings.document / kMiB;
  best.library = std::max(best.library, mib / library);
  best.dd = std::max(best.dd, mib / dd);
}

struct Restores {
  double first = 0, last = 0, tarFirst = 0, tarLast = 0;  // seconds, medians
};

// (b): one volume of documents, each restored from the first and the last
// place; the same documents in a tar archive, the same members extracted.
Restores RestoreRound(const Settings& settings) {
  std::vector<std::vector<char>> documents;
  for (int i = 0; i < settings.volumeDocuments; ++i) {
    documents.push_back(Pattern(settings.volumeDocument));
    std::snprintf(documents.back().data(), documents.back().size(), "document %06d", i);
  }
  Drive drive(settings.dir / "volume", CartridgeBytes(settings.volumeDocuments, settings.volumeDocument), settings.block);
  std::vector<std::string> locations;
  CFnx_Dal_Storage::BackupStart(&drive.config);
  for (const auto& document : documents) locations.push_back(WriteDocument(drive.config, document));
  CFnx_Dal_Storage::BackupEnd(&drive.config);

  const fs::path files = settings.dir / "files";
  const fs::path out = settings.dir / "out";
  const fs::path archive = settings.dir / "archive.tar";
  fs::create_directories(files);
  std::vector<std::string> names;
  for (int i = 0; i < settings.volumeDocuments; ++i) {
    names.push_back("d" + std::to_string(100000 + i));
    std::ofstream(files / names.back(), std::ios::binary)
        .write(documents[i].data(), static_cast<std::streamsize>(documents[i].size()));
  }
  std::string list;
  for (const std::string& name : names) list += " " + name;
  Shell("tar -b 128 -cf '" + archive.string() + "' -C '" + files.string() + "'" + list);
  fs::remove_all(files);

  std::vector<char> buffer;
  std::vector<double> first, last, tarFirst, tarLast;
  const auto restore = [&](std::size_t index, std::vector<double>& times) {
    std::string restored;
    times.push_back(Seconds([&] { restored = Restore(drive.config, locations[index], buffer); }));
    if (restored != std::string(documents[index].begin(), documents[index].end())) {
      throw std::runtime_error("a restore differs");
    }
  };
  const auto extract = [&](std::size_t index, std::vector<double>& times) {
    fs::create_directories(out);
    times.push_back(Seconds([&] {
      Shell("tar -b 128 -xf '" + archive.string() + "' -C '" + out.string() + "' " + names[index]);
    }));
    if (fs::file_size(out / names[index]) != settings.volumeDocument) throw std::runtime_error("tar extract");
    fs::remove_all(out);
  };
  const std::size_t lastIndex = documents.size() - 1;
  for (int i = 0; i < settings.restores; ++i) {
    restore(0, first);
    restore(lastIndex, last);
    extract(0, tarFirst);
    extract(lastIndex, tarLast);
  }
  fs::remove(archive);
  return {Median(first), Median(last), Median(tarFirst), Median(tarLast)};
}

int Run(const Settings& settings) {
  fs::create_directories(settings.dir);
  std::printf("tape_bench  dir=%s  block %u;  run %.0f MiB (first %.0f MiB) of %.0f KiB documents, %d rounds;\n"
              "            volume of %d x %.0f KiB documents, %d restores each\n\n",
              settings.dir.string().c_str(), settings.block, settings.largeRun / kMiB, settings.smallRun / kMiB,
              settings.document / 1024.0, settings.rounds, settings.volumeDocuments,
              settings.volumeDocument / 1024.0, settings.restores);

  const std::uint64_t peakBefore = PeakResidentBytes();
  Backup smallRun;
  BackupRound(settings, settings.smallRun, true, smallRun);
  const std::uint64_t peakSmall = PeakResidentBytes();
  Backup large;
  for (int i = 0; i < settings.rounds; ++i) BackupRound(settings, settings.largeRun, i % 2 == 1, large);
  const std::uint64_t peakLarge = PeakResidentBytes();
  const Restores restores = RestoreRound(settings);

  std::printf("%-40s %14s %14s %7s\n", "case", "library", "plain tool", "ratio");
  std::printf("%-40s %8.1f MiB/s %8.1f MiB/s %7.2f\n", "(a) backup run against dd bs=64k", large.library, large.dd,
              large.library / large.dd);
  std::printf("%-40s %11.2f ms %11.2f ms %7.2f\n", "(b) restore of the first document", restores.first * 1e3,
              restores.tarFirst * 1e3, restores.first / restores.tarFirst);
  std::printf("%-40s %11.2f ms %11.2f ms %7.2f\n", "(b) restore of the last document", restores.last * 1e3,
              restores.tarLast * 1e3, restores.last / restores.tarLast);
  std::printf("    last against first: library %.2f, tar %.2f\n", restores.last / restores.first,
              restores.tarLast / restores.tarFirst);
  std::printf("(c) peak RSS: start %.1f MiB, after the %.0f MiB run %.1f MiB, after the %.0f MiB runs %.1f MiB\n",
              peakBefore / kMiB, settings.smallRun / kMiB, peakSmall / kMiB, settings.largeRun / kMiB,
              peakLarge / kMiB);
  std::printf("    growth from the smaller to the larger run: %.2f MiB\n",
              (static_cast<double>(peakLarge) - static_cast<double>(peakSmall)) / kMiB);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  Settings settings{256ull << 20, 1024ull << 20, 1u << 20, 1000, 256u << 10, 21, 3, 65536, {}};
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "--smoke") {
      settings = Settings{4ull << 20, 8ull << 20, 1u << 20, 20, 16u << 10, 3, 1, settings.block, settings.dir};
    } else if (arg == "--block" && i + 1 < argc) {
      settings.block = static_cast<std::uint32_t>(std::stoul(argv[++i]));
    } else if (arg == "--dir" && i + 1 < argc) {
      settings.dir = argv[++i];
    } else {
      std::fprintf(stderr, "usage: tape_bench [--smoke] [--block <bytes>] [--dir <path>]\n");
      return 1;
    }
  }
  return RunInScratchDirectory("tape_bench", settings.dir.string(), [&](const std::string& dir) {
    settings.dir = dir;
    NoOperator console;
    return Run(settings);
  });
}
