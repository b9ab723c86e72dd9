// The Linux drive backend against a simulated st driver: every row of
// docs/LINUX-TAPE.md, the filemark rule first.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <cerrno>
#include <linux/mtio.h>

#include <functional>
#include <memory>
#include <string>

#include "os_syscalls.h"
#include "os_tape.h"
#include "os_tape_drive.h"
#include "st_driver_sim.h"

namespace {

using Drive = std::unique_ptr<os_tape_drive>;

Drive Open(const std::string& name, std::uint32_t* error) { return os_tape_open_system(name, error); }

Drive OpenOk(const std::string& name = "/dev/nst0") {
  std::uint32_t error = 99;
  Drive drive = Open(name, &error);
  EXPECT_EQ(error, OS_TAPE_NO_ERROR);
  EXPECT_NE(drive, nullptr);
  return drive;
}

std::uint32_t Write(os_tape_drive& drive, const std::string& data) {
  std::uint32_t done = 0;
  return drive.write(data.data(), static_cast<std::uint32_t>(data.size()), &done);
}

std::uint32_t Read(os_tape_drive& drive, std::uint32_t length, std::string* data = nullptr) {
  std::string buffer(length, '\0');
  std::uint32_t done = 0;
  const std::uint32_t error = drive.read(buffer.data(), length, &done);
  if (data) *data = buffer.substr(0, done);
  return error;
}

std::uint32_t Seek(os_tape_drive& drive, std::uint32_t block) {
  return drive.set_position(OS_TAPE_LOGICAL_BLOCK, 1, block, 0, false);
}

std::uint32_t Position(os_tape_drive& drive) {
  std::uint32_t partition = 0, low = 0, high = 0;
  EXPECT_EQ(drive.get_position(OS_TAPE_LOGICAL_POSITION, &partition, &low, &high), OS_TAPE_NO_ERROR);
  EXPECT_EQ(partition, 0u);  // the one partition, as a Windows drive numbers it
  return low;
}

TAPE_GET_DRIVE_PARAMETERS DriveRecord(os_tape_drive& drive) {
  TAPE_GET_DRIVE_PARAMETERS record{};
  std::uint32_t size = sizeof record;
  EXPECT_EQ(drive.get_parameters(OS_TAPE_GET_DRIVE_INFORMATION, &size, &record), OS_TAPE_NO_ERROR);
  return record;
}

std::string Block(char fill, std::size_t size = 512) { return std::string(size, fill); }

// A drive that can give logical addresses, with a 512-byte block size.
void Usable(StDriverSim& sim) {
  sim.root = true;
  sim.block_size = 512;
}

TEST(LinuxTape, OpenAnswersAtOnceWithTheNumberOfTheCondition) {
  struct Row {
    const char* name;
    std::function<void(StDriverSim&)> before;
    std::uint32_t expected;
  };
  const Row rows[] = {
      {"/dev/nst7", [](StDriverSim&) {}, OS_TAPE_FILE_NOT_FOUND},
      {"\\\\.\\TAPE0", [](StDriverSim&) {}, OS_TAPE_NO_ERROR},
      {"\\\\.\\tape3", [](StDriverSim&) {}, OS_TAPE_FILE_NOT_FOUND},  // /dev/nst3
      {"/dev/nst0", [](StDriverSim& sim) { sim.open = true; }, OS_TAPE_SHARING_VIOLATION},
      {"/dev/nst0", [](StDriverSim& sim) { sim.open_error = EACCES; }, OS_TAPE_ACCESS_DENIED},
      {"/dev/nst0", [](StDriverSim& sim) { sim.open_error = ENXIO; }, OS_TAPE_FILE_NOT_FOUND},
      {"/dev/nst0", [](StDriverSim& sim) { sim.medium = false; }, OS_TAPE_NO_ERROR},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.name) + " " + std::to_string(row.expected));
    StDriverSim sim;
    row.before(sim);
    std::uint32_t error = 99;
    const Drive drive = Open(row.name, &error);
    EXPECT_EQ(error, row.expected);
    EXPECT_EQ(drive != nullptr, row.expected == OS_TAPE_NO_ERROR);
    EXPECT_FALSE(sim.blocking_open);
  }
}

