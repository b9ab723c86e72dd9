// The tape campaigns on the virtual drive, through the storage handle as a
// host writes and restores: backup runs killed hard at a random point, and a
// run under scripted drive faults. Either way every location a run handed out
// must restore byte-exact.
#include <algorithm>
#include <atomic>
#include <iostream>
#include <map>
#include <thread>

#include "campaign.h"
#include "child_process.h"
#include "dal_storage.h"
#include "dal_tape_dev.h"
#include "dal_tape_format.h"
#include "disk_content.h"
#include "fnx_vtape.h"
#include "scripted_operator.h"
#include "temp_dir.h"

namespace {

using enum FnxVtapeFaultKind;

// The operator at the console: asked for a new volume it inserts the next
// blank cartridge (a written one first when wrongNext is set), asked for a
// volume the cartridge that holds it (the one the run writes when the volume
// is not known yet), and it takes write protection off. Anything else is
// answered "Cancel" and reported.
class Console {
 public:
  Console(const std::string& run, std::string library, std::map<std::string, std::string> volumes)
      : m_library(std::move(library)), m_volumes(std::move(volumes)) {
    const FnxVtapeStatus status = FnxVtapeGetStatus(m_library);
    m_current = m_first = status.inDrive;
    for (const FnxVtapeCartridgeStatus& cartridge : status.cartridges) {
      if (cartridge.usedBlocks == 0 && cartridge.name != m_first) m_blanks.push_back(cartridge.name);
    }
    m_operator = std::make_unique<ScriptedOperator>(CFnx_Dal_OperatorItemID(7, run, "DAS_CAMPAIGN"),
                                                    [this](const std::string& question) { return Answer(question); });
  }
  // Stops answering; counts the questions and reports what went wrong.
  void Finish(Tally& tally) {
    m_operator->Finish();
    tally.counts["questions answered"] += m_answered;
    for (const std::string& error : m_errors) tally.failures.push_back("operator: " + error);
  }

  std::atomic<bool> wrongNext{false};
  std::atomic<std::size_t> wrongVolumes{0};

 private:
  std::string Answer(const std::string& question) {
    const auto has = [&](const char* part) { return question.find(part) != std::string::npos; };
    ++m_answered;
    try {
      if (has("WRITE-PROTECTED") || has("write protected")) {
        FnxVtapeProtect(m_library, FnxVtapeGetStatus(m_library).inDrive, false);
        return "Retry";
      }
      if (has("insert a new volume") || has("insert scratch tape") || has("Please insert a new tape")) {
        if (wrongNext.exchange(false)) {
          ++wrongVolumes;
          FnxVtapeInsert(m_library, m_first);  // a written volume: the device must refuse it
          return "Retry";
        }
        if (m_blanks.empty()) return "Cancel";  // the run ends: its last document fails
        m_current = m_blanks.front();
        m_blanks.erase(m_blanks.begin());
        FnxVtapeInsert(m_library, m_current);
        return "Retry";
      }
      for (const std::string prefix :
           {"Restore: please insert tape with label=(", "Please insert tape with label=(", "Tape with label=("}) {
        if (question.rfind(prefix, 0) != 0) continue;
        std::string volume = question.substr(prefix.size(), kTapeVolumeIdSize);
        if (volume.size() == kTapeVolumeIdSize) volume[26] = ' ';  // the separator as a location carries it
        const auto found = m_volumes.find(volume);
        FnxVtapeInsert(m_library, found == m_volumes.end() ? m_current : found->second);
        return "Retry";
      }
    } catch (const std::exception& error) {
      m_errors.push_back("acting on \"" + question + "\": " + error.what());
      return "Cancel";
    }
    m_errors.push_back("unexpected question: " + question);
    return "Cancel";
  }

  const std::string m_library;
  const std::map<std::string, std::string> m_volumes;  // volume id to cartridge
  std::vector<std::string> m_blanks;
  std::string m_first;
  std::string m_current;       // the cartridge of the volume the run writes
  std::size_t m_answered = 0;  // read after Finish, as m_errors
  std::vector<std::string> m_errors;
  std::unique_ptr<ScriptedOperator> m_operator;
};

// One kind of drive fault: a failing call fails at the 1st to `most`-th call
// of its kind from now on, an end of the medium lies 1 to `most` blocks ahead.
struct FaultChoice {
  FnxVtapeFaultKind kind;
  const char* call;
  std::uint64_t most;
};
const FaultChoice kWriteFaults[] = {
    {EndOfMedium, "", 300},        {MediaChange, "", 1},          {WriteProtect, "", 1},   {FailCall, "write", 8},
    {FailCall, "set_position", 4}, {FailCall, "get_position", 4}, {RemoveCartridge, "", 1}};
const FaultChoice kReadFaults[] = {
    {MediaChange, "", 1}, {FailCall, "read", 3}, {FailCall, "set_position", 2}, {RemoveCartridge, "", 1}};

// Scripts faults on the drive and counts those that fired. A failing call
// fires once the drive no longer holds it; an end of the medium holds for
// every cartridge until it is cleared, so it goes alone and fires (and is
// cleared) once the run has moved to another cartridge; the others fire at
// once.
class FaultScript {
 public:
  FaultScript(std::string library, std::mt19937_64& random) : m_library(std::move(library)), m_random(random) {}

