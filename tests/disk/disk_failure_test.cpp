// Disk writing when things go wrong: each refusal's error, refused opens,
// held locks, full directories and short writes, and what each leaves behind.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

#include "dal_configuration_centera.h"
#include "dal_configuration_tape.h"
#include "dal_media_filesystem.h"
#include "dal_storage.h"
#include "disk_content.h"
#include "fnx_expect.h"
#include "media_double.h"
#include "os_faults.h"
#include "os_file.h"
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

TEST(StorageRefusals, EachRaisesItsFNXErrorAndChangesNothing) {
  TempDir dir;
  const std::string root = dir.Join("root");
  auto disk = DiskConfig(root);
  CFnx_Dal_Storage::BackupStart(disk.get());  // the disk media has no backup run
  CFnx_Dal_Storage::BackupEnd(disk.get());
  CFnx_Dal_ConfigurationTape tape;
  CFnx_Dal_ConfigurationCentera unregistered;  // no media of its name in the factory
  const std::string missing = dir.Join("missing.doc");
  const std::string existing = dir.Join("existing.doc");
  WriteFile(existing, "kept");
  CFnx_Dal_Storage stored("disk@" + existing + ",4,4#");  // the document's bytes 4 to 7
  ASSERT_TRUE(stored.ReOpenForWriting());
  std::uint32_t written = 0;
  const auto open = [](const std::string& location) { CFnx_Dal_Storage document(location); };
  const auto update = [](const std::string& location) { CFnx_Dal_Storage(location).ReOpenForWriting(); };
  const auto openNamed = [&](const std::string& location, bool create) {
    CFnx_Dal_Storage document(location);
    document.SetFileCreateFlag(create);
    document.OpenForWriting("disk", disk.get());
  };
  const auto openNew = [](const std::string& media, CFnx_Dal_Configuration* config) {
    CFnx_Dal_Storage().OpenForWriting(media, config);
  };
  // A root or an extension that would make a location the parser refuses.
  const std::string splitRoot = dir.Join("a,b");
  const auto openWith = [&](const std::string& root, const std::string& extension) {
    CFnx_Dal_Storage document;
    document.SetFileExtension(extension);
    document.OpenForWriting("disk", DiskConfig(root).get());
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
      // Without the closing "#" it is a bare disk path that holds an "@" and commas.
      {[&] { CFnx_Dal_Storage("disk@nowhere,0,1").OpenForReading(nullptr); }, "QRSDAL0504E", 1284, 8,
       "'disk@nowhere,0,1'"},
      {[&] { update(missing); }, "QRSDAL0506E", 1286, 8, ""},
      {[&] { openNamed(missing, false); }, "QRSDAL0506E", 1286, 8, ""},
      {[&] { openNamed(existing, true); }, "QRSDAL0505E", 1285, 8, ""},
      {[&] { openNew("DISK", disk.get()); }, "QRSDAL0507E", 1287, 8, "'DISK'"},
      {[&] { openNew("disk", &tape); }, "QRSDAL0507E", 1287, 8, "'disk'"},
      {[&] { openNew("disk", nullptr); }, "QRSDAL0507E", 1287, 8, ""},
      {[&] { openWith("", ""); }, "QRSDAL0502E", 1282, 12, "root ''"},
      {[&] { openWith(splitRoot, ""); }, "QRSDAL0502E", 1282, 12, splitRoot},
      {[&] { openWith(dir.Join("a@b"), ""); }, "QRSDAL0502E", 1282, 12, "a@b"},
      {[&] { openWith(dir.Join("a#b"), ""); }, "QRSDAL0502E", 1282, 12, "a#b"},
      {[&] { openWith(root, "x#y"); }, "QRSDAL0502E", 1282, 12, "extension 'x#y'"},
      {[&] { openWith(root, "@"); }, "QRSDAL0502E", 1282, 12, "extension '@'"},
      {[&] { openWith(root, "a,b"); }, "QRSDAL0502E", 1282, 12, "extension 'a,b'"},
      {[&] { stored.Write("x", 1, written, 2); }, "QRSDAL0508E", 1288, 8, "2"},  // before its file
      {[&] { stored.Write("x", 1, written, -2); }, "QRSDAL0508E", 1288, 8, "-2"},
      {[&] { stored.Write("x", 1, written, 9); }, "QRSDAL0508E", 1288, 8, "9"},  // one past the end
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
  }
  stored.Close(true);
  EXPECT_EQ(ReadFile(existing), "kept");
  EXPECT_FALSE(Osl_File_System::exists(missing));
  EXPECT_FALSE(Osl_File_System::exists(root)) << "no refused open, and no disk backup, makes the root";
  EXPECT_FALSE(Osl_File_System::exists(splitRoot));
  EXPECT_FALSE(Osl_File_System::exists("lockfile")) << "an empty root is not the working directory";
}

