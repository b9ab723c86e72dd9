// The tape call wrapper and the tape device over it on the virtual drive:
// which numbers count as success, the ReadFile retry after a media change,
// opening on demand, and the device's translation of numbers into the tape
// exceptions. Faults are scripted through the library directory.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "dal_tape_api.h"
#include "dal_tape_dev_win32.h"
#include "fnx_log.h"
#include "fnx_vtape.h"
#include "os_tape.h"
#include "temp_dir.h"

namespace {

constexpr std::uint32_t kBlock = 512;

// The log lines of the test, severity 1 and below; each one is also handed
// to on_line, which may change the drive but not log.
class LogLines {
 public:
  explicit LogLines(std::function<void(const std::string&)> on_line = nullptr) : m_on_line(std::move(on_line)) {
    Fnx_SetLogSink(1, &Add, this);
  }
  ~LogLines() { Fnx_SetLogSink(0, nullptr, nullptr); }
  int Count(const std::string& start) {
    std::lock_guard<std::mutex> hold(m_lock);
    int count = 0;
    for (const std::string& line : m_lines) count += line.rfind(start, 0) == 0 ? 1 : 0;
    return count;
  }

 private:
  static void Add(int, const char*, const char* text, void* self) {
    auto* lines = static_cast<LogLines*>(self);
    {
      std::lock_guard<std::mutex> hold(lines->m_lock);
      lines->m_lines.emplace_back(text);
    }
    if (lines->m_on_line) lines->m_on_line(text);
  }
  std::function<void(const std::string&)> m_on_line;
  std::mutex m_lock;
  std::vector<std::string> m_lines;
};

// A library of two cartridges, C001 in the drive.
class VirtualLibrary {
 public:
  explicit VirtualLibrary(std::uint32_t block_size = kBlock) {
    FnxVtapeLibraryShape shape;
    shape.cartridges = 2;
    shape.blockSize = block_size;
    shape.capacityBytes = 1024 * 1024;
    FnxVtapeCreateLibrary(m_path, shape);
    FnxVtapeInsert(m_path, "C001");
  }
  const std::string& path() const { return m_path; }
  std::string device() const { return "vtape:" + m_path; }
  // The next call of the seam's call fails with error, or every one from now.
  void Fail(const std::string& call, std::uint32_t error, bool always = false) const {
    FnxVtapeFault fault;
    fault.call = call;
    fault.error = error;
    fault.always = always;
    FnxVtapeScriptFault(m_path, fault);
  }

 private:
  TempDir m_dir;
  std::string m_path = m_dir.Join("library");
};

// What a call came to: "returns", its bool, a tape exception's class name, or
// a failed tape call as "<name>:Err(<number>)".
std::string Outcome(const std::function<std::string()>& call) {
  try {
    return call();
  } catch (const exception_GetLastError& error) {
    return error.Text().substr(0, error.Text().find(')') + 1);
  } catch (const FNXError& error) {
    EXPECT_EQ(error.SourceFile(), "dal_storage/src/dal_tape_dev_win32") << error.Text();
    return error.Text();
  }
}

std::function<std::string()> Returns(std::function<void()> call) {
  return [call] {
    call();
    return std::string("returns");
  };
}

// The protected operations, reachable for the test.
class TapeDev : public CFnx_Dal_TapeDevWin32 {
 public:
  using CFnx_Dal_TapeDevWin32::CFnx_Dal_TapeDevWin32;
  using CFnx_Dal_TapeDevWin32::GetHandle;
  using CFnx_Dal_TapeDevWin32::ReadBlocks;
  using CFnx_Dal_TapeDevWin32::Verify_Tape_In_Drive;
  using CFnx_Dal_TapeDevWin32::WriteBlocks;
};

CFnx_Dal_ConfigurationTape ConfigFor(const std::string& device) {
  CFnx_Dal_ConfigValues values;
  values.m_deviceName = device;
  CFnx_Dal_ConfigurationTape config;
  config.SetValues(values);
  return config;
}

}  // namespace

