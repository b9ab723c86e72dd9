// A backup run under drive faults: before documents, at random, the drive is
// told to reach the end of the medium a few blocks on, to report a media
// change, to lose its cartridge, to turn on write protection, or to fail the
// n-th call of a kind with an error number; now and then the operator puts a
// written volume in where a new one is asked for. Then every location handed
// out is restored, under read faults of the same kinds, each restore tried
// again until a clean try, which must come back byte-exact.
#include <random>

#include "dal_storage.h"
#include "fnx_error.h"
#include "fnx_vtape.h"
#include "tape_campaign.h"
#include "tape_campaign_operator.h"
#include "temp_dir.h"

namespace {

constexpr std::size_t kLargestDocument = 100 * 1024;
constexpr std::uint32_t kIoDeviceError = 1117;

std::uint64_t UsedBlocks(const FnxVtapeStatus& status) {
  for (const FnxVtapeCartridgeStatus& cartridge : status.cartridges) {
    if (cartridge.name == status.inDrive) return cartridge.usedBlocks;
  }
  return 0;
}

class FaultScript {
 public:
  FaultScript(std::string library, std::mt19937_64& random) : m_library(std::move(library)), m_random(random) {}

  // Scripts one fault of the write side; the operator's wrong volume is one.
  // An end of the medium holds for every cartridge until it is cleared, so
  // it goes alone and is cleared once the run has moved to a new volume.
  void Write(TapeCampaignOperator& console) {
    Settle();
    if (!m_eomCartridge.empty() || Pending() > 0) return;
    const FnxVtapeStatus status = FnxVtapeGetStatus(m_library);
    switch (m_random() % 7) {
      case 0:
        console.InsertWrongVolumeNext();
        [[fallthrough]];
      case 1: {
        FnxVtapeFault fault;
        fault.kind = FnxVtapeFaultKind::EndOfMedium;
        fault.block = UsedBlocks(status) + 1 + m_random() % 300;
        FnxVtapeScriptFault(m_library, fault);
        m_eomCartridge = status.inDrive;
        return;
      }
      case 2:
        Now(FnxVtapeFaultKind::MediaChange);
        return;
      case 3:
        Now(FnxVtapeFaultKind::WriteProtect);
        return;
      case 4:
        Fail("write", 1 + m_random() % 8);
        return;
      case 5:
        Fail(m_random() % 2 == 0 ? "set_position" : "get_position", 1 + m_random() % 4);
        return;
      default:
        Now(FnxVtapeFaultKind::RemoveCartridge);
        return;
    }
  }

  // Scripts one fault of the read side.
  void Read() {
    Settle();
    switch (m_random() % 4) {
      case 0:
        Now(FnxVtapeFaultKind::MediaChange);
        return;
      case 1:
        Fail("read", 1 + m_random() % 3);
        return;
      case 2:
        Fail("set_position", 1 + m_random() % 2);
        return;
      default:
        Now(FnxVtapeFaultKind::RemoveCartridge);
        return;
    }
  }

  // Counts what fired; an end of the medium has fired once the drive holds
  // another cartridge, and is then cleared.
  void Settle() {
    const FnxVtapeStatus status = FnxVtapeGetStatus(m_library);
    if (!m_eomCartridge.empty() && status.inDrive != m_eomCartridge) {
      FnxVtapeClearFaults(m_library);
      m_eomCartridge.clear();
      ++m_fired;
    }
    const std::size_t pending = m_eomCartridge.empty() ? status.faults.size() : 0;
    if (pending < m_failsPending) m_fired += m_failsPending - pending;
    m_failsPending = pending;
  }
  // Drops what has not fired; the restore starts from a clean drive.
  void Clear() {
    Settle();
    FnxVtapeClearFaults(m_library);
    m_eomCartridge.clear();
    m_failsPending = 0;
  }

  std::size_t Fired() const { return m_fired; }

 private:
  std::size_t Pending() const { return m_failsPending; }
  void Now(FnxVtapeFaultKind kind) {
    FnxVtapeFault fault;
    fault.kind = kind;
    FnxVtapeScriptFault(m_library, fault);
    ++m_fired;  // takes hold on the drive at once
  }
  void Fail(const std::string& call, std::uint64_t at) {
    FnxVtapeFault fault;
    fault.kind = FnxVtapeFaultKind::FailCall;
    fault.call = call;
    fault.at = at;
    fault.error = kIoDeviceError;
    FnxVtapeScriptFault(m_library, fault);
    ++m_failsPending;
  }