// True when nobody holds the root's lockfile: a lock without waiting is granted.
bool LockfileIsFree(const std::string& root) {
  Osl_File file;
  file.open(DAFileSystem::LockFilePath(root), OSL_FILE_CREATE, OSL_ACCESS_READ_WRITE, 0);
  return file.add_lock(os_file_lock(1, 0, 0, 0), /*wait=*/false);
}

class DiskFailures : public ::testing::Test {
 protected:
  // A new document left open for writing.
  std::unique_ptr<CFnx_Dal_Storage> OpenNew(const std::string& content) {
    auto document = std::make_unique<CFnx_Dal_Storage>();
    EXPECT_TRUE(document->OpenForWriting("disk", config.get()));
    std::uint32_t written = 0;
    EXPECT_TRUE(document->Write(content.data(), static_cast<std::uint32_t>(content.size()), written, -1));
    return document;
  }

  TempDir dir;
  const std::string root = dir.Join("root");
  std::unique_ptr<CFnx_Dal_Configuration> config = DiskConfig(root);
};

TEST_F(DiskFailures, ARootThatIsAPlainFileRefusesNewDocuments) {
  WriteFile(root, "not a directory");
  CFnx_Dal_Storage document;
  EXPECT_THROW(document.OpenForWriting("disk", config.get()), os_file_toolkit_error);
  EXPECT_FALSE(document.IsOpen());
  EXPECT_EQ(ReadFile(root), "not a directory");
}

TEST_F(DiskFailures, ARootWithoutWritePermissionRefusesNewDocuments) {
  Osl_Directory::create(root);
  {
    RefuseCreatesIn readOnly(root);
    CFnx_Dal_Storage document;
    EXPECT_THROW(document.OpenForWriting("disk", config.get()), os_file_toolkit_error);
    EXPECT_FALSE(document.IsOpen());
  }
  EXPECT_TRUE(Entries(root).empty());
}

TEST_F(DiskFailures, ALimitBelowTenFailsWhenTheDirectoryFillsAndFreesTheLockfile) {
  config = DiskConfig(root, 5);
  for (int i = 0; i < 4; ++i) OpenNew("x")->Close(true);
  CFnx_Dal_Storage document;
  const std::string text =
      ExpectFnxError([&] { document.OpenForWriting("disk", config.get()); }, "QRSDAL0637E", 1281, 8);
  EXPECT_NE(text.find('5'), std::string::npos) << text;
  EXPECT_FALSE(document.IsOpen());
  EXPECT_EQ(document.GetName(), "") << "a file without a place is named nowhere";
  EXPECT_TRUE(LockfileIsFree(root));
  const std::vector<std::string> dirs = DateDirectories(root);
  ASSERT_EQ(dirs.size(), 1u);
  EXPECT_EQ(DirFileCount(os_path(root, dirs[0])), 5);
  EXPECT_EQ(Entries(os_path(root, dirs[0])).size(), 5u) << "the refused document was never created";
}

