// The Linux drive gives a volume the block numbers the virtual drive gives
// it: the seam calls of a backup of three files and of a listing, run through
// the dispatcher on both, see the same positions and the same reads.
#include <gtest/gtest.h>

#include <linux/mtio.h>

#include <string>
#include <vector>

#include "fnx_vtape.h"
#include "os_tape.h"
#include "st_driver_sim.h"
#include "temp_dir.h"

namespace {

constexpr std::uint32_t kBlock = 512;
constexpr std::uint32_t kRecord = 65536;

// The answers the tape call wrapper takes for success; 1104 only from a positioning.
bool Done(std::uint32_t error) { return error == OS_TAPE_NO_ERROR || error == OS_TAPE_MEDIA_CHANGED; }
bool Positioned(std::uint32_t error) { return Done(error) || error == OS_TAPE_NO_DATA_DETECTED; }

// The calls as the tape logic makes them: a device object, so an open, per
// step; positions taken after each label, the listing reading whole records.
std::vector<std::uint32_t> BackupAndList(const std::string& name) {
  std::vector<std::uint32_t> seen;
  const auto position = [&](os_tape_handle h) {
    std::uint32_t partition = 9, low = 0, high = 0;
    EXPECT_TRUE(Done(os_tape_get_position(h, OS_TAPE_LOGICAL_POSITION, &partition, &low, &high)));
    seen.push_back(partition);
    seen.push_back(low);
    return low;
  };
  const auto write = [](os_tape_handle h, std::uint32_t bytes) {
    const std::string data(bytes, 'x');
    std::uint32_t done = 0;
    EXPECT_TRUE(os_tape_write(h, data.data(), bytes, &done)) << os_tape_last_error();
  };

  os_tape_handle h = os_tape_open(name);
  EXPECT_NE(h, os_tape_invalid_handle) << os_tape_last_error();
  EXPECT_TRUE(Done(os_tape_prepare(h, OS_TAPE_LOAD, false)));
  EXPECT_TRUE(Done(os_tape_get_status(h)));
  TAPE_GET_DRIVE_PARAMETERS drive{};
  std::uint32_t size = sizeof drive;
  EXPECT_TRUE(Done(os_tape_get_parameters(h, OS_TAPE_GET_DRIVE_INFORMATION, &size, &drive)));
  EXPECT_TRUE(Done(os_tape_create_partition(h, 0, 0, 0)));
  const TAPE_SET_MEDIA_PARAMETERS media{drive.DefaultBlockSize};
  EXPECT_TRUE(Done(os_tape_set_parameters(h, OS_TAPE_GET_MEDIA_INFORMATION, &media)));
  write(h, kBlock);  // the volume label
  std::uint32_t end = position(h);
  os_tape_close(h);

  for (const std::uint32_t bytes : {700u, 2 * 65528u + 3, 1u}) {
    h = os_tape_open(name);
    EXPECT_TRUE(Positioned(os_tape_set_position(h, OS_TAPE_LOGICAL_BLOCK, 0, end, 0, false)));
    position(h);
    write(h, kBlock);  // start label
    for (std::uint32_t left = bytes + 4; left > 0;) {  // records of 65536, the last in whole blocks
      const std::uint32_t record = left >= kRecord ? kRecord : (left + kBlock - 1) / kBlock * kBlock;
      write(h, record);
      left -= record < left ? record : left;
    }
    write(h, kBlock);  // end label
    end = position(h);
    os_tape_close(h);
  }

  h = os_tape_open(name);
  EXPECT_TRUE(Done(os_tape_set_position(h, OS_TAPE_LOGICAL_BLOCK, 1, 0, 0, false)));
  std::string buffer(kRecord, '\0');
  for (int reads = 0; reads < 100; ++reads) {
    std::uint32_t done = 0;
    if (!os_tape_read(h, buffer.data(), kRecord, &done)) {
      seen.push_back(os_tape_last_error());
      break;
    }
    seen.push_back(done / kBlock);
  }
  position(h);
  os_tape_close(h);
  return seen;
}

TEST(LinuxTape, ABackupAndItsListingSeeTheVirtualDrivesBlockNumbers) {
  TempDir dir;
  const std::string library = dir.Join("library");
  FnxVtapeLibrarySpec spec;
  spec.blockSize = kBlock;
  spec.capacityBytes = 16u << 20;
  FnxVtapeCreateLibrary(library, spec);
  FnxVtapeInsert(library, "C001");
  const std::vector<std::uint32_t> on_virtual = BackupAndList("vtape:" + library);

  StDriverSim sim;
  sim.root = true;
  sim.block_size = kBlock;
  sim.options = MT_ST_TWO_FM;  // the driver as many set it up: two marks at a close after a write
  const std::vector<std::uint32_t> on_linux = BackupAndList("\\\\.\\TAPE0");

  EXPECT_EQ(on_linux, on_virtual);
  // The volume label, then 2 + 2, 2 + 256 and 2 + 1 blocks: labels and data, nothing else.
  EXPECT_EQ(on_virtual.back(), 266u);
  EXPECT_EQ(sim.Filemarks(), 0);
}

}  // namespace
