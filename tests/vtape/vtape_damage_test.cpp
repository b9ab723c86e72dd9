// Damaged libraries and cartridge images: each refused with a platform
// number, never read as data.
#include <filesystem>
#include <functional>

#include "vtape_fixture.h"

namespace {

struct DamageCase {
  const char* what;
  std::function<void(VtapeTest&)> damage;
  std::uint32_t open;    // the number of the open
  std::uint32_t status;  // of the first status call, when the open succeeded
  std::uint64_t end_of_data = 0;  // where a positioning to the end of the data stops
};

std::ostream& operator<<(std::ostream& out, const DamageCase& c) { return out << c.what; }

void Overwrite(const std::string& path, std::uintmax_t at, const std::string& bytes) {
  std::string content = ReadFile(path);
  content.replace(at, bytes.size(), bytes);
  WriteFile(path, content);
}

// Where an image's blocks begin, behind its header.
constexpr std::uintmax_t kHeader = 65536;

std::string Image(VtapeTest& t, const char* name) { return t.m_dir.Join(std::string(name) + ".tape"); }

const DamageCase kCases[] = {
    {"an image shorter than its header", [](VtapeTest& t) { std::filesystem::resize_file(Image(t, "C001"), 100); },
     0, 1392},
    {"an image cut inside its header",
     [](VtapeTest& t) { std::filesystem::resize_file(Image(t, "C001"), kHeader - 1); }, 0, 1392},
    {"an image that is no cartridge", [](VtapeTest& t) { Overwrite(Image(t, "C001"), 0, "NOTATAPE"); }, 0, 1392},
    {"a header damaged in its fields", [](VtapeTest& t) { Overwrite(Image(t, "C001"), 12, "\x01"); }, 0, 1392},
    {"the image of another cartridge",
     [](VtapeTest& t) { WriteFile(Image(t, "C001"), ReadFile(Image(t, "C002"))); },
     0, 1392},
    {"an image of another block size than the library says",
     [](VtapeTest& t) {
       TempDir other;
       FnxVtapeLibraryShape shape;
       shape.blockSize = 1024;
       shape.capacityBytes = 64 * 1024;
       FnxVtapeCreateLibrary(other.path(), shape);
       WriteFile(Image(t, "C001"), ReadFile(other.Join("C001.tape")));
     },
     0, 1392},
    {"an image with more blocks than its capacity",
     [](VtapeTest& t) { std::filesystem::resize_file(Image(t, "C001"), kHeader + 65 * 512); }, 0, 1392},
    {"a missing image", [](VtapeTest& t) { std::filesystem::remove(Image(t, "C001")); }, 0, 1392},
    {"a partial block behind the data, as a killed writer leaves it",
     [](VtapeTest& t) { std::filesystem::resize_file(Image(t, "C001"), kHeader + 2 * 512 + 100); }, 0, 1110,
     2},
    {"a state file that does not parse", [](VtapeTest& t) { WriteFile(t.m_dir.Join("state"), "drive C009\n"); },
     1392, 0},
    {"a state file naming a cartridge it does not list",
     [](VtapeTest& t) { Overwrite(t.m_dir.Join("state"), ReadFile(t.m_dir.Join("state")).find("drive C001"), "drive C00X"); },
     1392, 0},
    {"no state file", [](VtapeTest& t) { std::filesystem::remove(t.m_dir.Join("state")); }, 2, 0},
    {"no library directory", [](VtapeTest& t) { std::filesystem::remove_all(t.m_dir.path()); }, 2, 0},
};

class VtapeDamage : public VtapeTest, public ::testing::WithParamInterface<DamageCase> {};

TEST_P(VtapeDamage, IsRefusedWithANumber) {
  MakeLibrary();
  GetParam().damage(*this);
  const os_tape_handle tape = os_tape_open(Device());
  if (GetParam().open != 0) {
    EXPECT_EQ(tape, os_tape_invalid_handle);
    EXPECT_EQ(os_tape_last_error(), GetParam().open);
    return;
  }
  ASSERT_NE(tape, os_tape_invalid_handle) << os_tape_last_error();
  m_open.push_back(tape);
  EXPECT_EQ(os_tape_get_status(tape), GetParam().status);
  if (GetParam().status != OS_TAPE_MEDIA_CHANGED) {
    std::uint32_t done = 0;
    EXPECT_EQ(Read(tape, 1, &done), GetParam().status) << "a read gets no data from a damaged image";
    return;
  }
  EXPECT_EQ(os_tape_set_position(tape, OS_TAPE_SPACE_END_OF_DATA, 0, 0, 0, false), 0u);
  EXPECT_EQ(Position(tape), GetParam().end_of_data);
}

INSTANTIATE_TEST_SUITE_P(Cases, VtapeDamage, ::testing::ValuesIn(kCases));

}  // namespace