// Two handles on one document in one process; the suite of processes does
// the same across processes.
TEST_F(DiskFailures, TheDocumentLockHoldsUntilCloseAndTheLockfileOnlyDuringTheOpen) {
  std::unique_ptr<CFnx_Dal_Storage> first = OpenNew("first writer");
  EXPECT_TRUE(LockfileIsFree(root)) << "the lockfile is not held while bytes are written";
  const std::string location = first->GetName();

  CFnx_Dal_Storage update(location);
  ExpectFnxError([&] { update.ReOpenForWriting(); }, "QRSDAL0514E", 1287, 8);
  CFnx_Dal_Storage find(location);
  find.SetFileCreateFlag(false);
  const std::string text = ExpectFnxError([&] { find.OpenForWriting("disk", config.get()); }, "QRSDAL0514E", 1287, 8);
  EXPECT_FALSE(update.IsOpen() || find.IsOpen());
  EXPECT_NE(text.find(location.substr(5, location.find(',') - 5)), std::string::npos) << text;

  CFnx_Dal_Storage reader(location);
  EXPECT_TRUE(reader.OpenForReading(nullptr)) << "readers take no lock";
  first->Close(false);
  EXPECT_TRUE(update.ReOpenForWriting()) << "the lock goes with Close";
  update.Close(false);
}

#ifndef _WIN32
// A worker forked while a document is open shares the open file; the
// document lock must still go with the parent's Close, not with the worker.
TEST_F(DiskFailures, TheDocumentLockGoesWithCloseWhileAForkedChildLives) {
  std::unique_ptr<CFnx_Dal_Storage> document = OpenNew("doc");
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
  document->Close(false);
  CFnx_Dal_Storage update(document->GetName());
  EXPECT_NO_THROW(update.ReOpenForWriting());
  update.Close(true);
  close(release[1]);
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}
#endif

TEST_F(DiskFailures, ADeleteThatCannotRemoveItsDirectoryReportsItAndFreesTheLockfile) {
  std::unique_ptr<CFnx_Dal_Storage> document = OpenNew("doc");
  document->Close(false);
  const std::vector<std::string> dirs = DateDirectories(root);
  ASSERT_EQ(dirs.size(), 1u);
  const std::string dateDir = os_path(root, dirs[0]);
  WriteFile(os_path(dateDir, "foreign"), "not counted");  // the count still says 2

  const std::string text = ExpectFnxError([&] { document->Delete(); }, "QRSDAL0D08E", 3329, 8);
  EXPECT_NE(text.find(dateDir), std::string::npos) << text;
  EXPECT_TRUE(LockfileIsFree(root));
  EXPECT_EQ(Entries(dateDir), std::vector<std::string>{"foreign"}) << "file and count went before the directory";
}

// Where the deleter looks for the lockfile must be where the writer made it,
// whatever form the root has.
TEST(DiskLockfile, DeleteFindsTheWritersLockfileForEveryFormOfRoot) {
  const char sep = OS_PATH_SEPARATOR;
  std::vector<std::string> roots = {std::string(1, sep), std::string(1, sep) + "data",
                                    std::string(1, sep) + "data" + sep, "relative", std::string("relative") + sep};
#ifdef _WIN32
  roots.insert(roots.end(), {"C:\\", "C:\\data", "\\\\host\\share", "\\\\host\\share\\", "\\\\host\\share\\data\\"});
#endif
  for (const std::string& root : roots) {
    for (const std::string& trail : {std::string(), std::string(1, sep)}) {
      std::string found;
      ASSERT_TRUE(DAFileSystem::DateDirectoryRoot(os_path(root, "07_15_2021_1").str() + trail, found)) << root;
      EXPECT_EQ(DAFileSystem::LockFilePath(found), DAFileSystem::LockFilePath(root)) << "root " << root;
    }
  }
  std::string untouched = "kept";
  EXPECT_FALSE(DAFileSystem::DateDirectoryRoot("07_15_2021_1", untouched)) << "no separator: no root to lock";
  EXPECT_FALSE(DAFileSystem::DateDirectoryRoot(os_path(std::string(1, sep), "plain"), untouched));
  EXPECT_EQ(untouched, "kept");
}

