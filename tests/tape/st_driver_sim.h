#pragma once
// A simulated Linux SCSI tape driver behind one device node, played through
// the platform's table of system calls (open, close, read, write, ioctl,
// fstat): it answers as the st driver documents it, the filemark it writes by
// itself included. Everything else passes to the real calls. One at a time,
// while no other thread makes those calls.
#include <climits>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

struct StSimBlock {
  std::string data;  // empty for a filemark
  bool filemark = false;
};

class StDriverSim {
 public:
  explicit StDriverSim(std::string device = "/dev/nst0");
  ~StDriverSim();
  StDriverSim(const StDriverSim&) = delete;
  StDriverSim& operator=(const StDriverSim&) = delete;

  int Filemarks() const;  // on the tape

  // The drive, as a test sets it up and looks at it.
  std::vector<StSimBlock> tape;
  bool medium = true;
  bool write_protected = false;
  bool root = false;                    // MTSETDRVBUFFER is allowed
  unsigned long options = 0;            // the driver options, as sysfs shows them
  std::uint32_t block_size = 0;         // 0: variable block mode
  std::uint32_t position = 0;           // the next block
  std::uint32_t early_warning = UINT_MAX;  // a write that ends past this block meets the warning
  std::uint32_t physical_end = UINT_MAX;   // no block is written at or past it
  bool unit_attention = false;          // a new cartridge: I/O fails with EIO until the next open
  bool blocking_open = false;           // an open without O_NONBLOCK was made
  int open_error = 0;                   // an open fails with it (EACCES: the node's permission)

  // The driver's own state.
  bool open = false;
  bool ready = false;                   // a medium was there at the open or MTLOAD: the driver's cached view
  bool writing = false;                 // the last operation was a write
  bool at_end_of_data = false;
  bool at_filemark = false;
  enum class EarlyWarning { none, pending, trailer } warning = EarlyWarning::none;
  bool physical_end_hit = false;

  const std::string device;

 private:
  struct Overrides;
  std::unique_ptr<Overrides> m_overrides;
};
