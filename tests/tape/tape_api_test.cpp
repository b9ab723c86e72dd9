// The tape call wrapper and the tape device over it, on the virtual drive with
// faults scripted through its library directory.
#include <gtest/gtest.h>

#include <functional>
#include <set>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "dal_tape_api.h"
#include "dal_tape_dev_win32.h"
#include "fnx_log.h"
#include "fnx_vtape.h"
#include "os_tape.h"
#include "temp_dir.h"

namespace {

constexpr std::uint32_t kBlock = 512;

// A library of two cartridges, C001 in the drive.
struct Library {
  explicit Library(std::uint32_t block_size = kBlock) {
    FnxVtapeCreateLibrary(path, {.cartridges = 2, .blockSize = block_size, .capacityBytes = 1024 * 1024});
    FnxVtapeInsert(path, "C001");
  }
  std::string device() const { return "vtape:" + path; }
  // The at-th call of the seam's call from now fails with error, or every one.
  void Fail(const std::string& call, std::uint32_t error, bool always = false, std::uint64_t at = 1) const {
    FnxVtapeScriptFault(path, {.call = call, .at = at, .error = error, .always = always});
  }
  TempDir dir;
  std::string path = dir.Join("library");
};

// What a call came to: "returns" (or its bool), a tape exception's text, or a
// failed tape call as "<name>:Err(<number>)".
template <typename Call>
std::string Outcome(Call call) {
  try {
    if constexpr (std::is_void_v<decltype(call())>) {
      call();
      return "returns";
    } else {
      return call() ? "true" : "false";
    }
  } catch (const exception_GetLastError& error) {
    return error.Text().substr(0, error.Text().find(')') + 1);
  } catch (const FNXError& error) {
    EXPECT_EQ(error.SourceFile(), "dal_storage/src/dal_tape_dev_win32") << error.Text();
    return error.Text();
  }
}

// The wrapper's log lines, their trailing handle numbers left out.
std::string g_log;
void KeepLog(int, const char*, const char* text, void*) {
  const std::string line(text);
  g_log += line.substr(0, line.find_last_not_of("-0123456789") + 1) + "\n";
}

// The device over a configuration of its own, its protected operations reachable.
struct DeviceConfig {
  explicit DeviceConfig(const std::string& device) {
    CFnx_Dal_ConfigValues values;
    values.m_deviceName = device;
    config.SetValues(values);
  }
  CFnx_Dal_ConfigurationTape config;
};
struct TapeDev : DeviceConfig, CFnx_Dal_TapeDevWin32 {
  explicit TapeDev(const std::string& device) : DeviceConfig(device), CFnx_Dal_TapeDevWin32(config) {}
  using CFnx_Dal_TapeDevWin32::GetHandle;
  using CFnx_Dal_TapeDevWin32::PrepareNewTape;
  using CFnx_Dal_TapeDevWin32::ReadBlocks;
  using CFnx_Dal_TapeDevWin32::Verify_Tape_In_Drive;
  using CFnx_Dal_TapeDevWin32::WriteBlocks;
};

// The "+" or "-" of each feature line of a drive report, the low word's and
// the high word's, each line checked for its form on the way.
std::pair<std::string, std::string> FeatureSigns(const std::string& report) {
  std::pair<std::string, std::string> signs;
  std::string* word = nullptr;
  std::size_t start = 0;
  for (std::size_t end = report.find('\n'); end != std::string::npos; start = end + 1, end = report.find('\n', start)) {
    const std::string line = report.substr(start, end - start);
    if (line == "Features Low:" || line == "Features High:") {
      word = line == "Features Low:" ? &signs.first : &signs.second;
    } else if (word) {
      EXPECT_TRUE(line.size() > 4 && line[0] == '\t' && line.substr(2, 2) == " :") << line;
      *word += line[1];
    }
  }
  return signs;
}

}  // namespace

