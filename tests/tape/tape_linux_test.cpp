// The Linux drive backend against a simulated st driver: each driver condition
// and the Windows number it becomes, no tape mark unless one is asked for, and
// a backup that gets the virtual drive's block numbers.
#include <gtest/gtest.h>

#include <linux/mtio.h>

#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "dal_tape_lister_contents.h"
#include "os_tape.h"
#include "os_tape_drive.h"
#include "st_driver_sim.h"
#include "tape_dev_fixture.h"

namespace {

using D = os_tape_drive;
using S = StDriverSim;

std::string Block(char fill, std::size_t size = 512) { return std::string(size, fill); }

std::uint32_t Write(D& drive, const std::string& data) {
  std::uint32_t done = 0;
  return drive.write(data.data(), static_cast<std::uint32_t>(data.size()), &done);
}

std::uint32_t Read(D& drive) {
  std::string buffer(512, '\0');
  std::uint32_t done = 0;
  return drive.read(buffer.data(), 512, &done);
}

std::uint32_t Seek(D& drive, std::uint32_t block) { return drive.set_position(OS_TAPE_LOGICAL_BLOCK, 1, block, 0, false); }

TAPE_GET_DRIVE_PARAMETERS DriveRecord(D& drive) {
  struct {
    TAPE_GET_DRIVE_PARAMETERS record;
    char more[8];
  } buffer{};
  std::uint32_t size = sizeof buffer;
  EXPECT_EQ(drive.get_parameters(OS_TAPE_GET_DRIVE_INFORMATION, &size, &buffer.record), OS_TAPE_NO_ERROR);
  EXPECT_EQ(size, sizeof buffer.record) << "the size of what was filled in";
  return buffer.record;
}

std::uint32_t MediaRecord(D& drive, TAPE_GET_MEDIA_PARAMETERS* media) {
  std::uint32_t size = sizeof *media;
  return drive.get_parameters(OS_TAPE_GET_MEDIA_INFORMATION, &size, media);
}

// A drive that gives logical addresses (set as root), 512-byte blocks.
void Usable(S& s) {
  s.root = true;
  s.block_size = 512;
}

// A write, then call: whatever follows, the driver's own filemark is prevented.
std::function<std::uint32_t(D&, S&)> AfterWrite(std::function<std::uint32_t(D&)> call) {
  return [call](D& d, S&) {
    EXPECT_EQ(Write(d, Block('a')), OS_TAPE_NO_ERROR);
    return call(d);
  };
}

TEST(LinuxTape, DriverConditionsBecomeTheWindowsNumbers) {
  struct Row {
    const char* condition;
    std::function<void(S&)> before;       // before the open
    std::function<std::uint32_t(D&, S&)> call;  // none: the open's number
    std::uint32_t expected;
    const char* device = "/dev/nst0";
    int filemarks = 0;  // on the tape when the drive is closed
  };
  const auto none = [](S&) {};
  const auto empty = [](S& s) { s.medium = false; };
  const auto two_blocks = [](S& s) { Usable(s); s.tape = {Block('a'), Block('b')}; };
  const auto is_protected = [](S& s) { Usable(s); s.write_protected = true; };
  const auto status = [](D& d, S&) { return d.get_status(); };
  const Row rows[] = {
    {"\\\\.\\TAPEn names /dev/nstn", none, nullptr, OS_TAPE_NO_ERROR, "\\\\.\\TAPE0"},
    {"no such node", none, nullptr, OS_TAPE_FILE_NOT_FOUND, "\\\\.\\tape3"},
    {"another name is the path itself", none, nullptr, OS_TAPE_FILE_NOT_FOUND, "\\\\.\\TAPX0"},
    {"not a tape device", none, nullptr, OS_TAPE_NOT_SUPPORTED, "/dev/null"},
    {"EBUSY", [](S& s) { s.open = true; }, nullptr, OS_TAPE_SHARING_VIOLATION},
    {"EACCES at open", [](S& s) { s.open_error = EACCES; }, nullptr, OS_TAPE_ACCESS_DENIED},
    {"ENXIO at open", [](S& s) { s.open_error = ENXIO; }, nullptr, OS_TAPE_FILE_NOT_FOUND},
    {"online", Usable, status, OS_TAPE_NO_ERROR},
    {"GMT_DR_OPEN: the open did not wait", empty, status, OS_TAPE_NO_MEDIA_IN_DRIVE},
    {"cartridge put in after the open", empty, [](D& d, S& s) { s.medium = true; return d.get_status(); },
     OS_TAPE_MEDIA_CHANGED},
    {"MTLOAD, reported once", Usable, [](D& d, S&) {
       EXPECT_EQ(d.prepare(OS_TAPE_LOAD, false), OS_TAPE_NO_ERROR);
       EXPECT_EQ(d.get_status(), OS_TAPE_MEDIA_CHANGED);
       return d.get_status(); }, OS_TAPE_NO_ERROR},
    {"MTUNLOAD", Usable, [](D& d, S&) { EXPECT_EQ(d.prepare(OS_TAPE_UNLOAD, false), 0u); return d.get_status(); },
     OS_TAPE_NO_MEDIA_IN_DRIVE},
    {"media record without medium", empty, [](D& d, S&) { TAPE_GET_MEDIA_PARAMETERS m; return MediaRecord(d, &m); },
     OS_TAPE_NO_MEDIA_IN_DRIVE},
    {"0 bytes with GMT_EOD", two_blocks, [](D& d, S&) { EXPECT_EQ(Seek(d, 2), 0u); return Read(d); },
     OS_TAPE_NO_DATA_DETECTED},
    {"MTSEEK past the data: EIO with GMT_EOD", two_blocks, [](D& d, S&) { return Seek(d, 5); },
     OS_TAPE_NO_DATA_DETECTED},
    {"0 bytes without GMT_EOD: a filemark", [](S& s) { Usable(s); s.tape = {"", Block('a')}; },
     [](D& d, S&) { return Read(d); }, OS_TAPE_FILEMARK_DETECTED, "/dev/nst0", 1},
    {"ENOMEM: a variable block longer than the read", [](S& s) { s.root = true; s.tape = {Block('a', 1024)}; },
     [](D& d, S&) { return Read(d); }, OS_TAPE_INVALID_BLOCK_LENGTH},
    {"EIO: a block of another size in fixed mode", [](S& s) { Usable(s); s.tape = {Block('a', 1024)}; },
     [](D& d, S&) { return Read(d); }, OS_TAPE_IO_DEVICE},
    {"EIO from a unit attention, a new cartridge at BOT", two_blocks, [](D& d, S& s) {
       EXPECT_EQ(Seek(d, 1), 0u);
       s.unit_attention = true;
       EXPECT_EQ(Read(d), OS_TAPE_MEDIA_CHANGED);
       return Read(d); }, OS_TAPE_NO_ERROR},  // the reopened drive reads the new cartridge
    {"ENOMEDIUM", empty, [](D& d, S&) { return Read(d); }, OS_TAPE_NO_MEDIA_IN_DRIVE},
    {"EIO: the cartridge pulled out while open", two_blocks, [](D& d, S& s) { s.medium = false; return Read(d); },
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
    {"a partition the tape does not have", Usable,
     [](D& d, S&) { return d.set_position(OS_TAPE_LOGICAL_BLOCK, 2, 0, 0, false); }, OS_TAPE_INVALID_PARAMETER},
    {"a second partition", Usable, [](D& d, S&) { return d.create_partition(0, 2, 0); }, OS_TAPE_NOT_SUPPORTED},
    {"setmarks", Usable, [](D& d, S&) { return d.write_tapemark(0, 1, false); }, OS_TAPE_NOT_SUPPORTED},
    {"filemarks asked for", Usable, [](D& d, S&) { return d.write_tapemark(1, 2, false); }, OS_TAPE_NO_ERROR,
     "/dev/nst0", 2},
    // The driver writes a filemark at a close or move after a write, unless prevented.
    {"write, close", Usable, AfterWrite([](D&) { return 0u; }), OS_TAPE_NO_ERROR},
    {"write, MTSEEK", Usable, AfterWrite([](D& d) { return Seek(d, 0); }), OS_TAPE_NO_ERROR},
    {"write, MTREW", Usable, AfterWrite([](D& d) { return d.set_position(OS_TAPE_REWIND, 0, 0, 0, false); }),
     OS_TAPE_NO_ERROR},
    {"write, MTEOM", Usable,
     AfterWrite([](D& d) { return d.set_position(OS_TAPE_SPACE_END_OF_DATA, 0, 0, 0, false); }), OS_TAPE_NO_ERROR},
    {"write, MTUNLOAD", Usable, AfterWrite([](D& d) { return d.prepare(OS_TAPE_UNLOAD, false); }), OS_TAPE_NO_ERROR},
    {"write, a fresh volume", Usable, AfterWrite([](D& d) { return d.create_partition(0, 0, 0); }), OS_TAPE_NO_ERROR},
    {"write, early warning, close", [](S& s) { Usable(s); s.early_warning = 0; },
     AfterWrite([](D& d) { return Write(d, Block('z')); }), OS_TAPE_END_OF_MEDIA},
    // The five features the tape logic requires stand or fall with logical addresses.
    {"features, root", Usable, [](D& d, S&) { return DriveRecord(d).FeaturesLow; }, 0x01201C30},
    {"features high, root", Usable, [](D& d, S&) { return DriveRecord(d).FeaturesHigh; }, 0x02014011},
    {"features, logical in sysfs", [](S& s) { s.options = MT_ST_SCSI2LOGICAL; },
     [](D& d, S&) { return DriveRecord(d).FeaturesLow; }, 0x01201C30},
    {"features, not logical", [](S& s) { s.options = MT_ST_TWO_FM; },
     [](D& d, S&) { return DriveRecord(d).FeaturesLow; }, 0x01001C30},
    {"features high, not logical", none, [](D& d, S&) { return DriveRecord(d).FeaturesHigh; }, 0x02010011},
    {"no logical addresses: seek refused", none, [](D& d, S&) { return Seek(d, 0); }, OS_TAPE_NOT_SUPPORTED},
    {"no logical addresses: get refused", none, [](D& d, S&) {
       std::uint32_t p = 0, low = 0, high = 0;
       return d.get_position(OS_TAPE_LOGICAL_POSITION, &p, &low, &high); }, OS_TAPE_NOT_SUPPORTED},
    {"the drive record", [](S& s) { s.block_size = 4096; }, [](D& d, S&) {
       const TAPE_GET_DRIVE_PARAMETERS drive = DriveRecord(d);
       return drive.DefaultBlockSize + drive.MaximumPartitionCount; }, 4097},
    {"the media record", is_protected, [](D& d, S&) {
       TAPE_GET_MEDIA_PARAMETERS media{};
       media.Capacity.QuadPart = 7;  // unknown to the driver: 0
       EXPECT_EQ(MediaRecord(d, &media), OS_TAPE_NO_ERROR);
       return media.BlockSize + media.WriteProtected + static_cast<std::uint32_t>(media.Capacity.QuadPart); }, 513},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.condition);
    StDriverSim sim;
    row.before(sim);
    std::uint32_t error = 99;
    std::unique_ptr<D> drive = os_tape_open_system(row.device, &error);
    EXPECT_EQ(drive != nullptr, error == OS_TAPE_NO_ERROR);
    if (drive && row.call) error = row.call(*drive, sim);
    EXPECT_EQ(error, row.expected);
    drive.reset();
    EXPECT_EQ(sim.Filemarks(), row.filemarks);
  }
  // Through the seam, as the tool opens a drive by its number.
  EXPECT_EQ(os_tape_open("\\\\.\\TAPE4095"), os_tape_invalid_handle);
  EXPECT_EQ(os_tape_last_error(), OS_TAPE_FILE_NOT_FOUND);
  EXPECT_EQ(os_tape_error_text(OS_TAPE_FILE_NOT_FOUND), "No such tape drive or virtual tape library.");
}

// A backup of three files on each drive, its listing and the restore of
// each: the start and end blocks of each location, the block columns of the
// listing's lines of files, the files restored.
using LinuxBackup = TapeDevTest;

TEST_F(LinuxBackup, ThreeFilesListAndRestoreWithTheVirtualDrivesBlockNumbers) {
  std::vector<std::string> files = {std::string(700, 'a'), std::string(2 * 65528 + 3, 'b'), "c"};
  for (std::size_t i = 0; i < files[1].size(); ++i) files[1][i] = static_cast<char>(i * 7 + i / 251);
  const auto run = [&] {
    StartRunOnNewVolume();
    std::vector<std::string> seen, locations;
    for (const std::string& content : files) {
      locations.push_back(WriteFile(content));
      seen.push_back(locations.back().substr(254, 40));
    }
    std::ostringstream listing;
    dal_tape_list_contents(*Device(), listing);
    std::istringstream lines(listing.str());
    for (std::string line; std::getline(lines, line);) {
      if (line.size() == 84) seen.push_back(line.substr(42, 20));
    }
    for (const std::string& location : locations) seen.push_back(RestoreFile(location, 65536));
    return seen;
  };
  const std::vector<std::string> on_virtual = run();
  ASSERT_EQ(on_virtual.size(), 9u);
  EXPECT_EQ(std::vector<std::string>(on_virtual.begin() + 6, on_virtual.end()), files);
  StDriverSim sim;
  sim.root = true;
  sim.block_size = 512;
  CFnx_Dal_ConfigValues values = Values();
  values.m_deviceName = "\\\\.\\TAPE0";
  values.m_volumeInfo.clear();  // a volume of its own, not the next of the same run
  SetValues(values);
  EXPECT_EQ(run(), on_virtual);
  EXPECT_EQ(sim.Filemarks(), 0);
}

}  // namespace
