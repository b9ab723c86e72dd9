#pragma once
// The library directory of a virtual drive: what it holds and the one way its
// state changes.
//
//   <directory>/state        the drive and the cartridges, as text (below)
//   <directory>/lock         byte 0 held by the process that has the drive
//                            open, byte 1 by whoever reads or changes state
//   <directory>/changes      grows by one byte at each change of state, so
//                            that the drive's holder notices a change made
//                            by another process with one cheap call
//   <directory>/C001.tape    a cartridge image (vtape_cartridge.h)
//
// The state file, one entry a line, replaced as a whole on each change:
//   fnx-vtape-library 1
//   library <block size> <capacity blocks> <warning blocks>
//   cartridge <name> <block size> rw|ro
//   drive <name or -> <loaded 0|1> <position> <media changed 0|1> <generation>
//   next-fault <id>
//   fault <id> <call or eom> <at> <error> once|always
// A person may edit the fault lines by hand; a process that holds the drive
// sees them at its next open.
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
  // processes' changes never mix; change throws to leave it as it was. A
  // change that changes nothing writes nothing.
  vtape_state update(const std::function<void(vtape_state&)>& change) const;

 private:
  vtape_state read_unlocked() const;
  void write_unlocked(const vtape_state& state) const;
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
