// The virtual drive through the tape seam: the platform numbers that the
// tape logic gives a meaning to, each in the situation that makes it. What the
// random run (vtape_model_test) and the tape call wrapper's suite reach is
// left to them: the end of the data, cutting behind a write, the position
// kept between handles, the insert's 1110, exclusive opens, a missing library.
#include <functional>
#include <random>

#include "vtape_fixture.h"

namespace {

using Numbers = std::vector<std::uint64_t>;

struct NumberCase {
  const char* what;
  std::function<Numbers(VtapeTest&)> run;  // the numbers the calls ended with
  Numbers expected;
  std::uint32_t block_size = 512;
};

std::ostream& operator<<(std::ostream& out, const NumberCase& c) { return out << c.what; }

FnxVtapeFault Fault(FnxVtapeFaultKind kind) {
  FnxVtapeFault fault;
  fault.kind = kind;
  return fault;
}

FnxVtapeFault FailCall(const char* call, std::uint64_t at, std::uint32_t error, bool always) {
  FnxVtapeFault fault;
  fault.call = call;
  fault.at = at;
  fault.error = error;
  fault.always = always;
  return fault;
}

TAPE_GET_MEDIA_PARAMETERS Media(os_tape_handle tape, std::uint32_t* error) {
  TAPE_GET_MEDIA_PARAMETERS media{};
  std::uint32_t size = sizeof media;
  *error = os_tape_get_parameters(tape, OS_TAPE_GET_MEDIA_INFORMATION, &size, &media);
  return media;
}

// Library: 512-byte blocks, 64 blocks, the early warning from block 56; C001 in the drive.
const NumberCase kCases[] = {
    {"no cartridge: status and read say 1112",
     [](VtapeTest& t) {
       FnxVtapeEject(t.m_dir.path());
       const auto tape = t.Open();
       std::uint32_t done = 0;
       return Numbers{os_tape_get_status(tape), t.Read(tape, 1, &done)};
     },
     {1112, 1112}},
    {"a scripted media change reaches the next read, once",
     [](VtapeTest& t) {
       const auto tape = t.OpenReady();
       const Numbers written{t.Write(tape, 0, 2), t.Seek(tape, 0)};
       FnxVtapeScriptFault(t.m_dir.path(), Fault(FnxVtapeFaultKind::MediaChange));
       std::uint32_t done = 0;
       return Numbers{written[0], written[1], t.Read(tape, 1, &done), t.Read(tape, 1, &done), done};
     },
     {0, 0, 1110, 0, 512}},
    {"the write-protect switch, on and off while the drive is open",
     [](VtapeTest& t) {
       const auto tape = t.OpenReady();
       FnxVtapeScriptFault(t.m_dir.path(), Fault(FnxVtapeFaultKind::WriteProtect));
       const auto on = t.Write(tape, 0, 1);
       FnxVtapeScriptFault(t.m_dir.path(), Fault(FnxVtapeFaultKind::WriteEnable));
       return Numbers{on, t.Write(tape, 0, 1)};
     },
     {19, 0}},
    {"the early warning: 1100 writing nothing, then on into the zone, then 1129 at the end",
     [](VtapeTest& t) {
       const auto tape = t.OpenReady();
       Numbers n{t.Write(tape, 0, 55), t.Write(tape, 55, 2), t.Position(tape), t.Write(tape, 55, 2),
                 t.Write(tape, 57, 7), t.Write(tape, 64, 1), t.Position(tape)};
       return n;
     },
     {0, 1100, 55, 0, 0, 1129, 64}},
    {"a scripted end of medium at block 4",
     [](VtapeTest& t) {
       FnxVtapeFault fault = Fault(FnxVtapeFaultKind::EndOfMedium);
       fault.block = 4;
       FnxVtapeScriptFault(t.m_dir.path(), fault);
       const auto tape = t.OpenReady();
       return Numbers{t.Write(tape, 0, 4), t.Write(tape, 4, 1)};
     },
     {0, 1100}},
    {"errors at the 1st and the 2nd read, once each; and at every write from the 1st",
     [](VtapeTest& t) {
       const auto tape = t.OpenReady();
       Numbers n{t.Write(tape, 0, 3), t.Seek(tape, 0)};
       FnxVtapeScriptFault(t.m_dir.path(), FailCall("read", 1, 23, false));
       FnxVtapeScriptFault(t.m_dir.path(), FailCall("read", 2, 38, false));
       FnxVtapeScriptFault(t.m_dir.path(), FailCall("write", 1, 1117, true));
       std::uint32_t done = 0;
       for (int i = 0; i < 3; ++i) n.push_back(t.Read(tape, 1, &done));
       n.push_back(t.Write(tape, 2, 1));
       n.push_back(t.Write(tape, 2, 1));
       return n;
     },
     {0, 0, 23, 38, 0, 1117, 1117}},
    {"a transfer that is not a whole number of blocks: 87",
     [](VtapeTest& t) {
       const auto tape = t.OpenReady();
       char buffer[700] = {};
       std::uint32_t done = 0;
       const bool wrote = os_tape_write(tape, buffer, 700, &done);
       const std::uint32_t write_error = os_tape_last_error();
       const bool read = os_tape_read(tape, buffer, 100, &done);
       return Numbers{wrote, write_error, read, os_tape_last_error()};
     },
     {0, 87, 0, 87}},
    {"a name registered for the library opens its drive; an unknown name reaches no drive",
     [](VtapeTest& t) {
       FnxVtapeRegisterName("TAPE-" + t.m_dir.path(), t.m_dir.path());
       const auto tape = os_tape_open("TAPE-" + t.m_dir.path());
       t.m_open.push_back(tape);
       const Numbers n{tape != os_tape_invalid_handle, os_tape_get_status(tape)};
       const auto unknown = os_tape_open("NO-TAPE-" + t.m_dir.path());
       return Numbers{n[0], n[1], unknown == os_tape_invalid_handle, os_tape_last_error() != 0};
     },
     {1, 1110, 1, 1}},
    {"unload: 1112; load: 1110 once, at block 0",
     [](VtapeTest& t) {
       const auto tape = t.OpenReady();
       Numbers n{t.Write(tape, 0, 2), os_tape_prepare(tape, OS_TAPE_UNLOAD, false), os_tape_get_status(tape)};
       n.push_back(os_tape_prepare(tape, OS_TAPE_LOAD, false));
       n.push_back(os_tape_get_status(tape));
       n.push_back(os_tape_get_status(tape));
       n.push_back(t.Position(tape));
       return n;
     },
     {0, 0, 1112, 0, 1110, 0, 0}},
    {"the drive record: the five features, the block-size feature, the block sizes",
     [](VtapeTest& t) {
       const auto tape = t.Open();
       TAPE_GET_DRIVE_PARAMETERS drive{};
       std::uint32_t size = sizeof drive;
       const auto error = os_tape_get_parameters(tape, OS_TAPE_GET_DRIVE_INFORMATION, &size, &drive);
       const std::uint32_t low = 0x400 | 0x200000 | 0x1000;
       return Numbers{error, (drive.FeaturesLow & low) == low, (drive.FeaturesHigh & 0x80010000) == 0x80010000,
                      (drive.FeaturesHigh & 0x80004000) == 0x80004000, (drive.FeaturesHigh & 0x80000010) == 0x80000010,
                      drive.DefaultBlockSize, drive.MinimumBlockSize, drive.MaximumBlockSize};
     },
     {0, 1, 1, 1, 1, 512, 512, 65536}},
    {"a variable-mode cartridge: BlockSize 0 in the media record, no transfers",
     [](VtapeTest& t) {
       const auto tape = t.OpenReady();
       std::uint32_t error = 0;
       const auto media = Media(tape, &error);
       char block[512] = {};
       std::uint32_t done = 0;
       os_tape_write(tape, block, 512, &done);
       return Numbers{error, media.BlockSize, os_tape_last_error()};
     },
     {0, 0, 50},
     /*block_size=*/0},
};

class VtapeNumbers : public VtapeTest, public ::testing::WithParamInterface<NumberCase> {};

TEST_P(VtapeNumbers, EndsWithThePlatformNumbers) {
  MakeLibrary(GetParam().block_size);
  EXPECT_EQ(GetParam().run(*this), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Cases, VtapeNumbers, ::testing::ValuesIn(kCases));

}  // namespace