TEST(TapeApi, EachCallsSuccessValues) {
  _TAPE_GET_DRIVE_PARAMETERS drive;
  _TAPE_GET_MEDIA_PARAMETERS media;
  _TAPE_SET_DRIVE_PARAMETERS set_drive{};
  _TAPE_SET_MEDIA_PARAMETERS set_media{kBlock};
  std::uint32_t p = 0, low = 0, high = 0;
  char block[kBlock] = {};
  unsigned long long written = 0;
  using Call = std::function<void(CTapeApi&)>;
  const struct {
    const char* call;  // of the seam
    Call wrapper;
    std::uint32_t error;
    const char* outcome;
  } rows[] = {
      {"get_parameters", [&](CTapeApi& t) { t.GetTapeParameters(drive); }, 1117, "GetTapeParameters:Err(1117)"},
      {"get_parameters", [&](CTapeApi& t) { t.GetTapeMediaParameters(media); }, 1117, "GetTapeMediaParameters:Err(1117)"},
      {"set_parameters", [&](CTapeApi& t) { t.SetTapeParameters(set_drive); }, 1117, "SetTapeParameters:Err(1117)"},
      {"set_parameters", [&](CTapeApi& t) { t.SetTapeMediaParameters(set_media); }, 1117, "SetTapeMediaParameters:Err(1117)"},
      {"create_partition", [](CTapeApi& t) { t.CreateTapePartition(0, 0, 0); }, 1117, "CreateTapePartition:Err(1117)"},
      {"prepare", [](CTapeApi& t) { t.PrepareTape(0, 0); }, 1117, "PrepareTape:Err(1117)"},
      {"erase", [](CTapeApi& t) { t.EraseTape(0, 0); }, 1117, "EraseTape:Err(1117)"},
      {"set_position", [](CTapeApi& t) { t.SetTapePosition(2, 0, 0, 0, 0); }, 1117, "SetTapePosition:Err(1117)"},
      {"get_position", [&](CTapeApi& t) { t.GetTapePosition(1, &p, &low, &high); }, 1117, "GetTapePosition:Err(1117)"},
      {"write_tapemark", [](CTapeApi& t) { t.WriteTapemark(0, 1, 0); }, 1117, "WriteTapemark:Err(1117)"},
      {"get_status", [](CTapeApi& t) { t.CheckTapeStatus(); }, 1117, "CheckTapeStatus:Err(1117)"},
      {"write", [&](CTapeApi& t) { t.WriteFile(block, kBlock, &written); }, 1117, "WriteFile:Err(1117)"},
      // The end of the data is where a positioning there arrives; anywhere
      // else it is a failure. A write has no retry after a media change.
      {"set_position", [](CTapeApi& t) { t.SetTapePosition(4, 0, 0, 0, 0); }, 1104, "returns"},
      {"get_position", [&](CTapeApi& t) { t.GetTapePosition(1, &p, &low, &high); }, 1104, "GetTapePosition:Err(1104)"},
      {"write", [&](CTapeApi& t) { t.WriteFile(block, kBlock, &written); }, 1110, "WriteFile:Err(1110)"},
  };
  VirtualLibrary library;
  CTapeApi tape(library.device());
  EXPECT_EQ(tape.CheckTapeStatus(), OS_TAPE_MEDIA_CHANGED) << "the insert's change, returned as it is";
  for (const auto& row : rows) {
    library.Fail(row.call, row.error);
    EXPECT_EQ(Outcome(Returns([&] { row.wrapper(tape); })), row.outcome) << row.call << " " << row.error;
    if (row.error != 1117) continue;
    // Every call but ReadFile and WriteFile passes a media change, also
    // when the call made again meets one.
    if (std::string(row.call) == "write") continue;
    library.Fail(row.call, OS_TAPE_MEDIA_CHANGED, /*always=*/true);
    EXPECT_EQ(Outcome(Returns([&] { row.wrapper(tape); })), "returns") << row.call << " 1110";
    FnxVtapeClearFaults(library.path());
  }
}

