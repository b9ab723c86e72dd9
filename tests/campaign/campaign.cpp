// campaign: the reliability campaigns, one mode each.
//   campaign crash [--kills N] [--seed S]    disk processes killed hard (default 30 kills)
//   campaign kill [--kills N] [--seed S]     tape backup runs killed hard (default 4)
//   campaign faults [--faults N] [--seed S]  a tape run under drive faults (default 9)
//   campaign worker disk|backup ...          the processes the campaigns kill
// Exit 0 when nothing was lost, 1 otherwise (the failures listed), 2 on an
// error of the campaign itself, 3 when it ran out of time: 30 minutes, or 10
// seconds a kill or a fault when that is longer.
#include "campaign.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <thread>

#include "dal_storage.h"
#include "fnx_error.h"

namespace {

// Ends the process after `limit`, so that nothing waits for ever: an operator
// question unanswered, a drive or a lock that hangs, a worker left behind.
void EndAfter(std::chrono::seconds limit) {
  std::thread([limit] {
    std::this_thread::sleep_for(limit);
    std::cerr << "campaign: out of time\n";
    std::_Exit(3);
  }).detach();
}

struct Mode {
  const char* name;
  int count;
  void (*run)(int, std::mt19937_64&, Tally&);
};
const Mode kModes[] = {
    {"crash", 30, RunCrashCampaign}, {"kill", 4, RunTapeKillCampaign}, {"faults", 9, RunTapeFaultCampaign}};

int Run(const std::vector<std::string>& args) {
  constexpr std::chrono::seconds kLeast = std::chrono::minutes(30);
  if (args.size() > 1 && args[0] == "worker") {
    EndAfter(kLeast);
    const std::vector<std::string> rest(args.begin() + 2, args.end());
    return args[1] == "disk" ? RunDiskWorker(rest) : RunBackupWorker(rest);
  }
  for (const Mode& mode : kModes) {
    if (args.empty() || args[0] != mode.name) continue;
    int count = mode.count;
    std::uint64_t seed = static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
    for (std::size_t i = 1; i + 1 < args.size(); i += 2) {
      if (args[i] == "--kills" || args[i] == "--faults") count = std::stoi(args[i + 1]);
      if (args[i] == "--seed") seed = std::stoull(args[i + 1]);
    }
    EndAfter(std::max(kLeast, std::chrono::seconds(10) * count));  // a long run's checks take their time
    std::cout << "campaign " << mode.name << ": seed " << seed << std::endl;
    std::mt19937_64 random(seed);
    Tally tally;
    mode.run(count, random, tally);
    std::cout << "campaign " << mode.name << ":";
    for (const auto& [name, value] : tally.counts) std::cout << " " << value << " " << name << ",";
    std::cout << " " << tally.failures.size() << " failures\n";
    for (std::size_t i = 0; i < tally.failures.size() && i < 20; ++i) std::cout << "  " << tally.failures[i] << "\n";
    return tally.failures.empty() && tally.counts["documents"] > 0 ? 0 : 1;
  }
  std::cerr << "usage: campaign crash|kill|faults [--kills N|--faults N] [--seed S]\n";
  return 2;
}

}  // namespace

std::string ReadWhole(const std::string& location, CFnx_Dal_Configuration* config, std::string& content) {
  try {
    CFnx_Dal_Storage handle(location);
    if (!handle.OpenForReading(config)) return "open for reading refused";
    std::string piece(static_cast<std::size_t>(std::min<std::int64_t>(handle.GetSize() + 1, 1 << 20)), '\0');
    content.clear();
    // The first read from the beginning, the others on from the cursor, up to the 0 at the end.
    for (std::int32_t got;
         (got = handle.Read(piece.data(), static_cast<std::uint32_t>(piece.size()), content.empty() ? -1 : 0)) != 0;) {
      if (got < 0) return "read failed at byte " + std::to_string(content.size());
      content.append(piece.data(), static_cast<std::size_t>(got));
    }
    handle.Close(false);
    return "";
  } catch (const FNXError& error) {
    return error.Text();
  }
}

int main(int argc, char** argv) {
  try {
    return Run({argv + 1, argv + argc});
  } catch (const FNXError& error) {
    std::cerr << "campaign: " << error.Text() << " (code " << error.Code() << ", " << error.SourceFile() << ":"
              << error.Line() << ")\n";
  } catch (const std::exception& error) {
    std::cerr << "campaign: " << error.what() << "\n";
  }
  return 2;
}
