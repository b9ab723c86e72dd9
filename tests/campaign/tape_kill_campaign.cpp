// The backup run killed hard: a worker process writes documents through the
// storage handle and announces each location once its close came back; the
// campaign kills it at a random point and restores everything announced.
#include <chrono>
#include <random>
#include <thread>

#include "child_process.h"
#include "dal_storage.h"
#include "fnx_vtape.h"
#include "tape_campaign.h"
#include "tape_campaign_operator.h"
#include "temp_dir.h"

namespace {

constexpr unsigned kCartridges = 4;
constexpr std::size_t kLargestDocument = 200 * 1024;

std::vector<std::string> Cartridges(const std::string& library) {
  std::vector<std::string> names;
  for (const FnxVtapeCartridgeStatus& cartridge : FnxVtapeGetStatus(library).cartridges) names.push_back(cartridge.name);
  return names;
}

void MakeLibrary(const std::string& library, std::uint32_t blockSize) {
  FnxVtapeLibraryShape shape;
  shape.cartridges = kCartridges;
  shape.blockSize = blockSize;
  shape.capacityBytes = 2 << 20;  // a few dozen documents fill a volume
  FnxVtapeCreateLibrary(library, shape);
  FnxVtapeInsert(library, Cartridges(library).front());
}

// Where the worker said a volume lies, and how far each of those cartridges is written.
std::string Describe(const std::string& library, const std::string& volumes, const std::string& volume) {
  std::string text;
  for (const std::string& line : ReadLines(volumes)) {
    if (line.compare(0, volume.size(), volume) != 0) continue;
    const std::string cartridge = line.substr(line.find('\t') + 1);
    if (text.find(cartridge) != std::string::npos) continue;
    for (const FnxVtapeCartridgeStatus& status : FnxVtapeGetStatus(library).cartridges) {
      if (status.name == cartridge) text += cartridge + " (" + std::to_string(status.usedBlocks) + " blocks) ";
    }
  }
  return text.empty() ? "no cartridge" : text;
}

}  // namespace

int RunTapeBackupWorker(const std::vector<std::string>& args) {
  if (args.size() != 5 || args[0] != "backup") throw std::invalid_argument("usage: tape_campaign worker backup ...");
  const std::string& library = args[1];
  const std::uint64_t seedBase = std::stoull(args[2]);
  const std::string& list = args[3];
  const std::string& volumes = args[4];
  std::vector<std::string> blanks = Cartridges(library);
  const std::string first = blanks.front();
  blanks.erase(blanks.begin());
  CFnx_Dal_ConfigurationTape config;
  TapeRunConfig(config, library, "killed-run");
  TapeCampaignOperator console(CFnx_Dal_OperatorItemID(7, "killed-run", "DAS_CAMPAIGN"), library, blanks, first);
  CFnx_Dal_Storage::BackupStart(&config);
  std::mt19937_64 random(seedBase);
  std::vector<std::string> failures;
  for (std::uint64_t i = 0;; ++i) {
    const std::uint64_t seed = seedBase + i;
    const std::size_t size = static_cast<std::size_t>(random() % (kLargestDocument + 1));
    const std::string location = WriteTapeDocument(DocumentBytes(seed, size), config, 3, failures);
    if (location.empty()) break;  // out of cartridges
    const std::string volume = VolumeOf(location);
    if (!volume.empty()) AppendLine(volumes, volume + "\t" + FnxVtapeGetStatus(library).inDrive);
    AppendLine(list, location + "\t" + std::to_string(seed) + "\t" + std::to_string(size));
  }
  CFnx_Dal_Storage::BackupEnd(&config);
  return 0;
}

void RunKillCampaign(int kills, std::uint64_t seed, TapeCampaignFigures& figures) {
  std::mt19937_64 random(seed);
  for (int round = 0; round < kills; ++round) {
    TempDir dir;
    const std::string library = dir.Join("library");
    MakeLibrary(library, round % 2 == 0 ? 512 : 65536);
    const std::string list = dir.Join("handed-out");
    const std::string volumes = dir.Join("volumes");
    {
      ChildProcess worker("tape_campaign", {"worker", "backup", library, std::to_string((round + 1ull) << 32), list,
                                            volumes});
      std::this_thread::sleep_for(std::chrono::milliseconds(20 + random() % 600));
      worker.Kill();
      worker.Wait();
    }
    ++figures.kills;

    CFnx_Dal_ConfigurationTape config;
    TapeRunConfig(config, library, "restore");
    TapeCampaignOperator console(CFnx_Dal_OperatorItemID(7, "restore", "DAS_CAMPAIGN"), library, {},
                                 FnxVtapeGetStatus(library).inDrive);
    for (const std::string& line : ReadLines(volumes)) {
      const std::size_t tab = line.find('\t');
      console.Learn(line.substr(0, tab), line.substr(tab + 1));
    }
    for (const AnnouncedDocument& document : ReadAnnouncements(list)) {
      ++figures.documents;
      const std::string verdict = RestoreTapeDocument(document, config);
      if (verdict.empty()) {
        ++figures.exact;
      } else {
        figures.failures.push_back("round " + std::to_string(round) + ", seed " + std::to_string(document.seed) +
                                   ", volume " + VolumeOf(document.location) + " on " +
                                   Describe(library, volumes, VolumeOf(document.location)) + ": " + verdict);
      }
    }
    figures.questions += static_cast<std::size_t>(console.answered());
    for (const std::string& error : console.Finish()) figures.failures.push_back("operator: " + error);
  }
}