TEST(LinuxTape, OpenOfWhatIsNoTapeDriveFailsAtOnce) {
  std::uint32_t error = 99;
  EXPECT_EQ(Open("/dev/null", &error), nullptr);
  EXPECT_EQ(error, OS_TAPE_NOT_SUPPORTED);
  EXPECT_EQ(Open("/dev/nst-that-is-not-there", &error), nullptr);
  EXPECT_EQ(error, OS_TAPE_FILE_NOT_FOUND);
  // Through the seam, as the tool opens a drive by its number.
  EXPECT_EQ(os_tape_open("\\\\.\\TAPE4095"), os_tape_invalid_handle);
  EXPECT_EQ(os_tape_last_error(), OS_TAPE_FILE_NOT_FOUND);
  EXPECT_EQ(os_tape_error_text(OS_TAPE_FILE_NOT_FOUND), "No such tape drive or virtual tape library.");
}

TEST(LinuxTape, DriverConditionsBecomeThePlatformNumbers) {
  using S = StDriverSim;
  using D = os_tape_drive;
  struct Row {
    const char* condition;
    std::function<void(S&)> before;  // before the open
    std::function<std::uint32_t(D&, S&)> call;
    std::uint32_t expected;
  };
  const auto empty = [](S& s) { s.medium = false; };
  const auto two_blocks = [](S& s) { Usable(s); s.tape = {{Block('a'), false}, {Block('b'), false}}; };
  const auto is_protected = [](S& s) { Usable(s); s.write_protected = true; };
  const auto not_logical = [](S& s) { s.block_size = 512; };
  const Row rows[] = {
    {"online", Usable, [](D& d, S&) { return d.get_status(); }, OS_TAPE_NO_ERROR},
    {"GMT_DR_OPEN", empty, [](D& d, S&) { return d.get_status(); }, OS_TAPE_NO_MEDIA_IN_DRIVE},
    {"cartridge put in after the open", empty, [](D& d, S& s) { s.medium = true; return d.get_status(); },
     OS_TAPE_MEDIA_CHANGED},
    {"MTLOAD, reported once", Usable, [](D& d, S&) {
       EXPECT_EQ(d.prepare(OS_TAPE_LOAD, false), OS_TAPE_NO_ERROR);
       EXPECT_EQ(d.get_status(), OS_TAPE_MEDIA_CHANGED);
       return d.get_status(); }, OS_TAPE_NO_ERROR},
    {"MTUNLOAD", Usable, [](D& d, S&) { EXPECT_EQ(d.prepare(OS_TAPE_UNLOAD, false), 0u); return d.get_status(); },
     OS_TAPE_NO_MEDIA_IN_DRIVE},
    {"media record without medium", empty, [](D& d, S&) {
       TAPE_GET_MEDIA_PARAMETERS media{};
       std::uint32_t size = sizeof media;
       return d.get_parameters(OS_TAPE_GET_MEDIA_INFORMATION, &size, &media); }, OS_TAPE_NO_MEDIA_IN_DRIVE},
    {"0 bytes with GMT_EOD", two_blocks, [](D& d, S&) { EXPECT_EQ(Seek(d, 2), 0u); return Read(d, 512); },
     OS_TAPE_NO_DATA_DETECTED},
    {"MTSEEK past the data: EIO with GMT_EOD", two_blocks, [](D& d, S&) {
       EXPECT_EQ(Seek(d, 5), OS_TAPE_NO_DATA_DETECTED);
       return Read(d, 512); }, OS_TAPE_NO_DATA_DETECTED},
    {"0 bytes without GMT_EOD: a filemark", [](S& s) { Usable(s); s.tape = {{"", true}, {Block('a'), false}}; },
     [](D& d, S&) { return Read(d, 512); }, OS_TAPE_FILEMARK_DETECTED},
    {"ENOMEM: a variable block longer than the read", [](S& s) { s.root = true; s.tape = {{Block('a', 1024)}}; },
     [](D& d, S&) { return Read(d, 512); }, OS_TAPE_INVALID_BLOCK_LENGTH},
    {"EIO: a block of another size in fixed mode", [](S& s) { Usable(s); s.tape = {{Block('a', 1024)}}; },
     [](D& d, S&) { return Read(d, 512); }, OS_TAPE_IO_DEVICE},
    {"EIO from a unit attention, a new cartridge at BOT", two_blocks, [](D& d, S& s) {
       EXPECT_EQ(Seek(d, 1), 0u);
       s.unit_attention = true;
       EXPECT_EQ(Read(d, 512), OS_TAPE_MEDIA_CHANGED);
       return Read(d, 512); }, OS_TAPE_NO_ERROR},  // the reopened drive reads the new cartridge
    {"ENOMEDIUM", empty, [](D& d, S&) { return Read(d, 512); }, OS_TAPE_NO_MEDIA_IN_DRIVE},
    {"EIO: the cartridge pulled out while open", Usable, [](D& d, S& s) { s.medium = false; return Read(d, 512); },
     OS_TAPE_NO_MEDIA_IN_DRIVE},
    {"EACCES from write", is_protected, [](D& d, S&) { return Write(d, Block('a')); }, OS_TAPE_WRITE_PROTECT},
    {"EACCES from MTERASE", is_protected, [](D& d, S&) { return d.erase(0, false); }, OS_TAPE_WRITE_PROTECT},
    {"early warning: the crossing write is done, the next gets ENOSPC", [](S& s) { Usable(s); s.early_warning = 1; },
     [](D& d, S& s) {
       EXPECT_EQ(Write(d, Block('a') + Block('b')), OS_TAPE_NO_ERROR);
       EXPECT_EQ(Write(d, Block('c')), OS_TAPE_END_OF_MEDIA);
       EXPECT_EQ(s.tape.size(), 2u);  // nothing written by the refused write
       return Write(d, Block('c')); }, OS_TAPE_NO_ERROR},  // the driver lets a trailer through
    {"EIO with GMT_EOT: the physical end", [](S& s) { Usable(s); s.physical_end = 1; },
     [](D& d, S&) { EXPECT_EQ(Write(d, Block('a')), 0u); return Write(d, Block('b')); }, OS_TAPE_EOM_OVERFLOW},
    {"a write cut short at the end", [](S& s) { Usable(s); s.physical_end = 1; }, [](D& d, S& s) {
       std::uint32_t done = 0;
       const std::uint32_t error = d.write((Block('a') + Block('b')).data(), 1024, &done);
       EXPECT_EQ(done, 512u);
       EXPECT_EQ(s.tape.size(), 1u);
       return error; }, OS_TAPE_END_OF_MEDIA},
    {"EINVAL: a write of part of a block", Usable, [](D& d, S&) { return Write(d, Block('a', 100)); },
     OS_TAPE_INVALID_PARAMETER},
    {"EINVAL from MTSETBLK", Usable, [](D& d, S&) {
       const TAPE_SET_MEDIA_PARAMETERS media{4u << 20};
       return d.set_parameters(OS_TAPE_GET_MEDIA_INFORMATION, &media); }, OS_TAPE_INVALID_PARAMETER},
    {"drive settings: none claimed", Usable, [](D& d, S&) {
       const TAPE_SET_DRIVE_PARAMETERS drive{};
       return d.set_parameters(OS_TAPE_GET_DRIVE_INFORMATION, &drive); }, OS_TAPE_NOT_SUPPORTED},
    {"no logical addresses: get refused", not_logical, [](D& d, S&) {
       std::uint32_t p = 0, low = 0, high = 0;
       return d.get_position(OS_TAPE_LOGICAL_POSITION, &p, &low, &high); }, OS_TAPE_NOT_SUPPORTED},
    {"no logical addresses: seek refused", not_logical, [](D& d, S&) { return Seek(d, 0); }, OS_TAPE_NOT_SUPPORTED},
    {"a partition the tape does not have", Usable,
     [](D& d, S&) { return d.set_position(OS_TAPE_LOGICAL_BLOCK, 2, 0, 0, false); }, OS_TAPE_INVALID_PARAMETER},
    {"a second partition", Usable, [](D& d, S&) { return d.create_partition(0, 2, 0); }, OS_TAPE_NOT_SUPPORTED},
    {"MTWEOF when asked for", Usable, [](D& d, S& s) {
       EXPECT_EQ(d.write_tapemark(1, 2, false), OS_TAPE_NO_ERROR);
       EXPECT_EQ(s.Filemarks(), 2);
       return d.write_tapemark(0, 1, false); }, OS_TAPE_NOT_SUPPORTED},  // setmarks
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.condition);
    StDriverSim sim;
    row.before(sim);
    const Drive drive = OpenOk();
    if (!drive) continue;
    EXPECT_EQ(row.call(*drive, sim), row.expected);
  }
}

