// Disk writing when it cannot go on: each refusal's error and what it leaves
// behind, faults played through the system-call table, and the locks.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <random>
#include <string>

#include "dal_configuration_centera.h"
#include "dal_configuration_tape.h"
#include "dal_media_filesystem.h"
#include "dal_storage.h"
#include "disk_content.h"
#include "fnx_expect.h"
#include "os_datetime.h"
#include "os_faults.h"
#include "os_path.h"
#include "osl_directory.h"
#include "temp_dir.h"

#ifndef _WIN32
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace {

std::unique_ptr<CFnx_Dal_Configuration> DiskConfig(const std::string& root, int limit = 10) {
  CFnx_Dal_ConfigValues values;
  values.m_location = root;
  values.m_maxFilesPerDir = limit;
  return std::unique_ptr<CFnx_Dal_Configuration>(Create_Dal_Configuration("disk", values));
}

// True when nobody holds the root's lockfile: a lock without waiting is granted.
bool LockfileIsFree(const std::string& root) {
  Osl_File file;
  file.open(DAFileSystem::LockFilePath(root), OSL_FILE_CREATE, OSL_ACCESS_READ_WRITE, 0);
  return file.add_lock(os_file_lock(1, 0, 0, 0), /*wait=*/false);
}

std::string DateDirectoryOf(const std::string& location) {
  std::string path;
  CFnx_Dal_Storage(location).GetFirstFilePath(path);
  return path.substr(0, path.find_last_of("/\\"));
}

TEST(DiskRefusals, EachRaisesItsErrorAndLeavesNothingBehind) {
  TempDir dir;
  std::mt19937_64 random(5);
  const std::string root = dir.Join("root");
  auto disk = DiskConfig(root);
  CFnx_Dal_Storage::BackupStart(disk.get());  // the disk media has no backup run
  CFnx_Dal_Storage::BackupEnd(disk.get());
  CFnx_Dal_ConfigurationTape tape;
  CFnx_Dal_ConfigurationCentera unregistered;  // no media of its name in the factory
  std::uint32_t written = 0;
  const std::string missing = dir.Join("missing.doc");
  const std::string existing = dir.Join("existing.doc");
  WriteFile(existing, "kept");
  CFnx_Dal_Storage stored("disk@" + existing + ",4,4#");  // the document's bytes 4 to 7
  ASSERT_TRUE(stored.ReOpenForWriting());
  // A root of limit 5, full with three documents and a fourth held open.
  const std::string full = dir.Join("full");
  auto small = DiskConfig(full, 5);
  for (int i = 0; i < 3; ++i) StoreInPieces(*small, "x", random);
  CFnx_Dal_Storage held;
  ASSERT_TRUE(held.OpenForWriting("disk", small.get()));
  EXPECT_TRUE(LockfileIsFree(full)) << "the lockfile is held only while a file is placed";
  std::string heldPath;
  held.GetFirstFilePath(heldPath);
  const std::string first = dir.Join("sub/first.doc");  // a free file before the held one, made by name
  CFnx_Dal_Storage named("disk@" + first + ",0,0#");
  named.SetFileCreateFlag(true);
  ASSERT_TRUE(named.OpenForWriting("disk", disk.get()));
  ASSERT_TRUE(named.Write("one!", 4, written, -1));
  named.Close(true);
  const std::string pair = "disk@" + first + ",0,4#" + held.GetName();
  // A document whose date directory holds a foreign file, so that it stays.
  const std::string foreignRoot = dir.Join("foreign");
  auto foreign = DiskConfig(foreignRoot);
  const std::string alone = StoreInPieces(*foreign, "alone", random);
  const std::string dated = DateDirectoryOf(alone);
  WriteFile(os_path(dated, "foreign"), "not counted");

  written = 0;
  CFnx_Dal_Storage refused;
  CFnx_Dal_Storage listed;
  const auto open = [](const std::string& location) { CFnx_Dal_Storage(location).OpenForReading(nullptr); };
  const auto update = [](const std::string& location) { CFnx_Dal_Storage(location).ReOpenForWriting(); };
  const auto openNamed = [&](const std::string& location, bool create) {
    CFnx_Dal_Storage document(location);
    document.SetFileCreateFlag(create);
    document.OpenForWriting("disk", disk.get());
  };
  const auto openWith = [&](const std::string& root, const std::string& extension) {
    refused.SetFileExtension(extension);
    refused.OpenForWriting("disk", DiskConfig(root).get());
  };
  struct Row {
    std::function<void()> call;
    const char* id;
    int code;
    int errorClass;
    std::string mentions;
  };
  const Row rows[] = {
      {[&] { open(""); }, "QRSDAL0501E", 1282, 12, ""},
      {[&] { open("disk@a,1#"); }, "QRSDAL0502E", 1282, 12, ""},
      {[&] { open("disk@#"); }, "QRSDAL0502E", 1282, 12, ""},
      {[&] { open("disk@a,0,1#x@y@z#"); }, "QRSDAL0502E", 1282, 12, ""},
      {[&] { open("centera@a,0,1#"); }, "QRSDAL0516E", 1280, 12, ""},
      {[&] { open("centera-bare-path"); }, "QRSDAL0516E", 1280, 12, ""},
      {[&] { listed.ResetLocation("disk@/a,0,1#centera@b,1,1#"); }, "QRSDAL0516E", 1280, 12, ""},
      // Without the closing "#" it is a bare disk path that holds an "@" and commas.
      {[&] { open("disk@nowhere,0,1"); }, "QRSDAL0504E", 1284, 8, "'disk@nowhere,0,1'"},
      {[&] { open(std::string(5000, 'x')); }, "QRSDAL0504E", 1284, 8, "xxxx'"},
      {[&] { open(dir.path()); }, "QRSDAL0200E", 1287, 8, ""},  // a directory
      {[&] { update(missing); }, "QRSDAL0506E", 1286, 8, ""},
      {[&] { openNamed(missing, false); }, "QRSDAL0506E", 1286, 8, ""},
      {[&] { openNamed(existing, true); }, "QRSDAL0505E", 1285, 8, ""},
      {[&] { update(pair); }, "QRSDAL0514E", 1287, 8, heldPath},
      {[&] { openNamed(pair, false); }, "QRSDAL0514E", 1287, 8, heldPath},
      {[&] { refused.OpenForWriting("DISK", disk.get()); }, "QRSDAL0507E", 1287, 8, "'DISK'"},
      {[&] { refused.OpenForWriting("disk", &tape); }, "QRSDAL0507E", 1287, 8, "'disk'"},
      {[&] { refused.OpenForWriting("disk", nullptr); }, "QRSDAL0507E", 1287, 8, ""},
      {[&] { refused.OpenForWriting("disk", small.get()); }, "QRSDAL0637E", 1281, 8, "5"},
      {[&] { openWith("", ""); }, "QRSDAL0502E", 1282, 12, "root ''"},
      {[&] { openWith(dir.Join("a,b"), ""); }, "QRSDAL0502E", 1282, 12, "a,b"},
      {[&] { openWith(dir.Join("a@b"), ""); }, "QRSDAL0502E", 1282, 12, "a@b"},
      {[&] { openWith(dir.Join("a#b"), ""); }, "QRSDAL0502E", 1282, 12, "a#b"},
      {[&] { openWith(root, "x#y"); }, "QRSDAL0502E", 1282, 12, "extension 'x#y'"},
      {[&] { stored.Write("x", 1, written, 2); }, "QRSDAL0508E", 1288, 8, "2"},  // before its file
      {[&] { stored.Write("x", 1, written, -2); }, "QRSDAL0508E", 1288, 8, "-2"},
      {[&] { stored.Write("x", 1, written, 9); }, "QRSDAL0508E", 1288, 8, "9"},  // one past the end
      {[&] { CFnx_Dal_Storage(alone).Delete(); }, "QRSDAL0D08E", 3329, 8, dated},
      {[&] { CFnx_Dal_Storage::BackupStart(&unregistered); }, "QRSDAL0516E", 1280, 12, "centera"},
      {[&] { CFnx_Dal_Storage::BackupEnd(&unregistered); }, "QRSDAL0516E", 1280, 12, "centera"},
      {[&] { CFnx_Dal_Storage::BackupStart(nullptr); }, "QRSDAL0516E", 1280, 12, ""},
      {[&] { CFnx_Dal_Storage::BackupEnd(nullptr); }, "QRSDAL0516E", 1280, 12, ""},
      {[&] { Create_Dal_Configuration("tape", CFnx_Dal_ConfigValues()); }, "QRSDAL0515E", 1280, 12, ""},
      {[&] { Create_Dal_Configuration("centera", CFnx_Dal_ConfigValues()); }, "QRSDAL0515E", 1280, 12, "centera"},
  };
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    const std::string text = ExpectFnxError(rows[i].call, rows[i].id, rows[i].code, rows[i].errorClass);
    EXPECT_NE(text.find(rows[i].mentions), std::string::npos) << "row " << i << ": " << text;
    EXPECT_EQ(written, 0u) << "row " << i;
    EXPECT_FALSE(refused.IsOpen()) << "row " << i;
  }
  stored.Close(true);
  EXPECT_EQ(ReadFile(existing), "kept");
  EXPECT_EQ(refused.GetName(), "") << "a file without a place is named nowhere";
  EXPECT_EQ(listed.GetSize(), 1) << "a list keeps the files before a bad one";
  EXPECT_FALSE(Osl_File_System::exists(missing));
  EXPECT_FALSE(Osl_File_System::exists(root)) << "no refused open, and no disk backup, makes the root";
  EXPECT_FALSE(Osl_File_System::exists(dir.Join("a,b")));
  EXPECT_FALSE(Osl_File_System::exists("lockfile")) << "an empty root is not the working directory";
  EXPECT_TRUE(LockfileIsFree(full) && LockfileIsFree(foreignRoot));
  EXPECT_EQ(DateDirectoryOf(held.GetName()), os_path(full, os_date::today().to_string("%m_%d_%Y") + "_1").str());
  EXPECT_EQ(DirFileCount(DateDirectoryOf(held.GetName())), 5);
  EXPECT_EQ(Entries(DateDirectoryOf(held.GetName())).size(), 5u) << "the refused document was never created";
  EXPECT_EQ(Entries(dated), std::vector<std::string>{"foreign"}) << "file and count went before the directory";
  EXPECT_NO_THROW(update("disk@" + first + ",0,4#")) << "a failed open closes the files it opened";
  EXPECT_TRUE(CFnx_Dal_Storage(held.GetName()).OpenForReading(nullptr)) << "readers take no lock";
  held.Close(false);
  EXPECT_NO_THROW(update(pair)) << "the lock goes with Close";
  EXPECT_EQ(ReadFile(first), "one!");
  EXPECT_EQ(CFnx_Dal_Storage("disk@" + missing + ",0,1#" + pair).Delete(), -1) << "a delete goes on past a missing file";
  EXPECT_FALSE(Osl_File_System::exists(first) || Osl_File_System::exists(heldPath));
}

