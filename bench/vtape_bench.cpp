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
// best round counts. Beside the wall clock, the processor time of each side
// (the dd processes' from the system's account of waited-for children): on a
// machine shared with other work it shows the cost of each side without the
// time that others took the processor. --smoke runs 8 MiB in 1 MiB slices, once.
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

#include "cpu_time.h"
#include "dal_tape_api.h"
#include "fnx_vtape.h"
#include "os_path.h"
#include "scratch_run.h"

namespace {

constexpr std::uint32_t kCall = 64 * 1024;
constexpr double kMiB = 1024.0 * 1024.0;

struct Settings {
  std::uint64_t size;
  std::uint64_t slice;
  int rounds;
};

// Wall-clock and processor seconds of a piece of work.
struct Cost {
  double wall = 0, cpu = 0;
  Cost& operator+=(const Cost& other) {
    wall += other.wall;
    cpu += other.cpu;
    return *this;
  }
  Cost operator-(const Cost& other) const { return Cost{wall - other.wall, cpu - other.cpu}; }
};

// cpu: the processor time of this process, or of the children it waited for.
Cost Measure(const std::function<void()>& work, double (*cpu)()) {
  const double cpuStart = cpu();
  const auto start = std::chrono::steady_clock::now();
  work();
  return Cost{std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(), cpu() - cpuStart};
}

void Shell(const std::string& command) {
  if (std::system(command.c_str()) != 0) throw std::runtime_error("failed: " + command);
}

// What starting a dd costs, the median of a few runs that move nothing.
Cost DdStart() {
  std::vector<Cost> runs;
  for (int i = 0; i < 9; ++i)
    runs.push_back(Measure([] { Shell("dd if=/dev/zero of=/dev/null bs=64k count=0 status=none"); },
                           &CpuSecondsChildren));
  const auto median = [&](double Cost::*field) {
    std::vector<double> values;
    for (const Cost& run : runs) values.push_back(run.*field);
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
  };
  return Cost{median(&Cost::wall), median(&Cost::cpu)};
}

// MiB per second of wall clock and of processor time.
struct Rate {
  double wall = 0, cpu = 0;
};

struct Rates {
  Rate tapeWrite, tapeRead, ddWrite, ddRead;
};

// Runs both sides of a slice, the one named first first; the order takes
// turns from slice to slice, so that neither side always finds a warm cache.
template <typename A, typename B>
void InTurn(bool aFirst, const A& a, const B& b) {
  if (aFirst) {
    a();
    b();
  } else {
    b();
    a();
  }
}

Rate RateOf(double mib, const Cost& cost) { return Rate{mib / cost.wall, cost.cpu > 0 ? mib / cost.cpu : 0}; }

// One round: a fresh cartridge and a fresh file, written slice by slice in
// turns, then read back the same way.
Rates Round(const std::string& dir, const Settings& settings, const Cost& ddStart, bool tapeFirst) {
  const std::string library = os_path(dir, "library");
  const std::string file = os_path(dir, "plain.bin");
  FnxVtapeLibraryShape shape;
  shape.blockSize = kCall;
  shape.capacityBytes = settings.size + settings.size / 8 + 64 * kCall;
  shape.warningBytes = 32 * kCall;
  FnxVtapeCreateLibrary(library, shape);
  FnxVtapeInsert(library, "C001");
  CTapeApi tape("vtape:" + library);
  tape.CheckTapeStatus();  // takes the 1110 of the insert
  std::vector<char> buffer(kCall, 't');
  const std::uint64_t slices = settings.size / settings.slice;
  const std::string callsPerSlice = std::to_string(settings.slice / kCall);

  Cost tapeWrite, ddWrite, tapeRead, ddRead;
  for (std::uint64_t i = 0; i < slices; ++i) {
    const auto tapeSlice = [&] {
      tapeWrite += Measure([&] {
        for (std::uint64_t done = 0; done < settings.slice; done += kCall) {
          unsigned long long written = 0;
          tape.WriteFile(buffer.data(), kCall, &written);
        }
      }, &CpuSecondsSelf);
    };
    const auto ddSlice = [&] {
      const std::string seek = std::to_string(i * (settings.slice / kCall));
      ddWrite += Measure([&] {
        Shell("dd if=/dev/zero of='" + file + "' bs=64k count=" + callsPerSlice + " seek=" + seek +
              " conv=notrunc status=none");
      }, &CpuSecondsChildren) - ddStart;
    };
    InTurn((i % 2 == 0) == tapeFirst, tapeSlice, ddSlice);
  }
  tape.SetTapePosition(/*method=*/2, 0, 0, 0, /*immediate=*/0);
  std::uint64_t total = 0;
  for (std::uint64_t i = 0; i < slices; ++i) {
    const auto tapeSlice = [&] {
      tapeRead += Measure([&] {
        for (std::uint64_t done = 0; done < settings.slice; done += kCall) {
          std::uint32_t got = 0;
          tape.ReadFile(buffer.data(), kCall, &got);
          total += got;
        }
      }, &CpuSecondsSelf);
    };
    const auto ddSlice = [&] {
      const std::string skip = std::to_string(i * (settings.slice / kCall));
      ddRead += Measure([&] {
        Shell("dd if='" + file + "' of=/dev/null bs=64k count=" + callsPerSlice + " skip=" + skip + " status=none");
      }, &CpuSecondsChildren) - ddStart;
    };
    InTurn((i % 2 == 0) == tapeFirst, tapeSlice, ddSlice);
  }
  tape.CloseHandle();
  if (total != slices * settings.slice) throw std::runtime_error("short tape read");
  std::filesystem::remove_all(library);
  std::filesystem::remove(file);

  const double mib = static_cast<double>(slices * settings.slice) / kMiB;
  return Rates{RateOf(mib, tapeWrite), RateOf(mib, tapeRead), RateOf(mib, ddWrite), RateOf(mib, ddRead)};
}

void Keep(Rate& best, const Rate& rate) {
  best.wall = std::max(best.wall, rate.wall);
  best.cpu = std::max(best.cpu, rate.cpu);
}

void PrintRow(const char* name, double tape, double dd) {
  std::printf("%-34s %8.0f MiB/s %8.0f MiB/s %7.2f\n", name, tape, dd, tape / dd);
}

int Run(const std::string& dir, const Settings& settings) {
  std::filesystem::create_directories(dir);
  const Cost ddStart = DdStart();
  std::printf("vtape_bench  dir=%s  %.0f MiB in 64 KiB calls, slices of %.0f MiB, %d rounds; "
              "a dd starts in %.2f ms (%.2f ms processor)\n\n",
              dir.c_str(), settings.size / kMiB, settings.slice / kMiB, settings.rounds, ddStart.wall * 1000,
              ddStart.cpu * 1000);
  Rates best;
  for (int round = 0; round < settings.rounds; ++round) {
    const Rates rates = Round(dir, settings, ddStart, round % 2 == 0);
    std::printf("round %d: tape write %.0f read %.0f MiB/s, dd write %.0f read %.0f MiB/s (wall clock)\n", round + 1,
                rates.tapeWrite.wall, rates.tapeRead.wall, rates.ddWrite.wall, rates.ddRead.wall);
    Keep(best.tapeWrite, rates.tapeWrite);
    Keep(best.tapeRead, rates.tapeRead);
    Keep(best.ddWrite, rates.ddWrite);
    Keep(best.ddRead, rates.ddRead);
  }
  std::printf("\n%-34s %14s %14s %7s\n", "case (best round)", "virtual tape", "dd bs=64k", "ratio");
  PrintRow("write, 64 KiB calls", best.tapeWrite.wall, best.ddWrite.wall);
  PrintRow("read, 64 KiB calls", best.tapeRead.wall, best.ddRead.wall);
  if (best.ddWrite.cpu > 0) {
    PrintRow("write, per processor second", best.tapeWrite.cpu, best.ddWrite.cpu);
    PrintRow("read, per processor second", best.tapeRead.cpu, best.ddRead.cpu);
  }
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
  return RunInScratchDirectory("vtape_bench", base, [&](const std::string& dir) { return Run(dir, settings); });
}