  void Script(const FaultChoice* choices, std::size_t count, Console& console) {
    Settle();
    if (!m_eomCartridge.empty() || m_pending > 0) return;
    const FaultChoice& choice = choices[m_random() % count];
    FnxVtapeFault fault;
    fault.kind = choice.kind;
    fault.call = choice.call;
    fault.at = 1 + m_random() % choice.most;
    fault.error = 1117;  // an I/O device error
    if (choice.kind == EndOfMedium) {
      const FnxVtapeStatus status = FnxVtapeGetStatus(m_library);
      for (const FnxVtapeCartridgeStatus& cartridge : status.cartridges) {
        if (cartridge.name == status.inDrive) fault.block = cartridge.usedBlocks + fault.at;
      }
      m_eomCartridge = status.inDrive;
      console.wrongNext = m_random() % 2 == 0;  // the operator puts a written volume in first
    }
    FnxVtapeScriptFault(m_library, fault);
    m_pending += choice.kind == FailCall ? 1 : 0;
    fired += choice.kind == FailCall || choice.kind == EndOfMedium ? 0 : 1;
  }
  void Settle() {
    const FnxVtapeStatus status = FnxVtapeGetStatus(m_library);
    if (m_eomCartridge.empty()) {
      fired += m_pending - std::min(m_pending, status.faults.size());
      m_pending = std::min(m_pending, status.faults.size());
    } else if (status.inDrive != m_eomCartridge) {
      FnxVtapeClearFaults(m_library);
      m_eomCartridge.clear();
      ++fired;
    }
  }
  // Drops what has not fired.
  void Clear() {
    Settle();
    FnxVtapeClearFaults(m_library);
    m_eomCartridge.clear();
    m_pending = 0;
  }

  std::size_t fired = 0;

