#pragma once
// The virtual drive of a library directory, as a backend of the tape seam.
//
// What it keeps of a real drive in fixed block mode:
// - one partition (reported as 0), logical block positions from 0;
// - end of data: a read there fails with 1104, a read across it delivers the
//   blocks before it, a positioning there or beyond stops there with 1104;
// - writing at a block cuts off everything behind it;
// - end of medium: the first write that would reach the early-warning zone
//   fails with 1100 having written nothing; later writes go on into the zone,
//   up to the capacity, where a write fails with 1129 having written nothing;
// - 1110 once, at the first call after a cartridge was inserted or loaded
//   (status, positioning, erase, partition, tapemark, read or write; the
//   parameter records and the position answer without it);
// - 1112 without a loaded cartridge, 19 on writing a protected one, 87 for a
//   transfer that is not a whole number of blocks, 50 for what the drive
//   does not do (tape marks, more than one partition, transfers on a
//   variable-mode cartridge), 1392 for a damaged cartridge image;
// - exclusive use: the open holds byte 0 of <directory>/lock.
// A change of the library made by another process or thread (insert, eject,
// protect, a scripted fault) reaches the drive at its next call.
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "os_file.h"
#include "os_tape_drive.h"
#include "vtape_cartridge.h"
#include "vtape_library.h"

class vtape_drive final : public os_tape_drive {
 public:
  // Throws vtape_error: 2 without a library, 32 when the drive is in use.
  explicit vtape_drive(const std::string& directory);
  ~vtape_drive() override;

  std::uint32_t get_parameters(std::uint32_t operation, std::uint32_t* size, void* record) override;
  std::uint32_t set_parameters(std::uint32_t operation, const void* record) override;
  std::uint32_t get_status() override;
  std::uint32_t get_position(std::uint32_t type, std::uint32_t* partition, std::uint32_t* offsetLow,
                             std::uint32_t* offsetHigh) override;
  std::uint32_t set_position(std::uint32_t method, std::uint32_t partition, std::uint32_t offsetLow,
                             std::uint32_t offsetHigh, bool immediate) override;
  std::uint32_t prepare(std::uint32_t operation, bool immediate) override;
  std::uint32_t erase(std::uint32_t type, bool immediate) override;
  std::uint32_t create_partition(std::uint32_t method, std::uint32_t count, std::uint32_t size) override;
  std::uint32_t write_tapemark(std::uint32_t type, std::uint32_t count, bool immediate) override;
  std::uint32_t read(void* buffer, std::uint32_t length, std::uint32_t* done) override;
  std::uint32_t write(const void* buffer, std::uint32_t length, std::uint32_t* done) override;

 private:
  enum call_id { kOpen, kGetParameters, kSetParameters, kGetStatus, kGetPosition, kSetPosition,
                 kPrepare, kErase, kCreatePartition, kWriteTapemark, kRead, kWrite };

  // Every call starts here: takes in a change of the library, then plays a
  // scripted fault of the call. Returns 0 or the number the call fails with.
  std::uint32_t begin(call_id call);
  // 0 with a usable cartridge loaded, else 1112 or the image's failure; with
  // consume, also the owed 1110 (then given as paid).
  std::uint32_t medium(bool consume);
  void refresh();
  void take_state(const vtape_state& state);
  void load_cartridge(const vtape_state& state);
  // Writes the drive's part of the state (position, load, the owed 1110, the
  // faults' countdowns), with change applied to it too.
  std::uint32_t persist(const std::function<void(vtape_state&)>& change = nullptr);
  std::uint64_t zone_start() const;
  std::uint64_t physical_end() const;

  vtape_library m_library;
  Osl_File m_lock;                 // holds byte 0 while the drive is open
  std::unique_ptr<vtape_change_watch> m_watch;
  vtape_cartridge m_cartridge;     // open when a cartridge is loaded and sound
  std::uint32_t m_medium_error = 0;
  std::uint32_t m_library_block_size = 0;
  std::string m_in_drive;          // the cartridge in the drive, loaded or not
  bool m_loaded = false;
  bool m_protected = false;
  bool m_changed = false;          // 1110 owed
  bool m_warned = false;           // the early warning was given at this place
  std::uint64_t m_generation = 0;
  std::uint64_t m_position = 0;    // invariant: <= the cartridge's end of data
  std::vector<vtape_fault> m_faults;  // at: calls until it fires, 1 = the next
  std::vector<std::uint64_t> m_fired; // ids of once-faults fired, not yet written
};
