#pragma once
// The library directory of a virtual drive: what it holds and the one way its
// state changes.
//
//   <directory>/state        the drive and the cartridges, as text (below)
//   <directory>/position     where the drive stands (below)
//   <directory>/lock         byte 0 held by the process that has the drive
//                            open, byte 1 by whoever reads or changes state
//   <directory>/changes      grows by one byte at each change that another
//                            process makes, so that the drive's holder
//                            notices it with one cheap call
//   <directory>/C001.tape    a cartridge image (vtape_cartridge.h)
//
// The state file, one entry a line, replaced as a whole (a new file and a
// rename) on each change of it:
//   fnx-vtape-library 2
//   library <block size> <capacity blocks> <warning blocks>
//   cartridge <name> <block size> rw|ro
//   drive <name or -> <loaded 0|1> <media changed 0|1> <generation>
//   next-fault <id>
//   fault <id> <call or eom> <at> <error> once|always
// A person may edit the fault lines by hand; a process that holds the drive
// sees them at its next open.
//
// The position changes at every close of the drive, so it is no line of the
// state file but a record rewritten in place: two slots of 32 bytes, each a
// sequence number, the generation it belongs to, the block, and an FNV-1a
// checksum of the three (little-endian). A write goes to the slot that does
// not hold the newest record, so a write cut short leaves the one before it
// readable. The position counts for the drive's generation only; a record of
// another generation means block 0 (an insert or a load rewinds).
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "os_file.h"

struct vtape_cartridge_entry {
  std::string name;
  std::uint32_t block_size = 0;
  bool write_protected = false;
};

// A scripted fault. call "eom": the early warning of the cartridge in the
// drive begins at block `at`. Any other call (a name of vtape_calls): that
// call's `at`-th use from now on fails with `error`, once or from then on.
struct vtape_fault {
  std::uint64_t id = 0;
  std::string call;
  std::uint64_t at = 0;
  std::uint32_t error = 0;
  bool always = false;
};

struct vtape_state {
  std::uint32_t block_size = 0;       // of the cartridges made at creation
  std::uint64_t capacity_blocks = 0;
  std::uint64_t warning_blocks = 0;
  std::vector<vtape_cartridge_entry> cartridges;
  std::string drive;                  // the cartridge in the drive; empty: none
  bool loaded = false;
  std::uint64_t position = 0;
  bool media_changed = false;         // 1110 owed to the next call
  std::uint64_t generation = 0;       // counts inserts, ejects, loads, unloads
  std::uint64_t next_fault_id = 1;
  std::vector<vtape_fault> faults;

  vtape_cartridge_entry* find(const std::string& name);
};

// The call names that a fault can name, in the order of the seam.
extern const char* const vtape_calls[];
extern const int vtape_call_count;
int vtape_call_index(const std::string& name);  // -1 when unknown

class vtape_library {
 public:
  explicit vtape_library(std::string directory) : m_directory(std::move(directory)) {}

  const std::string& directory() const { return m_directory; }
  std::string path(const std::string& name) const;
  std::string image_path(const std::string& cartridge) const { return path(cartridge + ".tape"); }

  // Makes the directory's files for a fresh state (the directory exists and
  // holds no library). Throws vtape_error.
  void create(const vtape_state& state) const;
  // The state as it stands. Throws vtape_error: 2 without a library, 1392
  // for a state file that does not parse.
  vtape_state read() const;
  // Reads, changes and writes the state under the state lock, so that two
  // processes' changes never mix; change throws to leave it as it was. Only
  // what changed is written, and the change mark only for others' changes:
  // the holder of the drive is the one process that watches it.
  vtape_state update(const std::function<void(vtape_state&)>& change, bool by_holder = false) const;

 private:
  struct stored_position {
    std::uint64_t sequence = 0;
    std::uint64_t generation = 0;
    std::uint64_t position = 0;
    int slot = 0;  // the slot that holds it
  };

  // Leaves the position record open in record, with access, for a write.
  vtape_state read_unlocked(Osl_File& record, stored_position& stored, int access) const;
  void write_state(const vtape_state& state) const;
  void write_position(Osl_File& record, const stored_position& stored) const;
  void mark_change() const;
  void lock_state(Osl_File& lock, bool exclusive) const;

  std::string m_directory;
};

// Watches <directory>/changes for growth. One seek per look.
class vtape_change_watch {
 public:
  // Throws vtape_error.
  explicit vtape_change_watch(const vtape_library& library);
  // True once after each change since the last look.
  bool changed();

 private:
  Osl_File m_file;
  std::int64_t m_size = -1;
};

std::string vtape_format_state(const vtape_state& state);
// A fault as its line of the state file, without the line end.
std::string vtape_format_fault(const vtape_fault& fault);
// Throws vtape_error 1392 naming the line that does not parse.
vtape_state vtape_parse_state(const std::string& text, const std::string& where);
