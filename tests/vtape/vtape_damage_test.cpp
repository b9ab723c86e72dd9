// Damaged libraries, cartridge images and position records, after a session
// left blocks 0 to 2 and the position 3: refused with a platform number, never
// read as data; a partial block or a position write cut short loses nothing before it.
#include <filesystem>
#include <functional>

#include "vtape_fixture.h"

namespace {

namespace fs = std::filesystem;

void Overwrite(const std::string& path, std::size_t at, const std::string& bytes) {
  std::string content = ReadFile(path);
  WriteFile(path, content.replace(at, bytes.size(), bytes));
}

struct DamageCase {
  const char* what;
  std::function<void(const std::string& dir)> damage;
  std::uint32_t open, status;  // of the open and of its first status call
  std::uint64_t position = 0, end_of_data = 0;
};
std::ostream& operator<<(std::ostream& out, const DamageCase& c) { return out << c.what; }

const DamageCase kCases[] = {
    {"an image shorter than its header's fields", [](auto d) { fs::resize_file(d + "/C001.tape", 40); }, 0, 1392},
    {"an image that is no cartridge", [](auto d) { Overwrite(d + "/C001.tape", 0, "NOTATAPE"); }, 0, 1392},
    {"a header damaged in its fields", [](auto d) { Overwrite(d + "/C001.tape", 12, "\x01"); }, 0, 1392},
    {"another cartridge's image", [](auto d) { WriteFile(d + "/C001.tape", ReadFile(d + "/C002.tape")); }, 0, 1392},
    {"an image of another block size",
     [](auto d) {
       FnxVtapeCreateLibrary(d + "/other", {.blockSize = 1024, .capacityBytes = 64 * 1024});
       WriteFile(d + "/C001.tape", ReadFile(d + "/other/C001.tape"));
     },
     0, 1392},
    {"an image of more blocks than its capacity", [](auto d) { fs::resize_file(d + "/C001.tape", 98816); }, 0, 1392},
    {"a missing image", [](auto d) { fs::remove(d + "/C001.tape"); }, 0, 1392},
    {"a partial block behind the data", [](auto d) { fs::resize_file(d + "/C001.tape", 65536 + 1636); }, 0, 0, 3, 3},
    {"a state file that does not parse", [](auto d) { WriteFile(d + "/state", "drive C009\n"); }, 1392, 0},
    {"a state file naming a cartridge it does not list",
     [](auto d) { Overwrite(d + "/state", ReadFile(d + "/state").find("drive C001"), "drive C00X"); }, 1392, 0},
    {"no state file", [](auto d) { fs::remove(d + "/state"); }, 2, 0},
    {"a position record damaged in both slots", [](auto d) { WriteFile(d + "/position", std::string(64, 'x')); },
     1392, 0},
    // The slot before is the creation's, from before the insert: block 0.
    {"a position record cut short in its newest slot", [](auto d) { Overwrite(d + "/position", 37, "x"); }, 0, 0, 0, 3},
};

class VtapeDamage : public VtapeTest, public ::testing::WithParamInterface<DamageCase> {};

TEST_P(VtapeDamage, IsRefusedWithANumber) {
  MakeLibrary();
  std::string blocks(3 * 512, 'b');
  EXPECT_EQ(os_tape_get_status(Open()), OS_TAPE_MEDIA_CHANGED);
  ASSERT_EQ(Transfer(m_open[0], true, blocks), 0u);
  os_tape_close(m_open[0]);
  GetParam().damage(m_dir.path());
  const os_tape_handle tape = os_tape_open("vtape:" + m_dir.path());
  m_open.push_back(tape);
  ASSERT_EQ(os_tape_last_error(), GetParam().open);
  if (tape == os_tape_invalid_handle) return;
  const std::uint32_t status = os_tape_get_status(tape);
  ASSERT_EQ(status, GetParam().status);
  if (status) {
    EXPECT_EQ(Transfer(tape, false, blocks), status) << "a read gets no data from a damaged image";
    return;
  }
  EXPECT_EQ(Position(tape), GetParam().position);
  EXPECT_EQ(os_tape_set_position(tape, OS_TAPE_SPACE_END_OF_DATA, 0, 0, 0, false), 0u);
  EXPECT_EQ(Position(tape), GetParam().end_of_data);
}

INSTANTIATE_TEST_SUITE_P(Cases, VtapeDamage, ::testing::ValuesIn(kCases));

}  // namespace