// The five features the tape logic requires stand or fall with logical
// addresses; the others are what the driver really gives.
TEST(LinuxTape, RecordsAreWhatTheDriverReports) {
  struct Row {
    const char* how;
    bool root;
    unsigned long options;
    bool logical;
  };
  const Row rows[] = {
      {"set by MTSETDRVBUFFER as root", true, 0, true},
      {"set by the administrator, seen in sysfs", false, MT_ST_SCSI2LOGICAL, true},
      {"not set and not settable", false, MT_ST_TWO_FM, false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.how);
    StDriverSim sim;
    sim.root = row.root;
    sim.options = row.options;
    sim.block_size = 4096;
    sim.write_protected = true;
    const Drive drive = OpenOk();
    if (!drive) continue;
    const TAPE_GET_DRIVE_PARAMETERS record = DriveRecord(*drive);
    EXPECT_EQ(record.DefaultBlockSize, 4096u);
    EXPECT_EQ(record.FeaturesLow & 0x400u, 0x400u);   // fixed block
    EXPECT_EQ(record.FeaturesLow & 0x1000u, 0x1000u);  // write protection reported
    EXPECT_NE(record.FeaturesHigh & 0x80010000u, 0u);  // end of data
    EXPECT_NE(record.FeaturesHigh & 0x80000010u, 0u);  // settable block size
    EXPECT_EQ(record.FeaturesHigh & 0x80000000u, 0u);  // the word's marker bit is not a feature
    EXPECT_EQ((record.FeaturesLow & 0x00200000u) != 0, row.logical);
    EXPECT_EQ((record.FeaturesHigh & 0x80004000u) != 0, row.logical);
    EXPECT_EQ(record.MaximumPartitionCount, 1u);
    TAPE_GET_MEDIA_PARAMETERS media{};
    std::uint32_t size = sizeof media;
    EXPECT_EQ(drive->get_parameters(OS_TAPE_GET_MEDIA_INFORMATION, &size, &media), OS_TAPE_NO_ERROR);
    EXPECT_EQ(media.BlockSize, 4096u);
    EXPECT_EQ(media.WriteProtected, 1);
    EXPECT_EQ(media.Capacity.QuadPart, 0);  // unknown to the driver
  }
}

