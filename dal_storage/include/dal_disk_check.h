#pragma once
// A check of a disk root for what a crash can leave behind: a date directory
// whose "dirfile.txt" counts more or fewer entries than it holds (a writer
// killed between counting its file and creating it), a date directory with
// no document left, and an entry of a date directory that cannot be read as
// a document.
#include <cstdint>
#include <string>
#include <vector>

#include "fnx_export.h"

struct FNX_API CFnx_Dal_DiskFinding {
  enum Kind { CountDrift, EmptyDirectory, UnreadableEntry };
  Kind kind = CountDrift;
  std::string path;          // the date directory, or the entry
  std::int32_t counted = 0;  // CountDrift: what "dirfile.txt" says
  std::int32_t present = 0;  // CountDrift: the entries there, "dirfile.txt" included
  bool repaired = false;
};

// Walks the date directories of root under its lockfile, so that writers
// and deleters of the root wait while it looks. With repair, a drifted count
// is written anew and an empty date directory is removed; an entry that holds
// a document is never removed. Throws FNXError when the root cannot be read
// or locked.
FNX_API std::vector<CFnx_Dal_DiskFinding> CheckDiskRoot(const std::string& root, bool repair);