// A drive that reports a change of the medium has not done what it was asked:
// the call is made again, and a record it never filled reads as zeros.
TEST(TapeApi, ACallThatMeetsAMediaChangeIsMadeAgain) {
  VirtualLibrary library;
  CTapeApi tape(library.device());
  tape.CheckTapeStatus();
  std::vector<char> blocks(2 * kBlock, 'p');
  unsigned long long written = 0;
  tape.WriteFile(blocks.data(), 2 * kBlock, &written);
  FnxVtapeInsert(library.path(), "C001");  // a reload: at block 0, 1110 owed
  tape.SetTapePosition(OS_TAPE_LOGICAL_BLOCK, 0, 1, 0, 0);
  std::uint32_t partition = 9, low = 9, high = 9;
  tape.GetTapePosition(OS_TAPE_LOGICAL_POSITION, &partition, &low, &high);
  EXPECT_EQ(low, 1u) << "the positioning after the reload was carried out";

  _TAPE_GET_MEDIA_PARAMETERS media;
  std::memset(&media, 0xA5, sizeof media);
  library.Fail("get_parameters", OS_TAPE_MEDIA_CHANGED);
  tape.GetTapeMediaParameters(media);
  EXPECT_EQ(media.BlockSize, kBlock);
  library.Fail("get_parameters", OS_TAPE_MEDIA_CHANGED, /*always=*/true);
  _TAPE_GET_DRIVE_PARAMETERS drive;
  std::memset(&drive, 0xA5, sizeof drive);
  tape.GetTapeParameters(drive);
  _TAPE_GET_DRIVE_PARAMETERS zeros{};
  EXPECT_EQ(std::memcmp(&drive, &zeros, sizeof drive), 0) << "a record the drive never filled reads as zeros";
}