TEST(LinuxTape, FixedBlocksAtLogicalPositions) {
  for (const bool root : {true, false}) {
    SCOPED_TRACE(root ? "root" : "option set by the administrator");
    StDriverSim sim;
    sim.root = root;
    sim.options = root ? 0 : MT_ST_SCSI2LOGICAL;
    const Drive drive = OpenOk();
    if (!drive) continue;
    const TAPE_SET_MEDIA_PARAMETERS media{1024};
    ASSERT_EQ(drive->set_parameters(OS_TAPE_GET_MEDIA_INFORMATION, &media), OS_TAPE_NO_ERROR);
    EXPECT_EQ(sim.block_size, 1024u);
    ASSERT_EQ(Write(*drive, Block('a', 1024) + Block('b', 1024) + Block('c', 1024)), OS_TAPE_NO_ERROR);
    EXPECT_EQ(Position(*drive), 3u);
    ASSERT_EQ(Seek(*drive, 1), OS_TAPE_NO_ERROR);
    std::string data;
    EXPECT_EQ(Read(*drive, 65536, &data), OS_TAPE_NO_ERROR);  // across the end: the blocks before it
    EXPECT_EQ(data, Block('b', 1024) + Block('c', 1024));
    EXPECT_EQ(Read(*drive, 1024), OS_TAPE_NO_DATA_DETECTED);
    EXPECT_EQ(drive->set_position(OS_TAPE_REWIND, 0, 0, 0, false), OS_TAPE_NO_ERROR);
    EXPECT_EQ(Position(*drive), 0u);
    EXPECT_EQ(drive->set_position(OS_TAPE_SPACE_END_OF_DATA, 0, 0, 0, false), OS_TAPE_NO_ERROR);
    EXPECT_EQ(Position(*drive), 3u);
    EXPECT_EQ(drive->create_partition(0, 0, 0), OS_TAPE_NO_ERROR);  // a fresh volume starts at block 0
    EXPECT_EQ(Position(*drive), 0u);
  }
}

