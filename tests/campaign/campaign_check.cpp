// The crash campaign's verdict: every announced document against what its
// journal says was done to it, and every date directory's count against its
// entries.
#include <set>

#include "campaign.h"
#include "dal_storage.h"
#include "fnx_error.h"
#include "os_file.h"
#include "os_path.h"
#include "osl_directory.h"

namespace {

// The whole document, or false when it cannot be opened or read.
bool ReadDocument(const std::string& location, std::string& content) {
  try {
    CFnx_Dal_Storage document(location);
    if (!document.OpenForReading(nullptr)) return false;
    content.assign(static_cast<std::size_t>(document.GetSize()) + 1, '\0');
    const std::int32_t read = document.Read(content.data(), static_cast<std::uint32_t>(content.size()), -1);
    document.Close(false);
    if (read < 0) return false;
    content.resize(static_cast<std::size_t>(read));
    return true;
  } catch (const FNXError&) {
    return false;
  }
}

bool Gone(const std::string& location) {
  std::string path;
  CFnx_Dal_Storage(location).GetFirstFilePath(path);
  return !Osl_File_System::exists(path);
}

// Each byte is the one before or the one after an update cut off by a kill.
bool EitherByByte(const std::string& content, const std::string& before, const std::string& after) {
  if (content.size() != before.size()) return false;
  for (std::size_t i = 0; i < content.size(); ++i) {
    if (content[i] != before[i] && content[i] != after[i]) return false;
  }
  return true;
}

// The verdict on one document: empty when it holds what it must.
std::string Verdict(const AnnouncedDocument& document, const CampaignChange& change, const JournalState& state,
                    CampaignTally& tally) {
  const std::string original = DocumentBytes(document.seed, document.size);
  std::string changed = original;
  if (change.role == CampaignRole::Update) {
    changed.replace(change.position, change.length, DocumentBytes(change.seed, change.length));
  }
  if (change.role == CampaignRole::Cut) changed.resize(change.newSize);
  const bool torn = state.begun && !state.done;
  if (state.done) ++tally.changed;
  if (torn) ++tally.torn;

  if (change.role == CampaignRole::Delete && state.begun && Gone(document.location)) return "";
  if (change.role == CampaignRole::Delete && state.done) return "still there after its delete";
  std::string content;
  if (!ReadDocument(document.location, content)) return "cannot be read";
  if (!state.begun) return content == original ? "" : "content differs";
  if (state.done) return content == changed ? "" : "content differs from the change";
  if (change.role == CampaignRole::Update) return EitherByByte(content, original, changed) ? "" : "torn update mixes";
  return content == original || content == changed ? "" : "neither before nor after its change";
}

}  // namespace

void CheckCampaign(const std::string& root, const std::vector<std::string>& lists,
                   const std::map<CampaignRole, std::string>& journals, CampaignTally& tally) {
  std::map<CampaignRole, std::map<std::string, JournalState>> states;
  for (const auto& [role, path] : journals) states[role] = ReadJournal(path);
  std::set<std::string> locations;
  for (const std::string& list : lists) {
    for (const AnnouncedDocument& document : ReadAnnouncements(list)) {
      ++tally.documents;
      if (!locations.insert(document.location).second) {
        tally.failures.push_back("handed out twice: " + document.location);
        continue;
      }
      const CampaignChange change = ChangeFor(document);
      const auto journal = states[change.role].find(document.location);
      const JournalState state = journal == states[change.role].end() ? JournalState{} : journal->second;
      const std::string verdict = Verdict(document, change, state, tally);
      if (verdict.empty()) {
        ++tally.exact;
      } else {
        const char* roles[] = {"kept", "updated", "cut", "deleted"};
        tally.failures.push_back(verdict + " (" + roles[static_cast<int>(change.role)] +
                                 (state.done ? ", change ended" : state.begun ? ", change cut off" : "") +
                                 "): " + document.location);
      }
    }
  }
  // A writer killed between its count and its file, or a deleter between the
  // file and its count, leaves the count above the entries; nothing may leave
  // it below them.
  for (const std::string& name : DateDirectories(root)) {
    const std::string directory = os_path(root, name);
    const std::vector<std::string> entries = Entries(directory);
    const long present = static_cast<long>(entries.size());
    const long counted = DirFileCount(directory);
    // A writer killed between making "dirfile.txt" and writing it leaves it
    // empty, in a directory with no document: that is an empty directory.
    const bool noDocument = present == 0 || (present == 1 && entries.front() == "dirfile.txt");
    if (noDocument || counted == present) continue;
    if (counted > present) {
      ++tally.driftedDirectories;
    } else {
      tally.failures.push_back("count " + std::to_string(counted) + " below the " + std::to_string(present) +
                               " entries of " + directory + " (" + entries.front() + "...)");
    }
  }
}
