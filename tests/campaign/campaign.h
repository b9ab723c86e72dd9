#pragma once
// The reliability campaigns: a disk root or a tape drive attacked for a long
// while, then every document handed out checked (docs/RELIABILITY.md). One
// program, a mode per campaign; its worker processes are the program again.
#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <vector>

class CFnx_Dal_Configuration;

// What a campaign counted and what it found wrong.
struct Tally {
  std::map<std::string, std::size_t> counts;
  std::vector<std::string> failures;

  // One document checked: `verdict` is empty when it held what it must.
  void Judge(const std::string& verdict, const std::string& what) {
    ++counts["documents"];
    if (verdict.empty()) {
      ++counts["exact"];
    } else {
      failures.push_back(verdict + ": " + what);
    }
  }
};

// Reads a whole document through the storage handle into `content`: empty,
// or what failed.
std::string ReadWhole(const std::string& location, CFnx_Dal_Configuration* config, std::string& content);

// The modes: `count` kills or faults, every random choice from `random`.
void RunCrashCampaign(int count, std::mt19937_64& random, Tally& tally);
void RunTapeKillCampaign(int count, std::mt19937_64& random, Tally& tally);
void RunTapeFaultCampaign(int count, std::mt19937_64& random, Tally& tally);

// The worker processes, each run until it is killed:
//   disk <dir> <worker> <seed>: a writer or a changer of the crash campaign
//   backup <library> <seed> <list>: the backup run of the tape kill campaign
int RunDiskWorker(const std::vector<std::string>& args);
int RunBackupWorker(const std::vector<std::string>& args);