TEST(TapeApi, EachCallsSuccessValues) {
  _TAPE_GET_DRIVE_PARAMETERS drive;
  _TAPE_GET_MEDIA_PARAMETERS media;
  const _TAPE_SET_DRIVE_PARAMETERS set_drive{};
  const _TAPE_SET_MEDIA_PARAMETERS set_media{kBlock};
  std::uint32_t p = 0, low = 0, high = 0;
  char block[kBlock] = {};
  unsigned long long written = 0;
  const struct {
    const char* call;  // of the seam
    const char* name;  // of the wrapper
    std::function<void(CTapeApi&)> wrapper;
  } rows[] = {
      {"get_parameters", "GetTapeParameters", [&](CTapeApi& t) { t.GetTapeParameters(drive); }},
      {"get_parameters", "GetTapeMediaParameters", [&](CTapeApi& t) { t.GetTapeMediaParameters(media); }},
      {"set_parameters", "SetTapeParameters", [&](CTapeApi& t) { t.SetTapeParameters(set_drive); }},
      {"set_parameters", "SetTapeMediaParameters", [&](CTapeApi& t) { t.SetTapeMediaParameters(set_media); }},
      {"create_partition", "CreateTapePartition", [](CTapeApi& t) { t.CreateTapePartition(0, 0, 0); }},
      {"prepare", "PrepareTape", [](CTapeApi& t) { t.PrepareTape(0, 0); }},
      {"erase", "EraseTape", [](CTapeApi& t) { t.EraseTape(0, 0); }},
      {"set_position", "SetTapePosition", [](CTapeApi& t) { t.SetTapePosition(2, 0, 0, 0, 0); }},
      {"get_position", "GetTapePosition", [&](CTapeApi& t) { t.GetTapePosition(1, &p, &low, &high); }},
      {"write_tapemark", "WriteTapemark", [](CTapeApi& t) { t.WriteTapemark(0, 1, 0); }},
      {"get_status", "CheckTapeStatus", [](CTapeApi& t) { t.CheckTapeStatus(); }},
      {"write", "WriteFile", [&](CTapeApi& t) { t.WriteFile(block, kBlock, &written); }},
  };
  Library library;
  CTapeApi tape(library.device());
  EXPECT_EQ(tape.CheckTapeStatus(), OS_TAPE_MEDIA_CHANGED) << "the insert's change, returned as it is";
  for (const auto& row : rows) {
    library.Fail(row.call, 1117);
    EXPECT_EQ(Outcome([&] { row.wrapper(tape); }), std::string(row.name) + ":Err(1117)");
    // Every call but ReadFile and WriteFile passes a media change, also when
    // the call made again meets one.
    library.Fail(row.call, OS_TAPE_MEDIA_CHANGED, /*always=*/true);
    const bool passes = std::string(row.call) != "write";
    EXPECT_EQ(Outcome([&] { row.wrapper(tape); }), passes ? "returns" : "WriteFile:Err(1110)") << row.name;
    FnxVtapeClearFaults(library.path);
  }
  // The end of the data is where a positioning there arrives (elsewhere a failure: the device's rows).
  library.Fail("set_position", 1104);
  EXPECT_EQ(Outcome([&] { tape.SetTapePosition(4, 0, 0, 0, 0); }), "returns");
}

TEST(TapeApi, ReadFileRetriesTwiceOnAFreshHandleAfterAMediaChange) {
  const struct {
    std::uint64_t changes;  // reads that fail with 1110 in a row
    std::uint32_t then_error;
    const char* outcome;
    int reopened;
  } rows[] = {
      {0, 0, "returns", 0},
      {2, 0, "returns", 2},
      {3, 0, "ReadFile:Err(1110)", 2},
      {1, OS_TAPE_NO_DATA_DETECTED, "ReadFile:Err(1104)", 1},
      {0, OS_TAPE_HANDLE_EOF, "ReadFile:Err(38)", 0},
  };
  Library library;
  const std::vector<char> block(kBlock, 'b');
  {
    CTapeApi writer(library.device());
    writer.CheckTapeStatus();
    unsigned long long written = 0;
    writer.WriteFile(block.data(), kBlock, &written);
  }
  for (const auto& row : rows) {
    CTapeApi tape(library.device());
    tape.SetTapePosition(OS_TAPE_LOGICAL_BLOCK, 0, 0, 0, 0);
    for (std::uint64_t at = 1; at <= row.changes; ++at) library.Fail("read", OS_TAPE_MEDIA_CHANGED, false, at);
    if (row.then_error != 0) library.Fail("read", row.then_error, false, row.changes + 1);
    g_log.clear();
    Fnx_SetLogSink(1, &KeepLog, nullptr);
    std::vector<char> data(kBlock);
    std::uint32_t read = 77;
    EXPECT_EQ(Outcome([&] { tape.ReadFile(data.data(), kBlock, &read); }), row.outcome) << row.changes;
    Fnx_SetLogSink(0, nullptr, nullptr);
    std::string reopens;
    for (int i = 0; i < row.reopened; ++i) {
      reopens += "ReadFile::Media changed\nCTapeApi::CloseHandle m_hDev=\nCTapeApi::ValidateDeviceHandle created m_hDev=\n";
    }
    EXPECT_EQ(g_log, reopens) << row.changes;
    EXPECT_EQ(read, std::string(row.outcome) == "returns" ? kBlock : 0u);
    EXPECT_EQ(data, read == kBlock ? block : std::vector<char>(kBlock));
    FnxVtapeClearFaults(library.path);
  }
}