  const std::string m_library;
  std::mt19937_64& m_random;
  std::string m_eomCartridge;  // where an end of the medium was scripted; empty: none pending
  std::size_t m_failsPending = 0;
  std::size_t m_fired = 0;
};

}  // namespace

void RunFaultCampaign(int faults, std::uint64_t seed, TapeCampaignFigures& figures) {
  std::mt19937_64 random(seed);
  TempDir dir;
  const std::string library = dir.Join("library");
  FnxVtapeLibraryShape shape;
  shape.cartridges = static_cast<unsigned>(std::min(999, 8 + faults * 2));
  shape.blockSize = 512;
  shape.capacityBytes = 2 << 20;
  FnxVtapeCreateLibrary(library, shape);
  std::vector<std::string> blanks;
  for (const FnxVtapeCartridgeStatus& cartridge : FnxVtapeGetStatus(library).cartridges) blanks.push_back(cartridge.name);
  const std::string first = blanks.front();
  blanks.erase(blanks.begin());
  FnxVtapeInsert(library, first);

  CFnx_Dal_ConfigurationTape config;
  TapeRunConfig(config, library, "faulty-run");
  TapeCampaignOperator console(CFnx_Dal_OperatorItemID(7, "faulty-run", "DAS_CAMPAIGN"), library, blanks, first);
  FaultScript script(library, random);
  std::vector<AnnouncedDocument> handedOut;
  std::vector<std::string> refusals;  // failed attempts: no location handed out, nothing lost
  int refusedInARow = 0;
  CFnx_Dal_Storage::BackupStart(&config);
  for (std::uint64_t i = 0; script.Fired() + console.wrongVolumes() < static_cast<std::size_t>(faults); ++i) {
    if (console.outOfBlanks()) {
      figures.failures.push_back("the cartridges ran out after " + std::to_string(script.Fired()) + " faults");
      break;
    }
    if (random() % 2 == 0) script.Write(console);
    const std::uint64_t documentSeed = seed + i;
    const std::size_t size = static_cast<std::size_t>(random() % (kLargestDocument + 1));
    const std::string location = WriteTapeDocument(DocumentBytes(documentSeed, size), config, 6, refusals);
    script.Settle();
    if (location.empty()) {
      // A run that refuses document after document has stopped: say why.
      if (++refusedInARow == 5) {
        figures.failures.push_back("the run refused 5 documents in a row after " + std::to_string(script.Fired()) +
                                   " faults; the last refusal: " + refusals.back());
        break;
      }
      continue;
    }
    refusedInARow = 0;
    const std::string volume = VolumeOf(location);
    if (!volume.empty()) console.Learn(volume, FnxVtapeGetStatus(library).inDrive);
    handedOut.push_back({location, documentSeed, size});
  }
  script.Clear();
  try {
    CFnx_Dal_Storage::BackupEnd(&config);
  } catch (const FNXError& error) {
    figures.failures.push_back("the end of the run: " + error.Text());
  }
  figures.faults += script.Fired() + static_cast<std::size_t>(console.wrongVolumes());

  CFnx_Dal_ConfigurationTape restoreConfig;
  TapeRunConfig(restoreConfig, library, "faulty-run");
  const std::size_t writeFaults = script.Fired();
  for (const AnnouncedDocument& document : handedOut) {
    ++figures.documents;
    if (random() % 3 == 0) script.Read();
    std::string verdict = RestoreTapeDocument(document, restoreConfig);
    for (int again = 0; !verdict.empty() && again < 3; ++again) {
      script.Clear();
      verdict = RestoreTapeDocument(document, restoreConfig);
    }
    if (verdict.empty()) {
      ++figures.exact;
    } else {
      figures.failures.push_back("seed " + std::to_string(document.seed) + ", " + std::to_string(document.size) +
                                 " bytes: " + verdict);
    }
  }
  script.Clear();
  figures.faults += script.Fired() - writeFaults;
  figures.questions += static_cast<std::size_t>(console.answered());
  for (const std::string& error : console.Finish()) figures.failures.push_back("operator: " + error);
}
