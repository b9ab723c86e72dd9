// vtape_bench: the virtual tape drive against dd on the same file system in
// the same run.
//
//   vtape_bench [--smoke] [--dir <path>]
//
// 1 GiB written to a fresh cartridge through CTapeApi::WriteFile in 64 KiB
// calls and read back through CTapeApi::ReadFile in 64 KiB calls, against
// `dd bs=64k` from /dev/zero into a plain file and from it to /dev/null.
// The two sides take turns slice by slice (128 MiB), so that the load of a
// shared machine falls on both alike; each dd run is charged without the
// time that starting a dd takes (measured first). Three rounds; each side's
// best round counts. --smoke runs 8 MiB in 1 MiB slices, once.
#include <algorithm>
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

struct Settings {
  std::uint64_t size;
  std::uint64_t slice;
  int rounds;
};

double Seconds(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void Shell(const std::string& command) {
  if (std::system(command.c_str()) != 0) throw std::runtime_error("failed: " + command);
}

// What starting a dd costs, the median of a few runs that move nothing.
double DdStart() {
  std::vector<double> runs;
  for (int i = 0; i < 7; ++i)
    runs.push_back(Seconds([] { Shell("dd if=/dev/zero of=/dev/null bs=64k count=0 status=none"); }));
  std::sort(runs.begin(), runs.end());
  return runs[runs.size() / 2];
}

struct Rates {
  double tapeWrite = 0, tapeRead = 0, ddWrite = 0, ddRead = 0;  // MiB/s
};

// One round: a fresh cartridge and a fresh file, written slice by slice in
// turns, then read back the same way.
Rates Round(const std::string& dir, const Settings& settings, double ddStart, bool tapeFirst) {
  const std::string library = os_path(dir, "library");
  const std::string file = os_path(dir, "plain.bin");
  FnxVtapeLibrarySpec spec;
  spec.blockSize = kCall;
  spec.capacityBytes = settings.size + settings.size / 8 + 64 * kCall;
  spec.warningBytes = 32 * kCall;
  FnxVtapeCreateLibrary(library, spec);
  FnxVtapeInsert(library, "C001");
  CTapeApi tape("vtape:" + library);
  tape.CheckTapeStatus();  // takes the 1110 of the insert
  std::vector<char> buffer(kCall, 't');
  const std::uint64_t slices = settings.size / settings.slice;
  const std::string callsPerSlice = std::to_string(settings.slice / kCall);

  double tapeWrite = 0, ddWrite = 0, tapeRead = 0, ddRead = 0;
  for (std::uint64_t i = 0; i < slices; ++i) {
    const auto tapeSlice = [&] {
      tapeWrite += Seconds([&] {
        for (std::uint64_t done = 0; done < settings.slice; done += kCall) {
          unsigned long long written = 0;
          tape.WriteFile(buffer.data(), kCall, &written);
        }
      });
    };
    const auto ddSlice = [&] {
      const std::string seek = std::to_string(i * (settings.slice / kCall));
      ddWrite += Seconds([&] {
        Shell("dd if=/dev/zero of='" + file + "' bs=64k count=" + callsPerSlice + " seek=" + seek +
              " conv=notrunc status=none");
      }) - ddStart;
    };
    if ((i % 2 == 0) == tapeFirst) {
      tapeSlice();
      ddSlice();
    } else {
      ddSlice();
      tapeSlice();
    }
  }
  tape.SetTapePosition(/*method=*/2, 0, 0, 0, /*immediate=*/0);
  std::uint64_t total = 0;
  for (std::uint64_t i = 0; i < slices; ++i) {
    const auto tapeSlice = [&] {
      tapeRead += Seconds([&] {
        for (std::uint64_t done = 0; done < settings.slice; done += kCall) {
          std::uint32_t got = 0;
          tape.ReadFile(buffer.data(), kCall, &got);
          total += got;
        }
      });
    };
    const auto ddSlice = [&] {
      const std::string skip = std::to_string(i * (settings.slice / kCall));
      ddRead += Seconds([&] {
        Shell("dd if='" + file + "' of=/dev/null bs=64k count=" + callsPerSlice + " skip=" + skip + " status=none");
      }) - ddStart;
    };
    if ((i % 2 == 0) == tapeFirst) {
      tapeSlice();
      ddSlice();
    } else {
      ddSlice();
      tapeSlice();
    }
  }
  tape.CloseHandle();
  if (total != slices * settings.slice) throw std::runtime_error("short tape read");
  std::filesystem::remove_all(library);
  std::filesystem::remove(file);

  const double mib = static_cast<double>(slices * settings.slice) / kMiB;
  return Rates{mib / tapeWrite, mib / tapeRead, mib / ddWrite, mib / ddRead};
}

int Run(const std::string& dir, const Settings& settings) {
  std::filesystem::create_directories(dir);
  const double ddStart = DdStart();
  std::printf("vtape_bench  dir=%s  %.0f MiB in 64 KiB calls, slices of %.0f MiB, %d rounds; a dd starts in %.2f ms\n\n",
              dir.c_str(), settings.size / kMiB, settings.slice / kMiB, settings.rounds, ddStart * 1000);
  Rates best;
  for (int round = 0; round < settings.rounds; ++round) {
    const Rates rates = Round(dir, settings, ddStart, round % 2 == 0);
    std::printf("round %d: tape write %.0f read %.0f MiB/s, dd write %.0f read %.0f MiB/s\n", round + 1,
                rates.tapeWrite, rates.tapeRead, rates.ddWrite, rates.ddRead);
    best.tapeWrite = std::max(best.tapeWrite, rates.tapeWrite);
    best.tapeRead = std::max(best.tapeRead, rates.tapeRead);
    best.ddWrite = std::max(best.ddWrite, rates.ddWrite);
    best.ddRead = std::max(best.ddRead, rates.ddRead);
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
  Settings settings{1024ull << 20, 128ull << 20, 3};
  std::string base;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "--smoke") {
      settings = Settings{8ull << 20, 1ull << 20, 1};
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
    result = Run(dir, settings);
  } catch (const FNXError& error) {
    std::fprintf(stderr, "vtape_bench: %s\n", error.Text().c_str());
  } catch (const std::exception& error) {
    std::fprintf(stderr, "vtape_bench: %s\n", error.what());
  }
  std::error_code ignored;
  std::filesystem::remove_all(dir, ignored);
  return result;
}
