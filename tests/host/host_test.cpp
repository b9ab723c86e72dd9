// The library as a server process meets it: linked against the shared
// library, through exported names only. Objects, strings, exceptions and
// callbacks crossing the boundary break first when an export or the runtime
// is wrong.
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <random>
#include <string>

#include "dal_configuration.h"
#include "dal_storage.h"
#include "dal_versions.h"
#include "fnx_error.h"
#include "fnx_log_sink.h"
#include "fnx_vtape.h"

namespace {

class HostProcess : public ::testing::Test {
 protected:
  void SetUp() override { std::filesystem::create_directories(root); }
  void TearDown() override {
    Fnx_SetLogSink(0, nullptr, nullptr);
    std::error_code ignored;
    std::filesystem::remove_all(root, ignored);
  }

  std::filesystem::path root =
      std::filesystem::temp_directory_path() / ("fnx_host_" + std::to_string(std::random_device()()));
};

void CountLines(int, const char*, const char*, void* context) { ++*static_cast<int*>(context); }

TEST_F(HostProcess, WritesReadsAndDeletesADocumentWhileTheHostsSinkListens) {
  int lines = 0;
  Fnx_SetLogSink(FNX_TRACE_SEVERITY, &CountLines, &lines);
  CFnx_Dal_ConfigValues values;
  values.m_location = root.string();
  values.m_maxFilesPerDir = 100;
  std::unique_ptr<CFnx_Dal_Configuration> disk(Create_Dal_Configuration("disk", values));
  std::string content(5000, 'a');
  for (std::size_t i = 0; i < content.size(); ++i) content[i] = static_cast<char>('a' + i % 26);
  CFnx_Dal_Storage document;
  ASSERT_TRUE(document.OpenForWriting("disk", disk.get()));
  std::uint32_t written = 0;
  ASSERT_TRUE(document.Write(content.data(), static_cast<std::uint32_t>(content.size()), written, -1));
  document.Close(false);
  ASSERT_EQ(document.GetName().rfind("disk@" + root.string(), 0), 0u) << document.GetName();
  EXPECT_GT(lines, 0) << "the library's log reaches the host's sink";

  CFnx_Dal_Storage stored(document.GetName());
  ASSERT_TRUE(stored.OpenForReading(nullptr));
  std::string back(content.size() + 10, '\0');
  back.resize(static_cast<std::size_t>(stored.Read(back.data(), static_cast<std::uint32_t>(back.size()), -1)));
  EXPECT_EQ(back, content);
  stored.Close(false);
  std::string firstFile;
  stored.GetFirstFilePath(firstFile);
  EXPECT_EQ(stored.Delete(), 0);
  EXPECT_FALSE(std::filesystem::exists(firstFile)) << firstFile;

  FnxVr_Versions versions;
  GetVersionsList_dal_storage(versions);
  ASSERT_EQ(versions.Entries().size(), 1u);
  EXPECT_EQ(versions.Entries()[0].first, "dal_storage");
}

// Also as the standard base: a host may catch nothing else. The error's
// code, class and wording are the disk refusal suite's.
TEST_F(HostProcess, FailuresInsideTheLibraryAreCaughtByTheHostAsFNXError) {
  CFnx_Dal_Storage missing("disk@" + (root / "absent").string() + ",0,10#");
  try {
    missing.OpenForReading(nullptr);
    ADD_FAILURE() << "opening a missing file returned";
  } catch (const FNXError& error) {
    EXPECT_EQ(error.Text().rfind("QRSDAL0504E", 0), 0u) << error.Text();
  }
  EXPECT_THROW(Create_Dal_Configuration("no such media", CFnx_Dal_ConfigValues()), std::exception);
}

// The virtual drive's management as a tool calls it: the status and the
// failures cross the boundary as values and as FNXError with a number.
TEST_F(HostProcess, ManagesAVirtualTapeLibrary) {
  const std::string library = (root / "library").string();
  FnxVtapeLibraryShape shape;
  shape.cartridges = 3;
  shape.blockSize = 4096;
  shape.capacityBytes = 1 << 20;
  FnxVtapeCreateLibrary(library, shape);
  FnxVtapeInsert(library, "C002");
  FnxVtapeProtect(library, "C003", true);
  FnxVtapeFault fault;
  fault.call = "read";
  fault.error = 23;
  FnxVtapeScriptFault(library, fault);
  FnxVtapeStatus status = FnxVtapeGetStatus(library);
  EXPECT_EQ(status.inDrive, "C002");
  EXPECT_TRUE(status.mediaChangePending);
  ASSERT_EQ(status.cartridges.size(), 3u);
  EXPECT_EQ(status.cartridges[2].name, "C003");
  EXPECT_TRUE(status.cartridges[2].writeProtected);
  EXPECT_EQ(status.cartridges[0].capacityBlocks, 256u);
  EXPECT_EQ(status.faults, std::vector<std::string>{"fault 1 read 1 23 once"});
  FnxVtapeClearFaults(library);
  FnxVtapeEject(library);
  status = FnxVtapeGetStatus(library);
  EXPECT_TRUE(status.inDrive.empty());
  EXPECT_TRUE(status.faults.empty());
  const auto failure = [](const std::function<void()>& call) -> std::string {
    try {
      call();
    } catch (const FNXError& error) {
      return std::to_string(error.Code()) + " " + error.Text();
    }
    return "none";
  };
  const std::string missing = failure([&] { FnxVtapeInsert(library, "C009"); });
  EXPECT_TRUE(missing.rfind("2 ", 0) == 0 && missing.find("C009") != std::string::npos) << missing;
  EXPECT_EQ(failure([&] { FnxVtapeCreateLibrary(library, shape); }).rfind("5 ", 0), 0u) << "made over another";
  EXPECT_EQ(FnxVtapeGetStatus(library).cartridges.size(), 3u) << "the library is as it was";
}

}  // namespace