 private:
  const std::string m_library;
  std::mt19937_64& m_random;
  std::string m_eomCartridge;  // where an end of the medium was scripted; empty: none pending
  std::size_t m_pending = 0;   // failing calls scripted, not fired yet
};

// A library of blank cartridges of 2 MiB (a few dozen documents fill one),
// the first in the drive.
std::string MakeLibrary(const TempDir& dir, unsigned cartridges, std::uint32_t blockSize) {
  const std::string library = dir.Join("library");
  FnxVtapeCreateLibrary(library, {.cartridges = cartridges, .blockSize = blockSize, .capacityBytes = 2 << 20});
  FnxVtapeInsert(library, FnxVtapeGetStatus(library).cartridges.front().name);
  return library;
}

// Writes one document as a caller of a backup run does: anew when a write
// comes back short, when the end of the medium ends the close, or when a call
// fails (a drive fault); six times at most. The location, or empty with the
// last failure in `refusal`.
std::string WriteDocument(const std::string& bytes, CFnx_Dal_ConfigurationTape& config, std::string& refusal) {
  constexpr std::size_t kChunk = 96 * 1024;
  for (int attempt = 0; attempt < 6; ++attempt) {
    try {
      CFnx_Dal_Storage handle;
      handle.OpenForWriting("tape", &config);
      bool whole = true;
      for (std::size_t done = 0; whole && done < bytes.size();) {
        const auto piece = static_cast<std::uint32_t>(std::min(kChunk, bytes.size() - done));
        std::uint32_t written = 0;
        whole = handle.Write(bytes.data() + done, piece, written, -1) && written == piece;
        done += written;
      }
      // The early warning leaves room for the end label: the caller closes
      // once more; at the physical end that fails too, and the document goes
      // anew to the next volume.
      for (int close = 0; whole && close < 2; ++close) {
        try {
          handle.Close(false);
          return handle.GetName();
        } catch (const end_of_tape_error&) {
        }
      }
    } catch (const FNXError& error) {
      refusal = error.Text();
    }
  }
  return {};
}

// The volume id that a tape location names, empty for a document of no bytes.
std::string VolumeOf(const std::string& location) {
  std::vector<std::string> files;
  ParseStorageLocation(location, files);
  std::string media, path, das, configName, volume;
  std::int64_t from = 0, size = 0;
  if (files.size() != 1 || !ParseFileLocation(files[0], media, path, from, size)) return {};
  ParseMediaLocation(media, path, das, configName, volume);
  return volume;
}

// A backup run: documents of random bytes until the cartridges run out, or,
// with a script, until `faults` faults fired; each location announced in
// `list` once its close came back, with the cartridge then in the drive.
void BackupRun(const std::string& library, const std::string& list, std::mt19937_64& random, FaultScript* script,
               std::size_t faults, Tally& tally) {
  CFnx_Dal_ConfigurationTape config;
  ConfigureVtapeRun(config, library, "backup-run", "DAS_CAMPAIGN", "CAMPAIGN");
  Console console("backup-run", library, {});
  std::string refusal;
  int refusedInARow = 0;
  CFnx_Dal_Storage::BackupStart(&config);
  while (!script || script->fired + console.wrongVolumes < faults) {
    if (script && random() % 2 == 0) script->Script(kWriteFaults, std::size(kWriteFaults), console);
    const std::uint64_t seed = random();
    const std::size_t size = static_cast<std::size_t>(random() % ((script ? 100 : 200) * 1024 + 1));
    const std::string location = WriteDocument(DocumentBytes(seed, size), config, refusal);
    if (script) script->Settle();
    if (!location.empty()) {
      refusedInARow = 0;
      AppendLine(list, location + "\t" + std::to_string(seed) + "\t" + std::to_string(size) + "\t" +
                           FnxVtapeGetStatus(library).inDrive);
    } else if (++refusedInARow == 5) {
      // Out of cartridges: the end of a run without faults; with faults, a
      // run that refuses document after document has stopped: say why.
      if (script) tally.failures.push_back("the run stopped; the last refusal: " + refusal);
      break;
    }
  }
  if (script) script->Clear();
  try {
    CFnx_Dal_Storage::BackupEnd(&config);
  } catch (const FNXError& error) {
    tally.failures.push_back("the end of the run: " + error.Text());
  }
  tally.counts["faults fired"] += console.wrongVolumes;
  console.Finish(tally);
}

// Restores every document of `list`, with a script one in three under a read
// fault and then tried again until a clean try, which must come back
// byte-exact.
void RestoreAll(const std::string& library, const std::string& list, std::mt19937_64& random, FaultScript* script,
                Tally& tally) {
  std::map<std::string, std::string> volumes;
  for (const std::string& line : ReadLines(list)) {
    volumes[VolumeOf(line.substr(0, line.find('\t')))] = line.substr(line.rfind('\t') + 1);
  }
  CFnx_Dal_ConfigurationTape config;
  ConfigureVtapeRun(config, library, "restore", "DAS_CAMPAIGN", "CAMPAIGN");
  Console console("restore", library, volumes);
  for (const AnnouncedDocument& document : ReadAnnouncements(list)) {
    if (script && random() % 3 == 0) script->Script(kReadFaults, std::size(kReadFaults), console);
    std::string content;
    std::string verdict = ReadWhole(document.location, &config, content);
    for (int again = 0; script && !verdict.empty() && again < 3; ++again) {
      script->Clear();
      verdict = ReadWhole(document.location, &config, content);
    }
    if (verdict.empty() && content != DocumentBytes(document.seed, document.size)) verdict = "content differs";
    tally.Judge(verdict, "seed " + std::to_string(document.seed) + ", volume " + VolumeOf(document.location));
  }
  if (script) script->Clear();
  console.Finish(tally);
}

}  // namespace

int RunBackupWorker(const std::vector<std::string>& args) {
  std::mt19937_64 random(std::stoull(args.at(1)));
  Tally tally;
  BackupRun(args.at(0), args.at(2), random, nullptr, 0, tally);
  for (const std::string& failure : tally.failures) std::cerr << failure << "\n";
  return tally.failures.empty() ? 0 : 1;
}

void RunTapeKillCampaign(int kills, std::mt19937_64& random, Tally& tally) {
  for (int round = 0; round < kills; ++round) {
    TempDir dir;
    const std::string library = MakeLibrary(dir, 4, round % 2 == 0 ? 512 : 65536);
    {
      ChildProcess worker("campaign", {"worker", "backup", library, std::to_string(random()), dir.Join("list")});
      std::this_thread::sleep_for(std::chrono::milliseconds(20 + random() % 600));
      worker.Kill();
      if (const int code = worker.Wait(); code > 0) {
        tally.failures.push_back("round " + std::to_string(round) + ": the backup run failed with " +
                                 std::to_string(code));
      }
    }
    ++tally.counts["kills"];
    RestoreAll(library, dir.Join("list"), random, nullptr, tally);
  }
}

void RunTapeFaultCampaign(int faults, std::mt19937_64& random, Tally& tally) {
  TempDir dir;
  const std::string library = MakeLibrary(dir, static_cast<unsigned>(std::min(999, 8 + faults * 2)), 512);
  FaultScript script(library, random);
  BackupRun(library, dir.Join("list"), random, &script, static_cast<std::size_t>(faults), tally);
  RestoreAll(library, dir.Join("list"), random, &script, tally);
  tally.counts["faults fired"] += script.fired;
}
