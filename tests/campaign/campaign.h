#pragma once
// The disk crash campaign: writer, updater, cutter and deleter processes on
// one root, killed hard at random points. Writers announce each document once
// it is closed (disk_content.h); the seed of a document decides which one
// other process changes it and how, so that the checker can tell what every
// announced document must hold. The changers write a journal line before and
// after each change.
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "disk_content.h"

enum class CampaignRole { Keep, Update, Cut, Delete };

// What a document's seed asks: its role, and for an update the place, length
// and seed of the new bytes, for a cut the new size.
struct CampaignChange {
  CampaignRole role = CampaignRole::Keep;
  std::size_t position = 0;
  std::size_t length = 0;
  std::uint64_t seed = 0;
  std::size_t newSize = 0;
};
CampaignChange ChangeFor(const AnnouncedDocument& document);

// A changer's journal: for each location, whether its change began and ended.
struct JournalState {
  bool begun = false;
  bool done = false;
};
std::map<std::string, JournalState> ReadJournal(const std::string& path);
void JournalBegin(const std::string& path, const std::string& location);
void JournalDone(const std::string& path, const std::string& location);

// Worker processes; each runs until it is killed. Exit code 2 and a line on
// stderr for a failure.
//   write <root> <limit> <seed base> <list>
//   update|cut|delete <journal> <list>...
int RunCampaignWorker(const std::vector<std::string>& args);

// What the checker counted and what it found wrong.
struct CampaignTally {
  std::size_t documents = 0;  // announced and checked
  std::size_t exact = 0;      // read back as last written
  std::size_t changed = 0;    // updates, cuts and deletes that ended
  std::size_t torn = 0;       // changes cut off by a kill, checked as either state
  std::size_t driftedDirectories = 0;  // count above the entries
  std::vector<std::string> failures;
};

// Checks every document announced in lists against its journal, and the
// counts of every date directory under root; adds to tally.
void CheckCampaign(const std::string& root, const std::vector<std::string>& lists,
                   const std::map<CampaignRole, std::string>& journals, CampaignTally& tally);
