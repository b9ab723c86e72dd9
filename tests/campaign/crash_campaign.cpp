// The disk crash campaign: two writers, an updater, a cutter and a deleter,
// each a real process, on one root with small date directories, killed hard
// at random points. Writers announce each document once it is closed; its
// seed decides which one changer takes it and how, so that the verdict knows
// what every announced document must hold. A changer writes a journal line
// before and after each change. The verdict runs before and after the disk
// check repairs the root.
#include <algorithm>
#include <chrono>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>
#include <thread>

#include "campaign.h"
#include "child_process.h"
#include "dal_disk_check.h"
#include "dal_storage.h"
#include "disk_content.h"
#include "fnx_error.h"
#include "os_file.h"
#include "os_path.h"
#include "osl_directory.h"
#include "temp_dir.h"

namespace {

enum Role { kKeep, kUpdate, kCut, kDelete };
const char* const kWorkerNames[] = {"writer", "updater", "cutter", "deleter"};
constexpr int kWriters = 2;
constexpr int kWorkers = kWriters + 3;  // the writers, then a changer of each role but kKeep
constexpr int kLimit = 12;              // small date directories: many counts, many directories
constexpr std::size_t kLargestDocument = 48 * 1024;
enum JournalState { kUntouched, kBegun, kEnded };
const char* const kStateNames[] = {"", ", change cut off", ", change ended"};

// What worker i writes: its announcements (a writer) or its journal.
std::string Output(const std::string& dir, int worker) { return os_path(dir, "out-" + std::to_string(worker)); }
Role RoleOf(int worker) { return worker < kWriters ? kKeep : static_cast<Role>(worker - kWriters + 1); }

// What a document's seed asks of it: a role, an update's new bytes and their
// place, a cut's new size.
struct Change {
  Role role = kKeep;
  std::size_t position = 0;
  std::string bytes;
  std::size_t newSize = 0;
};

Change ChangeFor(const AnnouncedDocument& document) {
  std::mt19937_64 random(document.seed ^ 0xC0FFEEull);
  Change change;
  change.role = static_cast<Role>(random() % 4);
  change.newSize = static_cast<std::size_t>(random() % (document.size + 1));
  if (change.role == kUpdate && document.size > 0) {
    change.position = static_cast<std::size_t>(random() % document.size);
    const std::uint64_t seed = random();
    change.bytes = DocumentBytes(seed, 1 + static_cast<std::size_t>(random() % (document.size - change.position)));
  }
  return change;
}

// Journal lines are "begun<TAB>location" and "ended<TAB>location".
void ReadJournal(const std::string& path, std::map<std::string, int>& states) {
  for (const std::string& line : ReadLines(path)) {
    int& state = states[line.substr(6)];
    state = std::max(state, line.rfind("ended", 0) == 0 ? int{kEnded} : int{kBegun});
  }
}

int WriteForever(const std::string& root, std::uint64_t seedBase, const std::string& list) {
  CFnx_Dal_ConfigValues values;
  values.m_location = root;
  values.m_maxFilesPerDir = kLimit;
  std::unique_ptr<CFnx_Dal_Configuration> config(Create_Dal_Configuration("disk", values));
  std::mt19937_64 random(seedBase);
  for (std::uint64_t seed = seedBase;; ++seed) {
    const std::size_t size = static_cast<std::size_t>(random() % (kLargestDocument + 1));
    const std::string location = StoreInPieces(*config, DocumentBytes(seed, size), random);
    AppendLine(list, location + "\t" + std::to_string(seed) + "\t" + std::to_string(size));
  }
}

void Apply(const std::string& location, const Change& change) {
  CFnx_Dal_Storage handle(location);
  bool done = change.role == kDelete ? handle.Delete() == 0 : handle.ReOpenForWriting();
  if (done && change.role == kUpdate && !change.bytes.empty()) {
    std::uint32_t written = 0;
    const auto length = static_cast<std::uint32_t>(change.bytes.size());
    done = handle.Write(change.bytes.data(), length, written, static_cast<std::int64_t>(change.position)) &&
           written == length;
  }
  if (done && change.role == kCut) done = handle.Resize(static_cast<std::int64_t>(change.newSize));
  if (!done) throw std::runtime_error(std::string(kWorkerNames[change.role]) + " failed on " + location);
  if (change.role != kDelete) handle.Close(false);
}

// Changes each announced document of its role once. A change that a killed
// predecessor began is left as it stands: the verdict accepts either state.
int ChangeForever(Role role, const std::string& dir, const std::string& journal) {
  std::map<std::string, int> before;
  ReadJournal(journal, before);
  std::size_t seen[kWriters] = {};
  for (;;) {
    bool progress = false;
    for (int w = 0; w < kWriters; ++w) {
      const std::vector<AnnouncedDocument> documents = ReadAnnouncements(Output(dir, w));
      for (; seen[w] < documents.size(); ++seen[w]) {
        progress = true;
        const AnnouncedDocument& document = documents[seen[w]];
        const Change change = ChangeFor(document);
        if (change.role != role || before.count(document.location) != 0) continue;
        AppendLine(journal, "begun\t" + document.location);
        Apply(document.location, change);
        AppendLine(journal, "ended\t" + document.location);
      }
    }
    if (!progress) std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
}

// The verdict on one document: empty when it holds what it must.
std::string Verdict(const AnnouncedDocument& document, const Change& change, int state, Tally& tally) {
  const std::string before = DocumentBytes(document.seed, document.size);
  std::string after = before;
  if (change.role == kUpdate) after.replace(change.position, change.bytes.size(), change.bytes);
  if (change.role == kCut) after.resize(change.newSize);
  tally.counts["changes ended"] += state == kEnded ? 1 : 0;
  tally.counts["changes cut off by a kill"] += state == kBegun ? 1 : 0;
  if (change.role == kDelete && state != kUntouched) {
    std::string path;
    CFnx_Dal_Storage(document.location).GetFirstFilePath(path);
    if (!Osl_File_System::exists(path)) return "";
    if (state == kEnded) return "still there after its delete";
  }
  std::string content;
  if (const std::string failed = ReadWhole(document.location, nullptr, content); !failed.empty()) return failed;
  if (state == kUntouched) return content == before ? "" : "content differs";
  if (state == kEnded) return content == after ? "" : "content differs from the change";
  // A torn update: each byte the one before or the one after.
  bool either = change.role == kUpdate && content.size() == before.size();
  for (std::size_t i = 0; either && i < content.size(); ++i) either = content[i] == before[i] || content[i] == after[i];
  if (change.role == kUpdate) return either ? "" : "torn update mixes";
  return content == before || content == after ? "" : "neither before nor after its change";
}

// Every announced document against what its journal says was done to it, and
// every date directory's count against its entries.
void Check(const std::string& dir, Tally& tally) {
  std::map<std::string, int> journal;
  for (int changer = kWriters; changer < kWorkers; ++changer) ReadJournal(Output(dir, changer), journal);
  std::set<std::string> locations;
  for (int writer = 0; writer < kWriters; ++writer) {
    for (const AnnouncedDocument& document : ReadAnnouncements(Output(dir, writer))) {
      if (!locations.insert(document.location).second) {
        tally.failures.push_back("handed out twice: " + document.location);
        continue;
      }
      const Change change = ChangeFor(document);
      const int state = journal[document.location];
      tally.Judge(Verdict(document, change, state, tally),
                  std::string(kWorkerNames[change.role]) + kStateNames[state] + ", " + document.location);
    }
  }
  // A writer killed between its count and its file, or a deleter between the
  // file and its count, leaves the count above the entries; nothing may leave
  // it below them. A writer killed between making "dirfile.txt" and writing
  // it leaves it empty, in a directory with no document: an empty directory.
  const std::string root = os_path(dir, "root");
  for (const std::string& name : DateDirectories(root)) {
    const std::string directory = os_path(root, name);
    const std::vector<std::string> entries = Entries(directory);
    const long present = static_cast<long>(entries.size());
    const long counted = DirFileCount(directory);
    if (present == 0 || (present == 1 && entries.front() == "dirfile.txt") || counted == present) continue;
    if (counted > present) {
      ++tally.counts["counts above their entries"];
    } else {
      tally.failures.push_back("count " + std::to_string(counted) + " below the " + std::to_string(present) +
                               " entries of " + directory + " (" + entries.front() + "...)");
    }
  }
}

}  // namespace

int RunDiskWorker(const std::vector<std::string>& args) {
  const std::string& dir = args.at(0);
  const int worker = std::stoi(args.at(1));
  if (worker < kWriters) return WriteForever(os_path(dir, "root"), std::stoull(args.at(2)), Output(dir, worker));
  return ChangeForever(RoleOf(worker), dir, Output(dir, worker));
}

void RunCrashCampaign(int kills, std::mt19937_64& random, Tally& tally) {
  TempDir dir;
  std::unique_ptr<ChildProcess> workers[kWorkers];
  std::uint64_t starts = 0;
  const auto start = [&](int i) {
    const std::vector<std::string> args{"worker", "disk", dir.path(), std::to_string(i),
                                        std::to_string(++starts << 32)};
    workers[i] = std::make_unique<ChildProcess>("campaign", args);
  };
  const auto name = [](int i) { return kWorkerNames[RoleOf(i)] + (i < kWriters ? " " + std::to_string(i) : ""); };
  for (int i = 0; i < kWorkers; ++i) start(i);
  for (int kill = 1; kill <= kills; ++kill) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5 + random() % 150));
    const int victim = static_cast<int>(random() % kWorkers);
    workers[victim]->Kill();
    if (const int code = workers[victim]->Wait(); code != -1) {
      tally.failures.push_back(name(victim) + " ended by itself with " + std::to_string(code));
    }
    start(victim);
    if (kill % 25 != 0 && kill != kills) continue;
    // Every worker moves on, the one started last included: none waits for
    // ever on a lock that a killed process held.
    for (int i = 0; i < kWorkers; ++i) {
      const std::size_t before = ReadLines(Output(dir.path(), i)).size();
      if (!WaitUntil([&] { return ReadLines(Output(dir.path(), i)).size() > before; }, std::chrono::seconds(30))) {
        tally.failures.push_back(name(i) + " made no progress in 30 seconds");
      }
    }
  }
  for (auto& worker : workers) worker.reset();  // killed hard, reaped
  tally.counts["kills"] = static_cast<std::size_t>(kills);

  Check(dir.path(), tally);
  const std::string root = dir.Join("root");
  for (const CFnx_Dal_DiskFinding& finding : CheckDiskRoot(root, true)) {
    tally.counts["findings repaired"] += finding.repaired ? 1 : 0;
  }
  for (const CFnx_Dal_DiskFinding& finding : CheckDiskRoot(root, false)) {
    tally.failures.push_back("the repaired root still has a finding at " + finding.path);
  }
  Tally afterRepair;
  Check(dir.path(), afterRepair);
  for (const std::string& failure : afterRepair.failures) tally.failures.push_back("after repair: " + failure);
}
