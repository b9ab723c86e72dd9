// tape_campaign: the tape campaigns on the virtual drive.
//   tape_campaign kill [--kills N] [--seed S]     backup runs killed hard (default 4)
//   tape_campaign faults [--faults N] [--seed S]  a run under drive faults (default 12)
//   tape_campaign worker backup ...               the process that the kill campaign kills
// Every document handed out must restore byte-exact. Exit 0 when all did, 1
// otherwise (the failures listed), 3 when the campaign ran out of time: an
// operator question unanswered or a drive that hangs.
#include <chrono>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <thread>

#include "fnx_error.h"
#include "tape_campaign.h"

namespace {

constexpr auto kTimeLimit = std::chrono::minutes(30);

int Report(const std::string& mode, const TapeCampaignFigures& figures) {
  std::cout << "tape campaign " << mode << ": " << figures.kills << " kills, " << figures.faults
            << " faults fired, " << figures.documents << " documents handed out, " << figures.exact
            << " restored byte-exact, " << figures.questions << " questions answered, " << figures.failures.size()
            << " failures\n";
  for (std::size_t i = 0; i < figures.failures.size() && i < 20; ++i) std::cout << "  " << figures.failures[i] << "\n";
  return figures.failures.empty() && figures.documents > 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> args(argv + 1, argv + argc);
  std::thread([] {
    std::this_thread::sleep_for(kTimeLimit);
    std::cerr << "tape_campaign: out of time\n";
    std::_Exit(3);
  }).detach();
  try {
    if (args.size() > 1 && args[0] == "worker") return RunTapeBackupWorker({args.begin() + 1, args.end()});
    const std::string mode = args.empty() ? "" : args[0];
    int count = mode == "kill" ? 4 : 12;
    std::uint64_t seed = static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
    for (std::size_t i = 1; i + 1 < args.size(); i += 2) {
      if (args[i] == "--kills" || args[i] == "--faults") count = std::stoi(args[i + 1]);
      if (args[i] == "--seed") seed = std::stoull(args[i + 1]);
    }
    std::cout << "tape campaign " << mode << ": seed " << seed << "\n";
    TapeCampaignFigures figures;
    if (mode == "kill") {
      RunKillCampaign(count, seed, figures);
    } else if (mode == "faults") {
      RunFaultCampaign(count, seed, figures);
    } else {
      std::cerr << "usage: tape_campaign kill|faults [--kills N|--faults N] [--seed S]\n";
      return 1;
    }
    return Report(mode, figures);
  } catch (const FNXError& error) {
    std::cerr << "tape_campaign: " << error.Text() << " (code " << error.Code() << ", " << error.SourceFile() << ":"
              << error.Line() << ")\n";
  } catch (const std::exception& error) {
    std::cerr << "tape_campaign: " << error.what() << "\n";
  }
  return 2;
}
