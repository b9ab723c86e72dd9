// crash_campaign: writers, an updater, a cutter and a deleter on one disk
// root, killed hard at random points, then the verdict on every announced
// document and every count, before and after the disk check repairs the root.
//   crash_campaign [--kills N] [--seed S]   (default: 30 kills, a seed of the clock)
//   crash_campaign worker ...               (the processes it starts)
// Exit 0 when nothing was lost or changed, 1 otherwise (the failures listed).
#include <algorithm>
#include <chrono>
#include <exception>
#include <iostream>
#include <memory>
#include <random>
#include <thread>

#include "campaign.h"
#include "child_process.h"
#include "dal_disk_check.h"
#include "fnx_error.h"
#include "temp_dir.h"

namespace {

constexpr const char kSelf[] = "crash_campaign";
constexpr int kWriters = 2;
constexpr int kLimit = 12;  // small date directories: many counts, many directories
constexpr auto kProgressLimit = std::chrono::seconds(30);

// One worker process and what shows its progress: the lines of its list or
// journal.
struct Worker {
  std::vector<std::string> args;  // for a writer, the seed base is filled in at each start
  std::string output;
  std::unique_ptr<ChildProcess> process;
  int starts = 0;
};

class Campaign {
 public:
  Campaign(int kills, std::uint64_t seed) : m_kills(kills), m_random(seed) {
    m_root = m_dir.Join("root");
    for (int w = 0; w < kWriters; ++w) {
      m_lists.push_back(m_dir.Join("written-" + std::to_string(w)));
      m_workers.push_back({{"worker", "write", m_root, std::to_string(kLimit), "", m_lists.back()}, m_lists.back(), nullptr, 0});
    }
    for (const auto& [role, name] : {std::pair{CampaignRole::Update, "update"}, std::pair{CampaignRole::Cut, "cut"},
                                     std::pair{CampaignRole::Delete, "delete"}}) {
      m_journals[role] = m_dir.Join(std::string(name) + ".journal");
      std::vector<std::string> args{"worker", name, m_journals[role]};
      args.insert(args.end(), m_lists.begin(), m_lists.end());
      m_workers.push_back({args, m_journals[role], nullptr, 0});
    }
  }

  int Run() {
    for (Worker& worker : m_workers) Start(worker);
    for (int kill = 1; kill <= m_kills; ++kill) {
      std::this_thread::sleep_for(std::chrono::milliseconds(5 + m_random() % 150));
      Worker& victim = m_workers[m_random() % m_workers.size()];
      victim.process->Kill();
      if (const int code = victim.process->Wait(); code != -1) {
        m_tally.failures.push_back(victim.args[1] + " ended by itself with " + std::to_string(code));
      }
      Start(victim);
      if (kill % 25 == 0 || kill == m_kills) ExpectProgress();
    }
    for (Worker& worker : m_workers) worker.process.reset();  // killed hard, reaped

    CheckCampaign(m_root, m_lists, m_journals, m_tally);
    std::size_t repaired = 0;
    for (const CFnx_Dal_DiskFinding& finding : CheckDiskRoot(m_root, true)) repaired += finding.repaired ? 1 : 0;
    for (const CFnx_Dal_DiskFinding& finding : CheckDiskRoot(m_root, false)) {
      m_tally.failures.push_back("the repaired root still has a finding at " + finding.path);
    }
    CampaignTally afterRepair;
    CheckCampaign(m_root, m_lists, m_journals, afterRepair);
    for (const std::string& failure : afterRepair.failures) m_tally.failures.push_back("after repair: " + failure);

    std::cout << "crash campaign: " << m_kills << " kills, " << m_tally.documents << " documents announced, "
              << m_tally.exact << " read back as last written, " << m_tally.changed << " changes ended, "
              << m_tally.torn << " cut off by a kill, " << m_tally.driftedDirectories
              << " counts above their entries, " << repaired << " findings repaired, " << m_tally.failures.size()
              << " failures\n";
    for (std::size_t i = 0; i < std::min<std::size_t>(m_tally.failures.size(), 20); ++i) {
      std::cout << "  " << m_tally.failures[i] << "\n";
    }
    return m_tally.failures.empty() && m_tally.documents > 0 ? 0 : 1;
  }

 private:
  void Start(Worker& worker) {
    std::vector<std::string> args = worker.args;
    if (args[1] == "write") {
      const std::uint64_t writer = static_cast<std::uint64_t>(&worker - m_workers.data());
      args[4] = std::to_string(((static_cast<std::uint64_t>(worker.starts) << 8) + writer + 1) << 32);
    }
    ++worker.starts;
    worker.process = std::make_unique<ChildProcess>(kSelf, args);
  }

  // Every worker moves on within the limit, the one started last included:
  // none waits forever on a lock that a killed process held.
  void ExpectProgress() {
    for (Worker& worker : m_workers) {
      const std::size_t before = ReadLines(worker.output).size();
      if (!WaitUntil([&] { return ReadLines(worker.output).size() > before; }, kProgressLimit)) {
        m_tally.failures.push_back(worker.args[1] + " made no progress in 30 seconds");
      }
    }
  }

  int m_kills;
  std::mt19937_64 m_random;
  TempDir m_dir;
  std::string m_root;
  std::vector<std::string> m_lists;
  std::map<CampaignRole, std::string> m_journals;
  std::vector<Worker> m_workers;
  CampaignTally m_tally;
};

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> args(argv + 1, argv + argc);
  try {
    if (!args.empty() && args[0] == "worker") return RunCampaignWorker({args.begin() + 1, args.end()});
    int kills = 30;
    std::uint64_t seed = static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
    for (std::size_t i = 0; i + 1 < args.size(); i += 2) {
      if (args[i] == "--kills") kills = std::stoi(args[i + 1]);
      if (args[i] == "--seed") seed = std::stoull(args[i + 1]);
    }
    std::cout << "crash campaign: seed " << seed << "\n";
    return Campaign(kills, seed).Run();
  } catch (const FNXError& error) {
    std::cerr << "crash_campaign: " << error.Text() << " (code " << error.Code() << ")\n";
  } catch (const std::exception& error) {
    std::cerr << "crash_campaign: " << error.what() << "\n";
  }
  return 2;
}
