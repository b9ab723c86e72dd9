// Documents on disk against an in-memory model: random creates, writes at
// positions, reads, cuts, deletes and restarts on one root, every file held
// to a size limit so that documents span several files. After each step the
// document reads back as the model holds it, its name parses to the files the
// model expects, and each date directory holds and counts what the model says.
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <random>
#include <regex>
#include <string>
#include <vector>

#include "dal_storage.h"
#include "disk_content.h"
#include "fnx_expect.h"
#include "os_datetime.h"
#include "os_faults.h"
#include "os_path.h"
#include "osl_directory.h"
#include "temp_dir.h"

namespace {

constexpr std::int64_t kLimit = 1000;  // bytes a file takes
constexpr int kPerDirectory = 10;      // entries of a date directory, "dirfile.txt" included

std::string Today(int number) { return os_date::today().to_string("%m_%d_%Y") + "_" + std::to_string(number); }

struct Document {
  std::string location;
  std::string content;
  std::vector<std::pair<std::int64_t, int>> files;  // size and date directory number
  bool dat = false;                                 // made with the extension "dat"
};

// How a write ends: true, QRSDAL0509E, or false at a last file already at
// the limit, whose system refuses every byte.
enum class Ends { kDone, kNoRoom, kAtLimit };

class DiskModel : public ::testing::Test {
 protected:
  void Restart() {
    CFnx_Dal_ConfigValues values;
    values.m_location = root + OS_PATH_SEPARATOR;  // delete must still find the writer's lockfile
    values.m_maxFilesPerDir = kPerDirectory;
    config.reset(Create_Dal_Configuration("disk", values));
    current = -1;  // the new configuration looks at the root with its first document
  }

  int PlaceFile() {
    if (current == -1) current = directories.empty() ? 0 : directories.rbegin()->first;
    while (directories[current] == kPerDirectory - 1) ++current;
    ++directories[current];
    return current;
  }

  void DropLastFile(Document& d) {
    if (--directories[d.files.back().second] == 0) directories.erase(d.files.back().second);
    d.files.pop_back();
  }

  // The handle's write, file by file: a file that another follows never
  // grows, the last grows up to the limit, and only a growable document
  // gains files.
  Ends Write(Document& d, std::int64_t position, const std::string& data, bool growable, std::uint32_t& written) {
    std::int64_t at = position == -1 ? static_cast<std::int64_t>(d.content.size()) : position;
    std::size_t i = 0;
    std::int64_t from = 0;  // where file i starts
    for (; i + 1 < d.files.size() && (position == -1 || at > from + d.files[i].first); ++i) from += d.files[i].first;
    for (written = 0;;) {
      const bool last = i + 1 == d.files.size();
      const std::int64_t offset = at - from;
      const std::int64_t left = static_cast<std::int64_t>(data.size() - written);
      if (last && left > 0 && offset == kLimit) return Ends::kAtLimit;
      const std::int64_t n = std::min(left, std::max<std::int64_t>(0, (last ? kLimit : d.files[i].first) - offset));
      if (at + n > static_cast<std::int64_t>(d.content.size())) d.content.resize(at + n);
      d.content.replace(at, n, data, written, n);
      d.files[i].first = std::max(d.files[i].first, offset + n);
      written += n;
      at += n;
      if (written == data.size()) return Ends::kDone;
      if (last && !growable) return Ends::kNoRoom;
      if (last) d.files.push_back({0, PlaceFile()});
      from += d.files[i++].first;
    }
  }

  void ExpectStored(const Document& d) {
    std::vector<std::string> names;
    ParseStorageLocation(d.location, names);
    ASSERT_EQ(names.size(), d.files.size()) << d.location;
    static const std::regex plain(R"(fnx_das_\d{6}_[0-9A-Za-z]+)"), dat(R"(fnx_das_\d{6}_[0-9A-Za-z]+\.dat)");
    for (std::size_t i = 0, start = 0; i < names.size(); start += d.files[i++].first) {
      std::string media, path;
      std::int64_t from = -1, size = -1;
      EXPECT_TRUE(ParseFileLocation(names[i], media, path, from, size));
      EXPECT_EQ(media + " " + std::to_string(from) + " " + std::to_string(size),
                "disk " + std::to_string(start) + " " + std::to_string(d.files[i].first));
      EXPECT_EQ(os_path(os_path(root, Today(d.files[i].second)), os_path(path).filename()).str(), path);
      EXPECT_TRUE(std::regex_match(os_path(path).filename(), d.dat ? dat : plain)) << path;
      EXPECT_EQ(static_cast<std::int64_t>(ReadFile(path).size()), size) << path;
    }
    CFnx_Dal_Storage reader(d.location);
    ASSERT_TRUE(reader.OpenForReading(nullptr));
    std::string back(d.content.size() + 1, '\0');
    back.resize(static_cast<std::size_t>(reader.Read(back.data(), static_cast<std::uint32_t>(back.size()), -1)));
    EXPECT_TRUE(back == d.content) << d.location;
  }

