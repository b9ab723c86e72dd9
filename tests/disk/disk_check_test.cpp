// The check of a disk root: what a crash leaves is found, and a repair mends
// the counts without touching a document.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "dal_configuration.h"
#include "dal_disk_check.h"
#include "dal_storage.h"
#include "disk_content.h"
#include "fnx_error.h"
#include "os_path.h"
#include "osl_directory.h"
#include "temp_dir.h"

namespace {

std::string Store(CFnx_Dal_Configuration& disk, const std::string& bytes) {
  CFnx_Dal_Storage document;
  document.OpenForWriting("disk", &disk);
  std::uint32_t written = 0;
  EXPECT_TRUE(document.Write(bytes.data(), static_cast<std::uint32_t>(bytes.size()), written, -1));
  document.Close(false);
  return document.GetName();
}

std::string Load(const std::string& location) {
  CFnx_Dal_Storage document(location);
  document.OpenForReading(nullptr);
  std::string bytes(64, '\0');
  bytes.resize(static_cast<std::size_t>(document.Read(bytes.data(), 64, -1)));
  return bytes;
}

TEST(DiskCheck, FindsDriftEmptyAndUnreadableAndRepairsOnlyTheCounts) {
  TempDir dir;
  const std::string root = dir.Join("root");
  CFnx_Dal_ConfigValues values;
  values.m_location = root;
  values.m_maxFilesPerDir = 10;
  std::unique_ptr<CFnx_Dal_Configuration> disk(Create_Dal_Configuration("disk", values));
  const std::string first = Store(*disk, "first"), second = Store(*disk, "second");
  std::string dated;
  CFnx_Dal_Storage(first).GetFirstFilePath(dated);
  dated = dated.substr(0, dated.find_last_of("/\\"));
  // A writer killed between its count and its file, an emptied directory,
  // and something that is no document.
  WriteFile(os_path(dated, "dirfile.txt"), "NumberOfFilesInDirectory=5;");
  const std::string empty = os_path(root, "01_02_2020_1");
  Osl_Directory::create(empty);
  WriteFile(os_path(empty, "dirfile.txt"), "NumberOfFilesInDirectory=1;");
  Osl_Directory::create(os_path(dated, "stray"));

  for (const bool repair : {false, true}) {
    const auto findings = CheckDiskRoot(root, repair);
    ASSERT_EQ(findings.size(), 3u) << "repair " << repair;
    int kinds = 0;
    for (const auto& finding : findings) {
      kinds |= 1 << finding.kind;
      EXPECT_EQ(finding.repaired, repair && finding.kind != CFnx_Dal_DiskFinding::UnreadableEntry);
      if (finding.kind == CFnx_Dal_DiskFinding::CountDrift) {
        EXPECT_EQ(finding.counted, 5);
        EXPECT_EQ(finding.present, 4);  // two documents, "stray", "dirfile.txt"
      }
    }
    EXPECT_EQ(kinds, 7);
  }
  EXPECT_FALSE(Osl_Directory::exists(empty));
  EXPECT_EQ(ReadFile(os_path(dated, "dirfile.txt")), "NumberOfFilesInDirectory=4;");
  ASSERT_EQ(CheckDiskRoot(root, false).size(), 1u);  // "stray" stays, reported
  EXPECT_EQ(Load(first), "first");
  EXPECT_EQ(Load(second), "second");
  EXPECT_EQ(Load(Store(*disk, "third")), "third");
}

TEST(DiskCheck, AMissingRootIsAnError) {
  TempDir dir;
  EXPECT_THROW(CheckDiskRoot(dir.Join("absent"), false), FNXError);
}

}  // namespace