// A fault of the system while a new document of 3000 bytes is opened or
// written in a root of limit 5 that holds two: the error, the bytes
// reported and the files named; every date directory still counts its
// entries, and the lockfile is free.
TEST(DiskFaults, EachEndsAsTheTableSaysAndLeavesTheRootConsistent) {
  using Fault = std::function<std::shared_ptr<void>(const std::string& root)>;
  const Fault plain = [](const std::string& root) { return WriteFile(root, "plain"), nullptr; };
  const Fault noCreates = [](const std::string& root) {
    return Osl_Directory::create(root), std::make_shared<RefuseCreatesIn>(root);
  };
  const Fault takeNothing = [](const std::string&) { return std::make_shared<WritesTakeNothing>(); };
  const Fault smallFiles = [](const std::string&) { return std::make_shared<FileSizeLimit>(1000); };
  const Fault noNewFile = [](const std::string& root) {
    return std::make_shared<RefuseCreatesIn>(os_path(root, os_date::today().to_string("%m_%d_%Y") + "_1").str());
  };
  struct Row {
    Fault fault;
    bool atOpen;
    const char* id;  // "os": os_file_toolkit_error
    int code;
    std::uint32_t written;
    std::size_t files;
  };
  const Row rows[] = {
      {plain, true, "os", 0, 0, 0},
      {noCreates, true, "os", 0, 0, 0},
      {takeNothing, true, "QRSDAL0808E", 1281, 99, 0},  // the count file takes nothing
      {takeNothing, false, "QRSDAL0808E", 1281, 0, 1},
      {smallFiles, false, "QRSDAL0637E", 1281, 2000, 2},  // what reached the files stays reported
      {noNewFile, true, "QRSDAL0200E", 1287, 99, 0},  // the document's file cannot be made
  };
  for (const Row& row : rows) {
    TempDir dir;
    const std::string root = dir.Join("root");
    auto config = DiskConfig(root, 5);
    std::mt19937_64 random(3);
    for (int i = 0; row.id[0] == 'Q' && i < 2; ++i) StoreInPieces(*config, "x", random);
    std::shared_ptr<void> fault = row.atOpen ? row.fault(root) : nullptr;
    CFnx_Dal_Storage document;
    std::uint32_t written = 99;
    const std::string bytes(3000, 'b');
    const auto call = [&] {
      if (document.OpenForWriting("disk", config.get()) && !row.atOpen) {
        fault = row.fault(root);
        document.Write(bytes.data(), 3000, written, -1);
      }
    };
    if (row.id[0] == 'o') {
      EXPECT_THROW(call(), os_file_toolkit_error);
      EXPECT_TRUE(Osl_Directory::exists(root) ? Entries(root).empty() : ReadFile(root) == "plain");
      continue;
    }
    ExpectFnxError(call, row.id, row.code, 8);
    fault.reset();
    EXPECT_EQ(written, row.written) << row.id;
    std::vector<std::string> files;
    ParseStorageLocation(document.GetName(), files);
    EXPECT_EQ(files.size(), row.files) << row.id;
    document.Close(false);
    std::size_t documents = 0;
    for (const std::string& name : DateDirectories(root)) {
      const std::vector<std::string> entries = Entries(os_path(root, name));
      EXPECT_EQ(DirFileCount(os_path(root, name)), static_cast<long>(entries.size())) << row.id;
      documents += entries.size() - 1;
    }
    EXPECT_EQ(documents, 2 + row.files) << row.id;
    EXPECT_TRUE(LockfileIsFree(root)) << row.id;
  }
}