TEST_F(DiskFailures, AShortWriteAddsAFileAndALocatedDocumentRefusesToGrow) {
  constexpr std::uint32_t kLimit = 64 * 1024;
  const std::string content = DocumentBytes(1, 3 * kLimit);
  std::string location;
  {
    FileSizeLimit limit(kLimit);
    CFnx_Dal_Storage document;
    ASSERT_TRUE(document.OpenForWriting("disk", config.get()));
    std::uint32_t written = 0;
    EXPECT_TRUE(document.Write(content.data(), static_cast<std::uint32_t>(content.size()), written, -1));
    EXPECT_EQ(written, content.size());
    document.Close(false);
    location = document.GetName();

    CFnx_Dal_Storage located(location);
    ASSERT_TRUE(located.ReOpenForWriting());
    const std::int64_t position = 3 * kLimit - 8;  // 8 bytes before the last file's limit
    ExpectFnxError([&] { located.Write("0123456789abcdef", 16, written, position); }, "QRSDAL0509E", 1289, 8);
    located.Close(true);

    // The writer's own handle, moved to the stored location, has no configuration either.
    document.Close(true);
    document.ResetLocation(location);
    ASSERT_TRUE(document.ReOpenForWriting());
    ExpectFnxError([&] { document.Write("0123456789abcdef", 16, written, position); }, "QRSDAL0509E", 1289, 8);
    document.Close(true);
  }
  std::vector<std::string> files;
  ParseStorageLocation(location, files);
  ASSERT_EQ(files.size(), 3u) << location;
  for (std::size_t i = 0; i < files.size(); ++i) {
    EXPECT_EQ(files[i].substr(files[i].find(',')), "," + std::to_string(i * kLimit) + "," + std::to_string(kLimit));
  }
  std::string expected = content;
  expected.replace(3 * kLimit - 8, 8, "01234567");  // the part that fitted stays written
  CFnx_Dal_Storage reader(location);
  ASSERT_TRUE(reader.OpenForReading(nullptr));
  std::string back(content.size() + 10, '\0');
  back.resize(static_cast<std::size_t>(reader.Read(back.data(), static_cast<std::uint32_t>(back.size()), -1)));
  EXPECT_TRUE(back == expected);
}

// A file that takes nothing: a full file that was there before gets a new
// file behind it, a file joined in the same call stops the write, and tape
// hands the rest back to the caller. A file whose open fails has no place:
// it never enters the name, and the bytes already written are reported.
TEST(StorageShortWrites, OnlyAFileJoinedInTheSameCallStopsTheWrite) {
  enum Result { kFalse, kTrue, kThrows };
  struct Call {
    std::uint32_t length;
    Result result;
    std::uint32_t written;
    std::size_t files;
  };
  struct Case {
    bool tape;
    std::deque<std::int64_t> capacities;
    std::vector<Call> calls;
  };
  constexpr std::int64_t kFails = CappedMedia::kOpenFails;
  const Case cases[] = {
      {false, {4, 100}, {{4, kTrue, 4, 1}, {3, kTrue, 3, 2}}},  // the full first file was there before
      {false, {4, 4, 0}, {{10, kFalse, 8, 3}}},                 // the third file, joined here, takes nothing
      {false, {4, 0}, {{4, kTrue, 4, 1}, {3, kFalse, 0, 2}}},
      {false, {500}, {{800, kThrows, 500, 1}, {1, kThrows, 0, 1}}},
      {false, {kFails}, {}},
      {true, {5}, {{5, kTrue, 5, 1}, {3, kTrue, 0, 1}}},  // tape never gains a file
      {true, {3}, {{5, kTrue, 3, 1}}},
  };
  for (const Case& c : cases) {
    CFnx_Dal_ConfigurationTape tape;
    CFnx_Dal_ConfigurationCentera other;
    CFnx_Dal_Configuration& config = c.tape ? static_cast<CFnx_Dal_Configuration&>(tape) : other;
    DalMediaFactoryTestAccess registration(new CappedMedia(config.GetName()));
    CappedMedia::s_capacities = c.capacities;
    CFnx_Dal_Storage document;
    if (c.capacities.front() == kFails) {
      EXPECT_THROW(document.OpenForWriting(config.GetName(), &config), FNXError);
      EXPECT_EQ(document.GetName(), "");
      continue;
    }
    ASSERT_TRUE(document.OpenForWriting(config.GetName(), &config));
    for (const Call& call : c.calls) {
      const std::string data(call.length, 'd');
      std::uint32_t written = 99;
      if (call.result == kThrows) {
        CappedMedia::s_capacities.push_back(kFails);
        EXPECT_THROW(document.Write(data.data(), call.length, written, -1), FNXError);
      } else {
        EXPECT_EQ(document.Write(data.data(), call.length, written, -1), call.result == kTrue);
      }
      EXPECT_EQ(written, call.written) << document.GetName();
      std::vector<std::string> files;
      ParseStorageLocation(document.GetName(), files);
      EXPECT_EQ(files.size(), call.files) << document.GetName();
    }
    document.Close(true);
  }
}

