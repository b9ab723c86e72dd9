// Several real processes on one disk root: writers and deleters, a process
// that dies holding the root's lockfile, and two writers of one document.
#include <gtest/gtest.h>

#include <chrono>
#include <set>
#include <string>
#include <vector>

#include "child_process.h"
#include "dal_storage.h"
#include "disk_content.h"
#include "fnx_expect.h"
#include "os_path.h"
#include "osl_directory.h"
#include "temp_dir.h"

namespace {

// Every kept document reads back as its seed made it, and each date
// directory counts exactly its entries and holds a document.
void ExpectRoot(const std::string& root, const std::vector<AnnouncedDocument>& kept) {
  for (const AnnouncedDocument& announced : kept) {
    CFnx_Dal_Storage document(announced.location);
    ASSERT_TRUE(document.OpenForReading(nullptr));
    std::string content(announced.size + 1, '\0');
    content.resize(static_cast<std::size_t>(document.Read(content.data(), static_cast<std::uint32_t>(content.size()), -1)));
    EXPECT_TRUE(content == DocumentBytes(announced.seed, announced.size)) << "content differs: " << announced.location;
  }
  std::size_t found = 0;
  for (const std::string& name : DateDirectories(root)) {
    const std::vector<std::string> entries = Entries(os_path(root, name));
    EXPECT_EQ(DirFileCount(os_path(root, name)), static_cast<long>(entries.size())) << name;
    EXPECT_GE(entries.size(), 2u) << "a date directory without documents remains: " << name;
    found += entries.size() - 1;
  }
  EXPECT_EQ(found, kept.size()) << "files in the date directories";
}

std::vector<ChildProcess> StartWriters(const std::vector<std::string>& lists, const std::string& root, int documents) {
  const char* limits[] = {"10", "23", "37", "50"};
  std::vector<ChildProcess> writers;
  for (std::size_t w = 0; w < lists.size(); ++w) {
    writers.emplace_back(std::vector<std::string>{"write", root, limits[w % 4], std::to_string(w + 1),
                                                  std::to_string(documents), lists[w]});
  }
  return writers;
}

TEST(DiskProcesses, WritersAndDeletersShareOneRoot) {
  constexpr std::size_t kDeleters = 2;
  constexpr std::size_t kSlots = 4;  // deleter k takes places k modulo 4: half of all documents
  TempDir dir;
  const std::string root = dir.Join("root");
  const std::string stop = dir.Join("writers-done");
  std::vector<std::string> lists, outs;
  for (int w = 0; w < 4; ++w) lists.push_back(dir.Join("written-" + std::to_string(w)));
  std::vector<ChildProcess> writers = StartWriters(lists, root, 200);
  std::vector<ChildProcess> deleters;
  for (std::size_t k = 0; k < kDeleters; ++k) {
    outs.push_back(dir.Join("deleted-" + std::to_string(k)));
    std::vector<std::string> args{"delete", std::to_string(k), std::to_string(kSlots), stop, outs.back()};
    args.insert(args.end(), lists.begin(), lists.end());
    deleters.emplace_back(args);
  }
  for (ChildProcess& writer : writers) EXPECT_EQ(writer.Wait(), 0);
  AppendLine(stop, "done");
  for (ChildProcess& deleter : deleters) EXPECT_EQ(deleter.Wait(), 0);

  std::multiset<std::string> deleted;
  for (const std::string& out : outs) {
    for (const std::string& location : ReadLines(out)) deleted.insert(location);
  }
  std::set<std::string> paths;
  std::vector<AnnouncedDocument> kept;
  for (const std::string& list : lists) {
    const std::vector<AnnouncedDocument> documents = ReadAnnouncements(list);
    ASSERT_EQ(documents.size(), 200u) << list;
    for (std::size_t j = 0; j < documents.size(); ++j) {
      std::string path;
      CFnx_Dal_Storage(documents[j].location).GetFirstFilePath(path);
      EXPECT_TRUE(paths.insert(path).second) << "two documents share " << path;
      const bool chosen = j % kSlots < kDeleters;
      EXPECT_EQ(deleted.count(documents[j].location), chosen ? 1u : 0u) << documents[j].location;
      EXPECT_NE(Osl_File_System::exists(path), chosen) << path;
      if (!chosen) kept.push_back(documents[j]);
    }
  }
  ExpectRoot(root, kept);
}

TEST(DiskProcesses, AWriterKilledWhileHoldingTheLockfileBlocksNobody) {
  TempDir dir;
  const std::string root = dir.Join("root");
  const std::string marker = dir.Join("holding");
  ChildProcess holder({"hold-lockfile", root, marker});
  ASSERT_TRUE(WaitUntil([&] { return Osl_File_System::exists(marker); })) << "the holder never took the lockfile";
  const std::vector<std::string> lists{dir.Join("written-0"), dir.Join("written-1")};
  std::vector<ChildProcess> writers = StartWriters(lists, root, 20);
  ASSERT_TRUE(WaitUntil([&] {
    return Osl_File_System::exists(lists[0] + ".started") && Osl_File_System::exists(lists[1] + ".started");
  })) << "the writers never started";
  // Half a second is ample for a writer to finish a document past a lockfile that does not hold.
  const auto any = [&] { return Osl_File_System::exists(lists[0]) || Osl_File_System::exists(lists[1]); };
  EXPECT_FALSE(WaitUntil(any, std::chrono::milliseconds(500))) << "a writer got past the held lockfile";
  holder.Kill();
  EXPECT_EQ(holder.Wait(), -1);
  for (ChildProcess& writer : writers) EXPECT_EQ(writer.Wait(), 0);
  std::vector<AnnouncedDocument> kept = ReadAnnouncements(lists[0]);
  for (const AnnouncedDocument& announced : ReadAnnouncements(lists[1])) kept.push_back(announced);
  EXPECT_EQ(kept.size(), 40u);
  ExpectRoot(root, kept);
}

TEST(DiskProcesses, ASecondProcessCannotWriteADocumentThatAnotherHolds) {
  TempDir dir;
  WriteFile(dir.Join("doc"), "held");
  const std::string location = "disk@" + dir.Join("doc") + ",0,4#";
  ChildProcess holder({"hold-document", location, dir.Join("holding")});
  ASSERT_TRUE(WaitUntil([&] { return Osl_File_System::exists(dir.Join("holding")); })) << "the holder never opened it";
  CFnx_Dal_Storage second(location);
  ExpectFnxError([&] { second.ReOpenForWriting(); }, "QRSDAL0514E", 1287, 8);
  holder.Kill();
  holder.Wait();
  // POSIX drops the lock with the process at once; Windows frees the locks of
  // a killed process soon after, not necessarily before Wait returns.
  const auto reopened = [&] {
    try {
      return second.ReOpenForWriting();
    } catch (const FNXError&) {
      return false;
    }
  };
  EXPECT_TRUE(WaitUntil(reopened)) << "the lock goes with the process";
}

}  // namespace
