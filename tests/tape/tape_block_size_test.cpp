// A volume recorded with another block size than the drive's: every road
// to it ends in a failure or a question, never in a label over its data.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "tape_dev_fixture.h"

namespace {

const std::string kOtherSizeQuestion =
    "A new tape expected. Tape in the drive cannot be read at its start: ReadBlocks: invalid block length\n"
    "It may hold data written with another block size.\nPlease insert a new tape";

class TapeBlockSize : public TapeDevTest {};

}  // namespace

TEST_F(TapeBlockSize, AVolumeOfAnotherBlockSizeIsNeverLabelledOver) {
  for (const auto& [recorded, drive] : {std::pair<std::uint32_t, std::uint32_t>{512, 65536}, {65536, 512}}) {
    SCOPED_TRACE(std::to_string(recorded) + " read at " + std::to_string(drive));
    m_cartridge = std::make_shared<FakeCartridge>();
    m_drive.Insert(m_cartridge);
    m_drive.set_block_size(recorded);
    StartRunOnNewVolume();
    const std::string location = WriteFile(Content(70000));
    FakeTapeDev(m_config, m_drive).BackupEnd();
    const CFnx_Dal_ConfigValues known = Values();
    const std::vector<std::string> recorded_blocks = m_cartridge->blocks;
    m_drive.set_block_size(drive);

    // A new volume wanted: the operator is asked; a blank replaces it.
    CFnx_Dal_ConfigValues values = known;
    values.m_newVolume1 = true;
    SetValues(values);
    auto blank = std::make_shared<FakeCartridge>();
    for (const char* answer : {"Cancel", "Retry"}) {
      m_drive.Insert(m_cartridge);
      Operate({{kOtherSizeQuestion, kRetryCancelUse, answer, [&] { m_drive.Insert(blank); }}}, [&] {
        EXPECT_EQ(Aborts([&] { FakeTapeDev(m_config, m_drive).BackupStart(); }), answer == std::string("Cancel"));
      });
    }
    EXPECT_TRUE(tape_is_volume_label(blank->blocks.at(0).data()));

    // The known volume, a restore and a listing: the drive's failure.
    m_drive.Insert(m_cartridge);
    SetValues(known);
    tape_volume_label label;
    std::ostringstream dump;
    const std::function<void()> calls[] = {
        [&] { FakeTapeDev(m_config, m_drive).BackupStart(); },
        [&] { RestoreFile(location); },
        [&] { FakeTapeDev(m_config, m_drive).GetVolumeLabel(label); },
        [&] { FakeTapeDev(m_config, m_drive).PrintLabelsList(dump); },
    };
    for (const auto& call : calls) {
      try {
        call();
        ADD_FAILURE() << "the call returned";
      } catch (const FNXError& error) {
        EXPECT_EQ(error.Code(), 1106) << error.Text();
      }
    }
    EXPECT_EQ(m_cartridge->blocks, recorded_blocks);
  }
}
