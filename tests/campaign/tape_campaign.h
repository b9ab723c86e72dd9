#pragma once
// The tape campaigns on the virtual drive, through the storage handle as a
// host writes and restores: a backup run killed hard at a random point, and a
// backup run under scripted drive faults with an operator thread. Either way
// every document whose location the run handed out must restore byte-exact.
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "dal_configuration_tape.h"
#include "disk_content.h"

// The configuration of a run on the library's drive.
CFnx_Dal_ConfigurationTape& TapeRunConfig(CFnx_Dal_ConfigurationTape& config, const std::string& library,
                                          const std::string& name);

// Writes one document as a caller of a backup run does: anew when a write
// comes back short, when the end of the medium ends the close, or when a call
// fails (a drive fault); up to `attempts` times. The location, or empty when
// every attempt failed; each failure's text goes to `failures`.
std::string WriteTapeDocument(const std::string& bytes, CFnx_Dal_ConfigurationTape& config, int attempts,
                              std::vector<std::string>& failures);

// Restores one document; empty when it came back byte-exact, else what was wrong.
std::string RestoreTapeDocument(const AnnouncedDocument& document, CFnx_Dal_ConfigurationTape& config);

// The volume id that a tape location names, empty for a document of no bytes.
std::string VolumeOf(const std::string& location);

// The operator of the runs (tape_campaign_operator.cpp).
struct TapeCampaignFigures {
  std::size_t kills = 0;
  std::size_t faults = 0;      // fired on the drive
  std::size_t documents = 0;   // handed out and restored
  std::size_t exact = 0;
  std::size_t questions = 0;   // answered by the operator
  std::vector<std::string> failures;
};

// `kill` mode: rounds of a backup run in a worker process killed at a random
// point, each followed by the restore of what it handed out.
void RunKillCampaign(int kills, std::uint64_t seed, TapeCampaignFigures& figures);
// `faults` mode: one run in this process with `faults` drive faults fired.
void RunFaultCampaign(int faults, std::uint64_t seed, TapeCampaignFigures& figures);
// The worker of the kill campaign: backup <library> <seed> <list> <volumes>.
int RunTapeBackupWorker(const std::vector<std::string>& args);