// Every call that moves the tape or gives the drive free, right after a
// write: the simulated driver adds its filemark unless the backend prevented it.
TEST(LinuxTape, NoTapeMarkAfterAWriteWhateverFollows) {
  struct Row {
    const char* move;
    std::function<void(Drive&)> after_write;
  };
  const Row rows[] = {
      {"close", [](Drive& d) { d.reset(); }},
      {"MTSEEK", [](Drive& d) { EXPECT_EQ(Seek(*d, 0), OS_TAPE_NO_ERROR); }},
      {"MTREW", [](Drive& d) { EXPECT_EQ(d->set_position(OS_TAPE_REWIND, 0, 0, 0, false), OS_TAPE_NO_ERROR); }},
      {"MTEOM", [](Drive& d) { EXPECT_EQ(d->set_position(OS_TAPE_SPACE_END_OF_DATA, 0, 0, 0, false), OS_TAPE_NO_ERROR); }},
      {"MTUNLOAD", [](Drive& d) { EXPECT_EQ(d->prepare(OS_TAPE_UNLOAD, false), OS_TAPE_NO_ERROR); }},
      {"a fresh volume", [](Drive& d) { EXPECT_EQ(d->create_partition(0, 0, 0), OS_TAPE_NO_ERROR); }},
      {"early warning, then close",
       [](Drive& d) {
         EXPECT_EQ(Write(*d, Block('z')), OS_TAPE_END_OF_MEDIA);
         d.reset();
       }},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.move);
    StDriverSim sim;
    Usable(sim);
    sim.options = MT_ST_TWO_FM;
    sim.early_warning = 0;
    Drive drive = OpenOk();
    if (!drive) continue;
    ASSERT_EQ(Write(*drive, Block('a')), OS_TAPE_NO_ERROR);
    row.after_write(drive);
    drive.reset();
    EXPECT_EQ(sim.Filemarks(), 0);
    EXPECT_EQ(sim.tape.size(), 1u);
  }
  // The model itself: a close straight after a write gets the driver's marks.
  StDriverSim sim;
  sim.options = MT_ST_TWO_FM;
  const int fd = os_sys.open("/dev/nst0", O_RDWR | O_NONBLOCK, 0);
  ASSERT_GE(fd, 0);
  ASSERT_EQ(os_sys.write(fd, "block", 5), 5);
  os_sys.close(fd);
  EXPECT_EQ(sim.Filemarks(), 2);
}

}  // namespace