// A read never reports more than a long can hold: a longer one comes back short.
TEST(StorageLongReads, OneCallIsCappedAtTheLargestLong) {
  DalMediaFactoryTestAccess registration(new CappedMedia("tape"));
  CappedMedia::s_readable = 2000000000;
  CFnx_Dal_Storage document("tape@a,0,2000000000#tape@b,2000000000,2000000000#");
  char untouched = 0;  // the double reports bytes without placing them
  EXPECT_EQ(document.Read(&untouched, UINT32_MAX, -1), INT32_MAX);
}

// A centera document is placed like a disk one but in its root, and hands
// over through its first file's media.
TEST(Centera, NamesFilesInTheRootAndHandsOverThroughTheFirstFile) {
  CFnx_Dal_ConfigValues values;
  values.m_maxFilesPerDir = 40;
  values.m_location = "store/a\\b";
  std::unique_ptr<CFnx_Dal_Configuration> config(CFnx_Dal_ConfigurationCentera().Clone());
  config->SetValues(values);
  std::string expected = "store/a/b";
  DalParsePathSeparators(expected);
  EXPECT_EQ(config->Get_Location(), expected);
  auto* centera = static_cast<CFnx_Dal_ConfigurationCentera*>(config.get());
  std::string directory, first, second;
  centera->GetNewLocation(directory, first);
  centera->GetNewLocation(directory, second);
  EXPECT_EQ(directory, expected);
  EXPECT_EQ(first.rfind("fnx_das_", 0), 0u);
  EXPECT_NE(first, second);
  EXPECT_FALSE(Osl_File_System::exists(expected)) << "nothing is made on disk";

  DalMediaFactoryTestAccess registration(new CappedMedia("centera"));
  migrate_parameters parameters;
  std::string result = "before";
  CFnx_Dal_Storage document("centera@object-a,0,5#centera@object-b,5,5#");
  EXPECT_EQ(document.write_file_to_centera("the target", result, parameters), 7);
  EXPECT_EQ(CappedMedia::s_handedTarget, "the target");
  EXPECT_EQ(CappedMedia::s_handedParameters, &parameters);
  EXPECT_EQ(result, "handed over");
  result = "kept";
  EXPECT_EQ(CFnx_Dal_Storage().write_file_to_centera("t", result, parameters), 0);
  EXPECT_EQ(CFnx_Dal_Storage("disk@nowhere,0,1#").write_file_to_centera("t", result, parameters), 0)
      << "the disk media hands over nothing";
  EXPECT_EQ(result, "kept");
}

}  // namespace
