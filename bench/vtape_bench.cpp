// vtape_bench: the virtual tape drive against dd on the same file system in
// the same run.
//
//   vtape_bench [--smoke] [--dir <path>]
//
// 1 GiB written to a fresh cartridge through CTapeApi::WriteFile in 64 KiB
// calls and read back through CTapeApi::ReadFile in 64 KiB calls, against `dd bs=64k` from
// /dev/zero into a plain file and from it to /dev/null. Four rounds; the two
// sides take turns at going first, and each side's best round counts.
// --smoke runs 8 MiB twice, to prove that the benchmark works.
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "dal_tape_api.h"
#include "fnx_error.h"
#include "fnx_vtape.h"
#include "os_path.h"
#include "os_text.h"

namespace {

constexpr std::uint32_t kCall = 64 * 1024;
constexpr double kMiB = 1024.0 * 1024.0;

double Seconds(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

struct Best {
  double tapeWrite = 0, tapeRead = 0, ddWrite = 0, ddRead = 0;  // MiB/s
};

void TapeSide(const std::string& dir, std::uint64_t size, double& writeRate, double& readRate) {
  const std::string library = os_path(dir, "library");
  FnxVtapeLibrarySpec spec;
  spec.blockSize = kCall;
  spec.capacityBytes = size + size / 8 + 64 * kCall;
  spec.warningBytes = 32 * kCall;
  FnxVtapeCreateLibrary(library, spec);
  FnxVtapeInsert(library, "C001");
  CTapeApi tape("vtape:" + library);
  tape.CheckTapeStatus();  // takes the 1110 of the insert
  std::vector<char> buffer(kCall, 't');
  const double mib = static_cast<double>(size) / kMiB;
  writeRate = mib / Seconds([&] {
    for (std::uint64_t done = 0; done < size; done += kCall) {
      unsigned long long written = 0;
      tape.WriteFile(buffer.data(), kCall, &written);
    }
  });
  tape.SetTapePosition(/*method=*/2, 0, 0, 0, /*immediate=*/0);
  std::uint64_t total = 0;
  readRate = mib / Seconds([&] {
    try {
      for (;;) {
        std::uint32_t got = 0;
        tape.ReadFile(buffer.data(), kCall, &got);
        total += got;
      }
    } catch (const exception_GetLastError& end) {
      if (end.Code() != 1104) throw;  // the end of the data ends the read
    }
  });
  tape.CloseHandle();
  if (total != size) throw std::runtime_error("short tape read");
  std::filesystem::remove_all(library);
}

void Shell(const std::string& command) {
  if (std::system(command.c_str()) != 0) throw std::runtime_error("failed: " + command);
}

void DdSide(const std::string& dir, std::uint64_t size, double& writeRate, double& readRate) {
  const std::string file = os_path(dir, "plain.bin");
  const std::string count = std::to_string(size / kCall);
  const double mib = static_cast<double>(size) / kMiB;
  writeRate = mib / Seconds([&] { Shell("dd if=/dev/zero of='" + file + "' bs=64k count=" + count + " status=none"); });
  readRate = mib / Seconds([&] { Shell("dd if='" + file + "' of=/dev/null bs=64k status=none"); });
  std::filesystem::remove(file);
}

int Run(const std::string& dir, std::uint64_t size, int rounds) {
  std::filesystem::create_directories(dir);
  std::printf("vtape_bench  dir=%s  %.0f MiB in 64 KiB calls, %d rounds\n\n", dir.c_str(), size / kMiB, rounds);
  Best best;
  for (int round = 0; round < rounds; ++round) {
    double tapeWrite = 0, tapeRead = 0, ddWrite = 0, ddRead = 0;
    if (round % 2 == 0) {
      TapeSide(dir, size, tapeWrite, tapeRead);
      DdSide(dir, size, ddWrite, ddRead);
    } else {
      DdSide(dir, size, ddWrite, ddRead);
      TapeSide(dir, size, tapeWrite, tapeRead);
    }
    std::printf("round %d: tape write %.0f read %.0f MiB/s, dd write %.0f read %.0f MiB/s\n", round + 1, tapeWrite,
                tapeRead, ddWrite, ddRead);
    best.tapeWrite = std::max(best.tapeWrite, tapeWrite);
    best.tapeRead = std::max(best.tapeRead, tapeRead);
    best.ddWrite = std::max(best.ddWrite, ddWrite);
    best.ddRead = std::max(best.ddRead, ddRead);
  }
  std::printf("\n%-28s %14s %14s %7s\n", "case (best round)", "virtual tape", "dd bs=64k", "ratio");
  std::printf("%-28s %8.0f MiB/s %8.0f MiB/s %7.2f\n", "write, 64 KiB calls", best.tapeWrite, best.ddWrite,
              best.tapeWrite / best.ddWrite);
  std::printf("%-28s %8.0f MiB/s %8.0f MiB/s %7.2f\n", "read, 64 KiB calls", best.tapeRead, best.ddRead,
              best.tapeRead / best.ddRead);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  std::uint64_t size = 1024ull << 20;
  int rounds = 4;
  std::string base;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "--smoke") {
      size = 8ull << 20;
      rounds = 2;
    } else if (arg == "--dir" && i + 1 < argc) {
      base = argv[++i];
    } else {
      std::fprintf(stderr, "usage: vtape_bench [--smoke] [--dir <path>]\n");
      return 1;
    }
  }
  if (base.empty()) base = std::filesystem::temp_directory_path().string();
  std::string dir = os_path(base, "vtape_bench_" + RandomNumber());
  DalParsePathSeparators(dir);
  int result = 2;
  try {
    result = Run(dir, size, rounds);
  } catch (const FNXError& error) {
    std::fprintf(stderr, "vtape_bench: %s\n", error.Text().c_str());
  } catch (const std::exception& error) {
    std::fprintf(stderr, "vtape_bench: %s\n", error.what());
  }
  std::error_code ignored;
  std::filesystem::remove_all(dir, ignored);
  return result;
}
