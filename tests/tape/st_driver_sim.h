#pragma once
// A simulated Linux SCSI tape driver behind /dev/nst0, played through the
// platform's table of system calls; other paths and descriptors reach the
// real calls. One at a time, while no other thread makes those calls.
#include <climits>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

struct StDriverSim {
  StDriverSim();
  ~StDriverSim();
  int Filemarks() const;

  std::vector<std::string> tape;  // the blocks; an empty one is a filemark
  bool medium = true;
  bool write_protected = false;
  bool root = false;                       // MTSETDRVBUFFER is allowed
  unsigned long options = 0;               // the driver options, as sysfs shows them
  std::uint32_t block_size = 0;            // 0: variable block mode
  std::uint32_t position = 0;              // the next block
  std::uint32_t early_warning = UINT_MAX;  // the write that ends past this block is the last before ENOSPC
  std::uint32_t physical_end = UINT_MAX;   // no block is written at or past it
  bool unit_attention = false;             // a new cartridge: I/O fails with EIO until the next open
  int open_error = 0;                      // an open fails with it (EACCES: the node's permission)
  bool open = false;                       // a second open gets EBUSY
  bool ready = false;                      // the driver's view: a medium was there at the open or MTLOAD
  bool writing = false;                    // the last operation was a write: a filemark is owed
  bool warning_owed = false;               // the next write gets ENOSPC
  bool physical_end_hit = false;           // GMT_EOT

 private:
  struct Overrides;
  std::unique_ptr<Overrides> m_overrides;
};