#ifndef _WIN32
// A worker forked while a document is open shares the open file; the
// document lock must still go with the parent's Close, not with the worker.
TEST(DiskLocks, TheDocumentLockGoesWithCloseWhileAForkedChildLives) {
  TempDir dir;
  auto config = DiskConfig(dir.Join("root"));
  CFnx_Dal_Storage document;
  ASSERT_TRUE(document.OpenForWriting("disk", config.get()));
  int release[2];
  ASSERT_EQ(pipe(release), 0);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {  // keeps the inherited descriptors until the parent is done
    close(release[1]);
    alarm(30);
    char byte;
    _exit(read(release[0], &byte, 1) < 0 ? 1 : 0);
  }
  close(release[0]);
  document.Close(false);
  EXPECT_NO_THROW(CFnx_Dal_Storage(document.GetName()).ReOpenForWriting());
  close(release[1]);
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}
#endif

// Where the deleter looks for the lockfile must be where the writer made it,
// whatever form the root has; a name without a date directory has none.
TEST(DiskLocks, DeleteFindsTheWritersLockfileForEveryFormOfRoot) {
  const std::string sep(1, OS_PATH_SEPARATOR);
  std::vector<std::string> roots = {sep, sep + "data", sep + "data" + sep, "relative", "relative" + sep};
#ifdef _WIN32
  roots.insert(roots.end(), {"C:\\", "C:\\data", "\\\\host\\share", "\\\\host\\share\\", "\\\\host\\share\\data\\"});
#endif
  for (const std::string& root : roots) {
    for (const std::string& trail : {std::string(), sep}) {
      std::string found;
      ASSERT_TRUE(DAFileSystem::DateDirectoryRoot(os_path(root, "07_15_2021_1").str() + trail, found)) << root;
      EXPECT_EQ(DAFileSystem::LockFilePath(found), DAFileSystem::LockFilePath(root)) << "root " << root;
    }
  }
  std::string untouched = "kept";
  EXPECT_FALSE(DAFileSystem::DateDirectoryRoot("07_15_2021_1", untouched) ||
               DAFileSystem::DateDirectoryRoot(os_path(sep, "plain"), untouched));
  EXPECT_EQ(untouched, "kept");
}

}  // namespace