TEST(TapeApi, OpensOnDemandExclusivelyAndAgainAfterAFailure) {
  Library library;
  CTapeApi first(library.device()), second(library.device());
  EXPECT_EQ(first.GetHandle(), 0) << "constructing touches no device";
  first.CheckTapeStatus();
  EXPECT_NE(first.GetHandle(), 0);
  EXPECT_EQ(Outcome([&] { second.CheckTapeStatus(); }), "CreateFile:Err(32)");
  EXPECT_EQ(second.GetHandle(), 0);
  first.CloseHandle();
  EXPECT_EQ(first.GetHandle(), 0);
  second.CheckTapeStatus();
  EXPECT_NE(second.GetHandle(), 0);
  CTapeApi nowhere("vtape:" + library.path + "-missing");
  EXPECT_EQ(Outcome([&] { nowhere.CheckTapeStatus(); }), "CreateFile:Err(2)");
  // The whole text: the call, the number, the system's text of it.
  try {
    nowhere.CheckTapeStatus();
  } catch (const exception_GetLastError& error) {
    const std::string system = os_tape_error_text(2);
    EXPECT_EQ(error.Text(), "CreateFile:Err(2)" + (system.empty() ? "" : " " + system));
    EXPECT_EQ(error.Code(), 2);
  }
  std::string text;  // a fresh thread has no failure yet: the number alone
  std::thread([&] { text = exception_GetLastError("Nothing").Text(); }).join();
  EXPECT_EQ(text, "Nothing:Err(0)");
}

TEST(TapeDevWin32, TranslatesTheDrivesNumbers) {
  enum Operation { kRead, kWrite, kInDrive, kNotProtected, kPosition, kPrepare };
  using Setup = std::function<void(const Library&, TapeDev&)>;
  const auto fail = [](const char* call, std::uint32_t error) -> Setup {
    return [=](const Library& library, TapeDev&) { library.Fail(call, error); };
  };
  const Setup eject = [](const Library& library, TapeDev&) { FnxVtapeEject(library.path); };
  const Setup protect = [](const Library& library, TapeDev&) { FnxVtapeProtect(library.path, "C001", true); };
  const Setup at_end = [](const Library&, TapeDev& device) { device.GotoPosition(CFnx_Dal_Tape_Position(0, 1, 0)); };
  const struct {
    Setup setup;
    Operation operation;
    const char* outcome;
  } rows[] = {
      {fail("read", 38), kRead, "end_of_tape_error"},
      {fail("read", 1104), kRead, "ReadFile:Err(1104)"},
      {at_end, kRead, "ReadFile:Err(1104)"},
      {fail("read", 1110), kRead, "returns"},
      {fail("write", 1100), kWrite, "end_of_tape_error"},
      {fail("write", 1129), kWrite, "end_of_tape_error"},
      {protect, kWrite, "WriteFile:Err(19)"},
      {fail("write", 1117), kWrite, "WriteFile:Err(1117)"},
      {fail("get_status", 1112), kInDrive, "no_tape_in_drive_error"},
      {fail("get_status", 1117), kInDrive, "returns"},
      {eject, kNotProtected, "no_tape_in_drive_error"},
      {fail("get_status", 19), kNotProtected, "true"},
      {protect, kNotProtected, "false"},
      {fail("get_parameters", 1117), kNotProtected, "GetTapeMediaParameters:Err(1117)"},
      {fail("get_position", 1104), kPosition, "GetTapePosition:Err(1104)"},
      {fail("set_parameters", 1117), kPrepare, "SetTapeMediaParameters:Err(1117)"},  // a drive that sets sizes
  };
  for (const auto& row : rows) {
    Library library;
    TapeDev device(library.device());
    // One block on the tape, positioned at it, transfers armed.
    device.Verify_Tape_In_Drive();
    unsigned long long block_size = 0;
    device.GetBlockSize(block_size);
    ASSERT_EQ(block_size, kBlock);
    std::vector<char> block(kBlock, 'd');
    unsigned long long written = 0;
    device.WriteBlocks(block.data(), 1, written);
    device.GotoPosition(CFnx_Dal_Tape_Position(0, 0, 0));
    row.setup(library, device);
    CFnx_Dal_Tape_Position position;
    const std::function<void()> operations[] = {
        [&] { device.ReadBlocks(block.data(), 1); }, [&] { device.WriteBlocks(block.data(), 1, written); },
        [&] { device.Verify_Tape_In_Drive(); }, nullptr, [&] { device.GetCurrentPosition(position); },
        [&] { device.PrepareNewTape(); }};
    const std::string outcome = row.operation == kNotProtected
                                    ? Outcome([&] { return device.Verify_Tape_Not_WriteProtected(); })
                                    : Outcome(operations[row.operation]);
    EXPECT_EQ(outcome, row.outcome) << &row - rows;
    EXPECT_NE(device.GetHandle(), 0) << &row - rows << ": a failure leaves the drive open";
  }
}

