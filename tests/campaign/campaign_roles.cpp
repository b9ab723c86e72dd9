// The worker processes of the crash campaign and what a seed asks of a
// document.
#include <chrono>
#include <memory>
#include <random>
#include <stdexcept>
#include <thread>

#include "campaign.h"
#include "dal_storage.h"

namespace {

std::uint64_t Mix(std::uint64_t x) {
  x += 0x9E3779B97F4A7C15ull;
  x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9ull;
  x = (x ^ (x >> 27)) * 0x94D049BB133111EBull;
  return x ^ (x >> 31);
}

constexpr std::size_t kLargestDocument = 48 * 1024;

// New documents of seeded content, each announced once closed; sizes from 0
// to kLargestDocument, written in one to three calls.
int WriteForever(const std::string& root, int limit, std::uint64_t seedBase, const std::string& list) {
  CFnx_Dal_ConfigValues values;
  values.m_location = root;
  values.m_maxFilesPerDir = limit;
  std::unique_ptr<CFnx_Dal_Configuration> config(Create_Dal_Configuration("disk", values));
  std::mt19937_64 random(seedBase);
  for (std::uint64_t i = 0;; ++i) {
    const std::uint64_t seed = seedBase + i;
    const std::size_t size = static_cast<std::size_t>(random() % (kLargestDocument + 1));
    const std::string content = DocumentBytes(seed, size);
    AppendLine(list, StoreInPieces(*config, content, random) + "\t" + std::to_string(seed) + "\t" + std::to_string(size));
  }
}

void Change(const AnnouncedDocument& document, const CampaignChange& change) {
  CFnx_Dal_Storage handle(document.location);
  if (change.role == CampaignRole::Delete) {
    if (handle.Delete() != 0) throw std::runtime_error("delete failed: " + document.location);
    return;
  }
  if (!handle.ReOpenForWriting()) throw std::runtime_error("open for update refused: " + document.location);
  if (change.role == CampaignRole::Update && change.length > 0) {
    const std::string bytes = DocumentBytes(change.seed, change.length);
    std::uint32_t written = 0;
    if (!handle.Write(bytes.data(), static_cast<std::uint32_t>(bytes.size()), written,
                      static_cast<std::int64_t>(change.position)) ||
        written != bytes.size()) {
      throw std::runtime_error("short update of " + document.location);
    }
  }
  if (change.role == CampaignRole::Cut && !handle.Resize(static_cast<std::int64_t>(change.newSize))) {
    throw std::runtime_error("cut refused: " + document.location);
  }
  handle.Close(false);
}

// Changes each announced document of its role once. A change that a killed
// predecessor began is left as it stands: the checker accepts either state.
int ChangeForever(CampaignRole role, const std::string& journal, const std::vector<std::string>& lists) {
  const std::map<std::string, JournalState> before = ReadJournal(journal);
  std::map<std::string, std::size_t> seen;
  for (;;) {
    bool progress = false;
    for (const std::string& list : lists) {
      const std::vector<AnnouncedDocument> documents = ReadAnnouncements(list);
      for (std::size_t j = seen[list]; j < documents.size(); ++j) {
        progress = true;
        const CampaignChange change = ChangeFor(documents[j]);
        if (change.role != role || before.count(documents[j].location) != 0) continue;
        JournalBegin(journal, documents[j].location);
        Change(documents[j], change);
        JournalDone(journal, documents[j].location);
      }
      seen[list] = documents.size();
    }
    if (!progress) std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
}

}  // namespace

CampaignChange ChangeFor(const AnnouncedDocument& document) {
  const std::uint64_t m = Mix(document.seed ^ 0xC0FFEEull);
  CampaignChange change;
  change.role = static_cast<CampaignRole>(m % 4);
  if (document.size > 0) {
    change.position = static_cast<std::size_t>(Mix(m + 1) % document.size);
    change.length = 1 + static_cast<std::size_t>(Mix(m + 2) % (document.size - change.position));
  }
  change.seed = Mix(m + 3);
  change.newSize = static_cast<std::size_t>(Mix(m + 4) % (document.size + 1));
  return change;
}

std::map<std::string, JournalState> ReadJournal(const std::string& path) {
  std::map<std::string, JournalState> states;
  for (const std::string& line : ReadLines(path)) {
    const std::size_t tab = line.find('\t');
    if (tab == std::string::npos) continue;
    JournalState& state = states[line.substr(tab + 1)];
    if (line.compare(0, tab, "begin") == 0) state.begun = true;
    if (line.compare(0, tab, "done") == 0) state.done = true;
  }
  return states;
}

void JournalBegin(const std::string& path, const std::string& location) { AppendLine(path, "begin\t" + location); }

void JournalDone(const std::string& path, const std::string& location) { AppendLine(path, "done\t" + location); }

int RunCampaignWorker(const std::vector<std::string>& args) {
  const std::string mode = args.empty() ? "" : args[0];
  if (mode == "write" && args.size() == 5) {
    return WriteForever(args[1], std::stoi(args[2]), std::stoull(args[3]), args[4]);
  }
  const std::map<std::string, CampaignRole> changers{
      {"update", CampaignRole::Update}, {"cut", CampaignRole::Cut}, {"delete", CampaignRole::Delete}};
  const auto changer = changers.find(mode);
  if (changer != changers.end() && args.size() >= 3) {
    return ChangeForever(changer->second, args[1], std::vector<std::string>(args.begin() + 2, args.end()));
  }
  throw std::invalid_argument("usage: crash_campaign worker write|update|cut|delete ...");
}
