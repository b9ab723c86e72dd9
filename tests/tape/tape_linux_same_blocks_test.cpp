// A Linux drive gives a volume the block numbers the virtual drive gives it:
// a backup of three files through the platform device, its listing and the
// restore of each file, on the virtual drive and on the simulated st driver.
#include <gtest/gtest.h>

#include <linux/mtio.h>

#include <sstream>
#include <string>
#include <vector>

#include "dal_tape_dev_win32.h"
#include "dal_tape_lister_contents.h"
#include "fnx_vtape.h"
#include "st_driver_sim.h"
#include "temp_dir.h"

namespace {

constexpr std::uint32_t kBlock = 512;

std::string Content(std::size_t size, char seed) {
  std::string content(size, '\0');
  for (std::size_t i = 0; i < size; ++i) content[i] = static_cast<char>(seed + i * 7 + i / 251);
  return content;
}

struct Volume {
  std::vector<std::string> blocks;  // start and end block of each file, by its location
  std::vector<std::string> listed;  // the listing's lines of files, block columns only
  std::vector<std::string> restored;
};

Volume BackupListRestore(const std::string& device, const std::vector<std::string>& files) {
  CFnx_Dal_ConfigurationTape config;
  CFnx_Dal_ConfigValues values;
  values.m_type = 7;
  values.m_name = "linux-" + device;  // an operator key of its own
  values.m_dasName = "DAS_TEST";
  values.m_volumeName = "VOL_A";
  values.m_deviceName = device;
  values.m_forceLabel = true;
  config.SetValues(values);
  CFnx_Dal_TapeDevWin32(config).BackupStart();
  config.GetValues(values);
  values.m_forceLabel = false;
  config.SetValues(values);

  Volume run;
  std::vector<std::string> locations;
  for (const std::string& content : files) {
    CFnx_Dal_TapeDevWin32 writer(config);
    writer.FileWriteStart();
    std::string bytes = content;
    std::uint32_t written = 0;
    EXPECT_TRUE(writer.FileWrite(bytes.data(), static_cast<std::uint32_t>(bytes.size()), written));
    CFnx_Dal_Tape_Location location;
    writer.FileWriteEnd(location);
    std::string das, name;
    tape_file_label_basic label;
    location.parse_location(das, name, label);
    run.blocks.push_back(std::string(label.start_Offset_low, sizeof label.start_Offset_low) + "-" +
                         std::string(label.end_Offset_low, sizeof label.end_Offset_low));
    location.put_to_string(locations.emplace_back());
  }

  std::ostringstream out;
  {
    CFnx_Dal_TapeDevWin32 lister(config);
    dal_tape_list_contents(lister, out);
  }
  std::istringstream lines(out.str());
  for (std::string line; std::getline(lines, line);) {
    if (line.size() == 84) run.listed.push_back(line.substr(42, 20));  // start and end block
  }

  for (const std::string& text : locations) {
    CFnx_Dal_Tape_Location location;
    location.get_from_string(text);
    CFnx_Dal_TapeDevWin32 reader(config);
    reader.ReadStart(location);
    std::string restored, piece(65536, '\0');
    for (std::uint32_t read = 65536; read == 65536;) {
      reader.ReadRead(piece.data(), 65536, read);
      restored.append(piece.data(), read);
    }
    reader.ReadEnd();
    run.restored.push_back(restored);
  }
  return run;
}

TEST(LinuxTape, ABackupOfThreeFilesListsAndRestoresWithTheVirtualDrivesBlockNumbers) {
  const std::vector<std::string> files = {Content(700, 'a'), Content(2 * 65528 + 3, 'b'), Content(1, 'c')};
  TempDir dir;
  const std::string library = dir.Join("library");
  FnxVtapeLibraryShape shape;
  shape.blockSize = kBlock;
  shape.capacityBytes = 16u << 20;
  FnxVtapeCreateLibrary(library, shape);
  FnxVtapeInsert(library, "C001");
  const Volume on_virtual = BackupListRestore("vtape:" + library, files);

  StDriverSim sim;
  sim.root = true;
  sim.block_size = kBlock;
  sim.options = MT_ST_TWO_FM;  // as many drives are set up: two marks at a close after a write
  const Volume on_linux = BackupListRestore("\\\\.\\TAPE0", files);

  ASSERT_EQ(on_virtual.blocks.size(), 3u);
  EXPECT_EQ(on_linux.blocks, on_virtual.blocks);
  EXPECT_EQ(on_virtual.listed.size(), 3u);
  EXPECT_EQ(on_linux.listed, on_virtual.listed);
  EXPECT_EQ(on_linux.restored, files);
  EXPECT_EQ(on_virtual.restored, files);
  EXPECT_EQ(sim.Filemarks(), 0);
}

}  // namespace