TEST(TapeDevWin32, BlockTransfersWaitForAFixedBlockSizeAndADriveIsOpenedWhenNeeded) {
  Library fixed, variable(0);
  std::vector<char> block(kBlock);
  unsigned long long written = 0, block_size = 77;
  TapeDev device(fixed.device());
  EXPECT_EQ(Outcome([&] { device.ReadBlocks(block.data(), 1); }), "tape_single_blocksize_error");
  EXPECT_EQ(Outcome([&] { device.WriteBlocks(block.data(), 1, written); }), "tape_single_blocksize_error");
  EXPECT_EQ(device.GetHandle(), 0) << "refused without touching the drive";
  TapeDev variable_device(variable.device());
  variable_device.GetBlockSize(block_size);
  EXPECT_EQ(block_size, 0u);
  EXPECT_EQ(Outcome([&] { variable_device.WriteBlocks(block.data(), 1, written); }), "tape_single_blocksize_error");
  // A missing drive fails at the first operation that needs it, not at the status.
  TapeDev missing("vtape:" + fixed.path + "-missing");
  EXPECT_EQ(Outcome([&] { missing.Verify_Tape_In_Drive(); }), "returns");
  EXPECT_EQ(Outcome([&] { missing.GetBlockSize(block_size); }), "CreateFile:Err(2)");
}

TEST(TapeApiReport, DriveAndMediaRecordsLineForLine) {
  CTapeApi api("never opened");
  _TAPE_GET_DRIVE_PARAMETERS drive{};
  const auto signs = [&](std::uint32_t low, std::uint32_t high) {
    drive.FeaturesLow = low;
    drive.FeaturesHigh = high;
    return FeatureSigns(api.GetTapeParametersString(drive));
  };
  const std::string report = api.GetTapeParametersString(drive);
  EXPECT_NE(report.find("\n\t- :The device supports hardware data compression.\n"), std::string::npos);
  EXPECT_NE(report.find("\n\t- : The device writes short filemarks \n"), std::string::npos) << "blanks kept";
  EXPECT_EQ(signs(0, 0), std::make_pair(std::string(22, '-'), std::string(29, '-')));
  // The high word's marker bit shows every high feature; any other bit alone
  // shows one feature, each its own.
  EXPECT_EQ(signs(0, 0x80000000).second, std::string(29, '+'));
  for (const bool high : {false, true}) {
    std::set<std::size_t> shown;
    for (int bit = 0; bit < (high ? 31 : 32); ++bit) {
      const auto both = high ? signs(0, 1u << bit) : signs(1u << bit, 0);
      const std::string& word = high ? both.second : both.first;
      const std::string& other = high ? both.first : both.second;
      EXPECT_EQ(other.find('+'), std::string::npos) << bit;
      if (word.find('+') == std::string::npos) continue;
      EXPECT_EQ(word.find('+'), word.rfind('+')) << "bit " << bit << " shows two features";
      EXPECT_TRUE(shown.insert(word.find('+')).second) << "bit " << bit << " shows another bit's feature";
    }
    EXPECT_EQ(shown.size(), high ? 29u : 22u) << "a feature no bit shows";
  }
  drive = {1, 1, 1, 1, 4294967295u, 65536, 512, 1, 0, 0, 1048576};
  const std::string values = api.GetTapeParametersString(drive);
  EXPECT_EQ(values.substr(0, values.find("Features Low:")),
            "Support Hardware Correction (ECC):true\nSupport Hardware Compression:true\nSupport DataPadding:true\n"
            "Support Report Setmarks Enabled:true\nDefault Block Size:4294967295\nMaximum Block Size:65536\n"
            "Minimum Block Size:512\nMaximum Partition Count:1\nBytes between EOT warning and real EOT:1048576\n");
  _TAPE_GET_MEDIA_PARAMETERS media{};
  media.Capacity.QuadPart = 5000000000LL;
  media.Remaining.QuadPart = 4294967296LL;
  media.BlockSize = 65536;
  media.PartitionCount = 1;
  media.WriteProtected = 1;
  EXPECT_EQ(api.GetTapeMediaParametersString(media),
            "(Capacity)Total number of bytes in Current Partition:5000000000\n"
            "(Remaining)Total number of bytes between current position and End of Partition:4294967296\n"
            "Block Size:65536\n(PartitionCount)Number of Partitions:1\nWrite Protectec:true\n");
  EXPECT_EQ(api.GetHandle(), 0);
}