TEST(TapeApi, ReadFileRetriesTwiceOnAFreshHandleAfterAMediaChange) {
  const struct {
    int changes;  // reads that fail with 1110 in a row
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
  VirtualLibrary library;
  std::vector<char> block(kBlock, 'b');
  {
    CTapeApi writer(library.device());
    writer.CheckTapeStatus();
    unsigned long long written = 0;
    writer.WriteFile(block.data(), kBlock, &written);
    EXPECT_EQ(written, kBlock) << "the requested length, widened";
  }
  for (const auto& row : rows) {
    CTapeApi tape(library.device());
    tape.SetTapePosition(OS_TAPE_LOGICAL_BLOCK, 0, 0, 0, 0);
    // Reads fail with 1110 until the wrapper has reported the last change
    // of the row; then the drive gives then_error once, or the block.
    if (row.changes > 0) {
      library.Fail("read", OS_TAPE_MEDIA_CHANGED, /*always=*/true);
    } else if (row.then_error != 0) {
      library.Fail("read", row.then_error);
    }
    int reported = 0;
    LogLines log([&](const std::string& line) {
      if (line != "ReadFile::Media changed" || ++reported != row.changes) return;
      FnxVtapeClearFaults(library.path());
      if (row.then_error != 0) library.Fail("read", row.then_error);
    });
    std::vector<char> data(kBlock);
    std::uint32_t read = 77;
    EXPECT_EQ(Outcome(Returns([&] { tape.ReadFile(data.data(), kBlock, &read); })), row.outcome) << row.changes;
    EXPECT_EQ(log.Count("ReadFile::Media changed"), row.reopened) << row.changes;
    EXPECT_EQ(log.Count("CTapeApi::CloseHandle m_hDev="), row.reopened) << row.changes;
    EXPECT_EQ(log.Count("CTapeApi::ValidateDeviceHandle created m_hDev="), row.reopened) << row.changes;
    if (std::string(row.outcome) == "returns") {
      EXPECT_EQ(read, kBlock);
      EXPECT_EQ(data, block);
    } else {
      EXPECT_EQ(read, 0u);
    }
    FnxVtapeClearFaults(library.path());
  }
}

TEST(TapeApi, OpensOnDemandExclusivelyAndAgainAfterAFailure) {
  VirtualLibrary library;
  CTapeApi first(library.device());
  CTapeApi second(library.device());
  EXPECT_EQ(first.GetHandle(), 0) << "constructing touches no device";
  first.CheckTapeStatus();
  EXPECT_NE(first.GetHandle(), 0);
  EXPECT_EQ(Outcome(Returns([&] { second.CheckTapeStatus(); })), "CreateFile:Err(32)");
  EXPECT_EQ(second.GetHandle(), 0);
  first.CloseHandle();
  EXPECT_EQ(first.GetHandle(), 0);
  second.CheckTapeStatus();
  EXPECT_NE(second.GetHandle(), 0);

  CTapeApi nowhere("vtape:" + library.path() + "-missing");
  EXPECT_EQ(Outcome(Returns([&] { nowhere.CheckTapeStatus(); })), "CreateFile:Err(2)");
}

TEST(TapeApi, FailureTextNamesTheCallAndTheNumber) {
  std::string text;
  // A fresh thread has no failure yet: the number alone, no system text.
  std::thread([&] { text = exception_GetLastError("Nothing").Text(); }).join();
  EXPECT_EQ(text, "Nothing:Err(0)");

  VirtualLibrary library;
  CTapeApi tape(library.device());
  tape.CheckTapeStatus();
  std::vector<char> data(kBlock);
  std::uint32_t read = 0;
  try {
    tape.ReadFile(data.data(), kBlock, &read);
    ADD_FAILURE() << "a read of an empty tape returned";
  } catch (const exception_GetLastError& error) {
    const std::string system = os_tape_error_text(OS_TAPE_NO_DATA_DETECTED);
    EXPECT_EQ(error.Text(), "ReadFile:Err(1104)" + (system.empty() ? "" : " " + system));
    EXPECT_EQ(error.Code(), 1104);
  }
}

TEST(TapeDevWin32, TranslatesTheDrivesNumbers) {
  enum Operation { kRead, kWrite, kInDrive, kNotProtected, kPosition };
  using Setup = std::function<void(const VirtualLibrary&, TapeDev&)>;
  const auto fail = [](const char* call, std::uint32_t error) -> Setup {
    return [=](const VirtualLibrary& library, TapeDev&) { library.Fail(call, error); };
  };
  const struct {
    const char* name;
    Setup setup;
    Operation operation;
    const char* outcome;
  } rows[] = {
      {"read 38", fail("read", 38), kRead, "end_of_tape_error"},
      {"read 1104", fail("read", 1104), kRead, "ReadFile:Err(1104)"},
      {"read at the end of the data",
       [](const VirtualLibrary&, TapeDev& device) { device.GotoPosition(CFnx_Dal_Tape_Position(0, 1, 0)); },
       kRead, "ReadFile:Err(1104)"},
      {"read 1110 once", fail("read", 1110), kRead, "returns"},
      {"write 1100", fail("write", 1100), kWrite, "end_of_tape_error"},
      {"write 1129", fail("write", 1129), kWrite, "end_of_tape_error"},
      {"write in the early-warning zone",
       [](const VirtualLibrary& library, TapeDev&) {
         FnxVtapeFault fault;
         fault.kind = FnxVtapeFaultKind::EndOfMedium;
         fault.block = 0;
         FnxVtapeScriptFault(library.path(), fault);
       },
       kWrite, "end_of_tape_error"},
      {"write protected",
       [](const VirtualLibrary& library, TapeDev&) { FnxVtapeProtect(library.path(), "C001", true); }, kWrite,
       "WriteFile:Err(19)"},
      {"write 1117", fail("write", 1117), kWrite, "WriteFile:Err(1117)"},
      {"in drive: status 1112", fail("get_status", 1112), kInDrive, "no_tape_in_drive_error"},
      {"in drive: ejected", [](const VirtualLibrary& library, TapeDev&) { FnxVtapeEject(library.path()); },
       kInDrive, "no_tape_in_drive_error"},
      {"in drive: status 1117", fail("get_status", 1117), kInDrive, "returns"},
      {"not protected: ejected", [](const VirtualLibrary& library, TapeDev&) { FnxVtapeEject(library.path()); },
       kNotProtected, "no_tape_in_drive_error"},
      {"not protected: status 19", fail("get_status", 19), kNotProtected, "true"},
      {"not protected: protected",
       [](const VirtualLibrary& library, TapeDev&) { FnxVtapeProtect(library.path(), "C001", true); },
       kNotProtected, "false"},
      {"not protected: media record 1117", fail("get_parameters", 1117), kNotProtected,
       "GetTapeMediaParameters:Err(1117)"},
      {"position 1104", fail("get_position", 1104), kPosition, "GetTapePosition:Err(1104)"},
  };
  for (const auto& row : rows) {
    VirtualLibrary library;
    CFnx_Dal_ConfigurationTape config = ConfigFor(library.device());
    TapeDev device(config);
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
    const std::string outcome = Outcome([&]() -> std::string {
      CFnx_Dal_Tape_Position position;
      switch (row.operation) {
        case kRead: device.ReadBlocks(block.data(), 1); break;
        case kWrite: device.WriteBlocks(block.data(), 1, written); break;
        case kInDrive: device.Verify_Tape_In_Drive(); break;
        case kNotProtected: return device.Verify_Tape_Not_WriteProtected() ? "true" : "false";
        case kPosition: device.GetCurrentPosition(position); break;
      }
      return "returns";
    });
    EXPECT_EQ(outcome, row.outcome) << row.name;
    EXPECT_NE(device.GetHandle(), 0) << row.name << ": a failure leaves the drive open";
  }
}

TEST(TapeDevWin32, BlockTransfersWaitForAFixedBlockSize) {
  VirtualLibrary fixed;
  VirtualLibrary variable(0);
  std::vector<char> block(kBlock);
  unsigned long long written = 0;
  CFnx_Dal_ConfigurationTape config = ConfigFor(fixed.device());
  TapeDev device(config);
  EXPECT_EQ(Outcome(Returns([&] { device.ReadBlocks(block.data(), 1); })), "tape_single_blocksize_error");
  EXPECT_EQ(Outcome(Returns([&] { device.WriteBlocks(block.data(), 1, written); })), "tape_single_blocksize_error");
  EXPECT_EQ(device.GetHandle(), 0) << "refused without touching the drive";

  CFnx_Dal_ConfigurationTape variable_config = ConfigFor(variable.device());
  TapeDev variable_device(variable_config);
  unsigned long long block_size = 77;
  variable_device.GetBlockSize(block_size);
  EXPECT_EQ(block_size, 0u);
  EXPECT_EQ(Outcome(Returns([&] { variable_device.WriteBlocks(block.data(), 1, written); })),
            "tape_single_blocksize_error");
}

TEST(TapeDevWin32, AMissingDriveFailsAtTheFirstOperationThatNeedsIt) {
  TempDir dir;
  CFnx_Dal_ConfigurationTape config = ConfigFor("vtape:" + dir.Join("no-library"));
  TapeDev device(config);
  EXPECT_EQ(Outcome(Returns([&] { device.Verify_Tape_In_Drive(); })), "returns");
  unsigned long long block_size = 0;
  EXPECT_EQ(Outcome(Returns([&] { device.GetBlockSize(block_size); })), "CreateFile:Err(2)");
}