  void ExpectRoot() {
    std::map<int, int> found;
    for (const std::string& name : DateDirectories(root)) {
      if (name.rfind(Today(0).substr(0, 11), 0) != 0 || name.back() == 'x') continue;
      const long entries = static_cast<long>(Entries(os_path(root, name)).size());
      EXPECT_EQ(DirFileCount(os_path(root, name)), entries) << name;
      found[std::stoi(name.substr(11))] = static_cast<int>(entries - 1);
    }
    EXPECT_EQ(found, directories);
  }

  TempDir dir;
  const std::string root = dir.Join("root");
  std::unique_ptr<CFnx_Dal_Configuration> config;
  std::map<int, int> directories;  // today's date directories: number -> files
  int current = -1;
};

TEST_F(DiskModel, DocumentsMatchTheModelAfterEveryStep) {
  // An earlier day and a plain file of today's names are no place for new
  // files; a directory of today without a number counts as number 0.
  Osl_Directory::create(root);
  Osl_Directory::create(os_path(root, "01_01_2001_9"));
  WriteFile(os_path(root, Today(99)), "no directory");
  Osl_Directory::create(os_path(root, Today(0).substr(0, 11) + "x"));
  Restart();
  FileSizeLimit limit(kLimit);
  std::mt19937_64 random(20240607);
  const auto pick = [&](std::int64_t most) { return static_cast<std::int64_t>(random() % (most + 1)); };
  std::vector<Document> documents;
  CFnx_Dal_Storage writer;
  for (int step = 0; step < 300 && !HasFailure(); ++step) {
    const int action = documents.empty() ? 0 : static_cast<int>(random() % 12);
    Document* d = documents.empty() ? nullptr : &documents[random() % documents.size()];
    const std::string data = DocumentBytes(step, pick(2 * kLimit + 300));
    const std::int64_t size = d ? static_cast<std::int64_t>(d->content.size()) : 0;
    SCOPED_TRACE("step " + std::to_string(step) + " action " + std::to_string(action));
    // One write through the handle and through the model.
    const auto write = [&](CFnx_Dal_Storage& handle, std::int64_t position, const std::string& bytes, bool growable) {
      Document after = *d;
      std::uint32_t written = 0, got = 99;
      const Ends ends = Write(after, position, bytes, growable, written);
      const auto call = [&] { return handle.Write(bytes.data(), static_cast<std::uint32_t>(bytes.size()), got, position); };
      if (ends == Ends::kNoRoom) {
        ExpectFnxError(call, "QRSDAL0509E", 1289, 8);
      } else {
        EXPECT_EQ(call(), ends == Ends::kDone);
      }
      EXPECT_EQ(got, written);
      *d = after;
      return ends != Ends::kAtLimit;
    };
    if (action <= 2) {  // a new document written in pieces
      documents.push_back({"", "", {{0, PlaceFile()}}, action == 1});
      d = &documents.back();
      CFnx_Dal_Storage& document = writer;
      document = CFnx_Dal_Storage();
      if (d->dat) document.SetFileExtension("dat");
      ASSERT_TRUE(document.OpenForWriting("disk", config.get()));
      EXPECT_FALSE(document.OpenForWriting("disk", config.get())) << "open already";
      for (std::size_t done = 0, piece = 0; done < data.size() && write(document, -1, data.substr(done, piece), true);) {
        done += piece;
        piece = std::min<std::size_t>(data.size() - done, 1 + pick(kLimit));
      }
      document.Close(false);
      d->location = document.GetName();
    } else if (action <= 5) {  // a stored document written at a position
      CFnx_Dal_Storage& document = writer;  // the last writer, moved to the location: it gains no file
      document.ResetLocation(d->location);
      ASSERT_TRUE(document.ReOpenForWriting());
      EXPECT_FALSE(document.ReOpenForWriting()) << "open already";
      const int where = static_cast<int>(random() % 6);  // at the end, at the start, or anywhere
      write(document, where == 0 ? -1 : where == 1 ? 0 : pick(size), data, false);
      std::uint32_t none = 99;
      EXPECT_TRUE(document.Write(nullptr, 5, none, 0) && none == 0) << "no buffer, nothing written";
      EXPECT_EQ(document.GetSize(), static_cast<std::int64_t>(d->content.size()));
      document.Close(false);
      d->location = document.GetName();
    } else if (action <= 7) {  // a read at a position, on from its end through a copy, again from the start
      // Sometimes the start of a later file: read twice, it must give its first byte again.
      const std::int64_t position = d->files.size() > 1 && random() % 3 == 0 ? d->files[0].first : 1 + pick(size + 3);
      const std::uint32_t length = static_cast<std::uint32_t>(1 + pick(kLimit + 300));
      CFnx_Dal_Storage first(d->location);
      ASSERT_TRUE(first.OpenForReading(nullptr));
      EXPECT_FALSE(first.OpenForReading(nullptr)) << "open already";
      EXPECT_EQ(first.GetSize(), size);
      std::string got(length, '\0');
      got.resize(static_cast<std::size_t>(first.Read(got.data(), length, position)));
      const std::size_t at = static_cast<std::size_t>(std::min(position, size));
      EXPECT_TRUE(got == d->content.substr(at, length)) << "at " << position;
      std::string again(length, '\0');
      again.resize(static_cast<std::size_t>(first.Read(again.data(), length, position)));
      EXPECT_TRUE(again == got) << "again at " << position;
      CFnx_Dal_Storage copy;
      copy = first;  // closed, with the cursor
      CFnx_Dal_Storage& alias = copy;
      copy = alias;
      ASSERT_TRUE(copy.OpenForReading(nullptr));
      std::string rest;
      for (std::string piece(1 + pick(700), '\0'); !piece.empty(); rest += piece) {
        piece.resize(static_cast<std::size_t>(copy.Read(piece.data(), static_cast<std::uint32_t>(piece.size()), 0)));
      }
      EXPECT_TRUE(rest == d->content.substr(at + got.size())) << "from " << at + got.size();
      first.Close(false);
      ASSERT_TRUE(first.OpenForReading(nullptr));
      got.resize(length);
      got.resize(static_cast<std::size_t>(first.Read(got.data(), length, -1)));
      EXPECT_TRUE(got == d->content.substr(0, length));
      rest.resize(length);  // -1 also moved the cursor back
      rest.resize(static_cast<std::size_t>(first.Read(rest.data(), length, 0)));
      EXPECT_TRUE(rest == d->content.substr(got.size(), length));
    } else if (action <= 9) {  // a cut: opened for writing, for reading, or not at all
      const std::int64_t to = random() % 6 == 0 ? -1 - pick(2) : pick(size + 2);
      const int mode = static_cast<int>(random() % 3);
      CFnx_Dal_Storage document(d->location);
      EXPECT_TRUE(mode == 2 || (mode == 0 ? document.ReOpenForWriting() : document.OpenForReading(nullptr)));
      std::size_t keeper = d->files.size() - 1;  // the file that keeps the new end
      std::int64_t from = size - d->files.back().first;
      for (; keeper > 0 && to <= from; from -= d->files[--keeper].first) {
      }
      // Only a file open for writing is cut; whole files behind it go from any handle.
      const bool cuts = to >= 0 && to < size && (mode == 0 || to - from == d->files[keeper].first);
      EXPECT_EQ(document.Resize(to), cuts || to >= size) << "to " << to;
      for (; cuts && d->files.size() > keeper + 1;) DropLastFile(*d);
      if (cuts) d->files[keeper].first = to - from;
      if (cuts) d->content.resize(to);
      EXPECT_EQ(document.GetSize(), static_cast<std::int64_t>(d->content.size()));
      document.Close(false);
      d->location = document.GetName();
    } else if (action == 10) {  // delete, then once more
      EXPECT_EQ(CFnx_Dal_Storage(d->location).Delete(), 0);
      EXPECT_EQ(CFnx_Dal_Storage(d->location).Delete(), -1) << "its files are gone";
      while (!d->files.empty()) DropLastFile(*d);
      documents.erase(documents.begin() + (d - documents.data()));
      d = nullptr;
    } else {
      Restart();
    }
    if (d) ExpectStored(*d);
    ExpectRoot();
  }
  for (const Document& d : documents) ExpectStored(d);
  EXPECT_EQ(ReadFile(os_path(root, "lockfile")), "");
  EXPECT_EQ(ReadFile(os_path(root, Today(99))), "no directory");
  EXPECT_TRUE(Entries(os_path(root, "01_01_2001_9")).empty());
}

}  // namespace
