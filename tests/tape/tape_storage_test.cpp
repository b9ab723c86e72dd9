// Tape through the storage handle on the virtual drive: what the tape media
// refuses, and a backup run over several volumes restored in another process.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <iostream>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "child_process.h"
#include "dal_media.h"
#include "dal_storage.h"
#include "dal_tape_dev.h"
#include "dal_tape_lister.h"
#include "disk_content.h"
#include "fnx_expect.h"
#include "fnx_vtape.h"
#include "scripted_operator.h"
#include "temp_dir.h"

namespace {

constexpr std::uint32_t kChunk = 1 << 20;
constexpr int kDocuments = 60;
constexpr std::size_t kMaxSize = 3 << 20;

// Sizes from 0 to 3 MiB, spread evenly over their orders of magnitude, so
// that small and large files both come often; the ends are always among them.
std::vector<std::size_t> DocumentSizes(int count) {
  std::mt19937_64 random(14);
  std::uniform_real_distribution<double> exponent(0.0, std::log(static_cast<double>(kMaxSize)));
  std::vector<std::size_t> sizes = {0, kMaxSize};
  while (static_cast<int>(sizes.size()) < count) sizes.push_back(static_cast<std::size_t>(std::exp(exponent(random))) - 1);
  std::shuffle(sizes.begin(), sizes.end(), random);
  return sizes;
}

// Writes one document as the caller of a backup run does: anew, on the next
// volume, when a write comes back short or the end of the medium ends the close.
std::string WriteDocument(const std::string& bytes, CFnx_Dal_ConfigurationTape& config) {
  for (int attempt = 0; attempt < 4; ++attempt) {
    CFnx_Dal_Storage handle;
    handle.OpenForWriting("tape", &config);
    bool whole = true;
    for (std::size_t done = 0; whole && done < bytes.size();) {
      const auto piece = static_cast<std::uint32_t>(std::min<std::size_t>(kChunk, bytes.size() - done));
      std::uint32_t written = 0;
      EXPECT_TRUE(handle.Write(bytes.data() + done, piece, written, -1));
      whole = written == piece;
      done += written;
    }
    if (!whole) {
      handle.Close(true);
      continue;
    }
    // The end of the medium at the close: the early warning leaves room for
    // the end label, so the caller closes once more; at the physical end
    // that fails too, and the document goes anew to the next volume.
    bool closed = false;
    for (int close = 0; close < 2 && !closed; ++close) {
      try {
        handle.Close(false);
        closed = true;
      } catch (const end_of_tape_error&) {
      }
    }
    if (closed) return handle.GetName();
  }
  ADD_FAILURE() << "a document of " << bytes.size() << " bytes found no place in four attempts";
  return {};
}

// The text of a listing line in the one-based columns first to last.
std::string Field(const std::string& line, std::size_t first, std::size_t last) {
  const std::string text = line.substr(first - 1, last - first + 1);
  const std::size_t start = text.find_first_not_of(' ');
  return start == std::string::npos ? std::string() : text.substr(start);
}

std::vector<std::string> ListingLines(const std::string& drive) {
  std::ostringstream out;
  std::streambuf* const standard = std::cout.rdbuf(out.rdbuf());
  try {
    dal_tape_lister(drive);
  } catch (...) {
    std::cout.rdbuf(standard);
    throw;
  }
  std::cout.rdbuf(standard);
  std::vector<std::string> lines;
  std::istringstream in(out.str());
  for (std::string line; std::getline(in, line);) {
    if (line.size() == 84) lines.push_back(line);  // the lines of files
  }
  return lines;
}

}  // namespace

// Everything tape cannot do raises the one failure of the tape media, and
// the working opens and calls need a device: none of it touches a drive.
TEST(TapeMedia, WhatTapeCannotDoRaisesTheTapeMediaFailure) {
  std::unique_ptr<DAMedia> tape(CFnx_Dal_MediaFactory::Instance()->Create("TAPE"));
  ASSERT_NE(tape, nullptr);
  EXPECT_EQ(tape->GetMediaName(), "tape");
  char buffer[4] = {};
  std::uint32_t count = 0;
  const std::pair<const char*, std::function<void()>> refusals[] = {
      {"Read:m_ptape==0", [&] { tape->Read(buffer, 4, count, 0); }},
      {"Write:m_ptape==0", [&] { tape->Write(buffer, 4, count, count, -1); }},
      {"Close:m_ptape==0", [&] { tape->Close(); }},
      {"OpenForReading(location)", [&] { tape->OpenForReading("x"); }},
      {"OpenForWriting(location)", [&] { tape->OpenForWriting("x", true); }},
      {"OpenForUpdate(location)", [&] { tape->OpenForUpdate("x"); }},
      {"Resize", [&] { tape->Resize(0); }},
      {"SetLocation", [&] { tape->SetLocation("x"); }},
      {"Delete", [&] { tape->Delete(); }},
  };
  for (const auto& [what, call] : refusals) {
    SCOPED_TRACE(what);
    const std::string text = ExpectFnxError(call, "QRSDAL0512E", 1281, 8);
    EXPECT_EQ(text.find("QRSDAL0512E DATape:OpenForReading: "), 0u) << text;
    EXPECT_NE(text.find(std::string("'") + what + "'"), std::string::npos) << text;
  }
  std::string location;
  tape->GetLocation(location);
  EXPECT_EQ(location, std::string(180, ' '));
  EXPECT_EQ(tape->GetFileSize(), 0);
}

// A handle whose close fails is destroyed with its files all the same: its
// device no longer holds the drive, and the run goes on.
TEST(TapeStorage, AHandleWhoseCloseFailsLetsTheDriveGo) {
  TempDir dir;
  const std::string library = dir.Join("library");
  FnxVtapeLibraryShape shape;
  shape.blockSize = 512;
  shape.capacityBytes = 1 << 20;
  FnxVtapeCreateLibrary(library, shape);
  FnxVtapeInsert(library, FnxVtapeGetStatus(library).cartridges.at(0).name);
  CFnx_Dal_ConfigurationTape config;
  CFnx_Dal_ConfigValues values;
  values.m_type = 7;
  values.m_name = "closing";
  values.m_dasName = "DAS_CLOSE";
  values.m_volumeName = "CLOSE";
  values.m_deviceName = "vtape:" + library;
  values.m_newVolume1 = true;
  config.SetValues(values);
  CFnx_Dal_Storage::BackupStart(&config);
  {
    CFnx_Dal_Storage handle;
    handle.OpenForWriting("tape", &config);
    std::uint32_t written = 0;
    ASSERT_TRUE(handle.Write("abc", 3, written, -1));
    FnxVtapeFault fault;
    fault.call = "write";
    fault.error = 1117;
    fault.always = true;
    FnxVtapeScriptFault(library, fault);
    EXPECT_THROW(handle.Close(true), FNXError);
  }
  FnxVtapeClearFaults(library);
  EXPECT_NO_THROW(CFnx_Dal_Storage::BackupEnd(&config));
}

// The run of the storage handle over several volumes: the operator inserts a
// blank cartridge for each new volume, every document whose write came back
// short is written anew, the listing of each volume shows its documents, and
// another process restores every location byte-exact with the cartridges
// out of the drive, so that each restore asks for its own.
TEST(TapeStorage, ABackupRunOverSeveralVolumesRestoresInAnotherProcess) {
  TempDir dir;
  const std::string library = dir.Join("library");
  const std::vector<std::size_t> sizes = DocumentSizes(kDocuments);
  FnxVtapeLibraryShape shape;
  shape.cartridges = 9;
  shape.blockSize = 65536;
  // Two labels and the records of each file; the run fills four volumes.
  std::uint64_t blocks = 0;
  for (std::size_t size : sizes) blocks += 3 + size / 65528;
  shape.capacityBytes = blocks / 4 * shape.blockSize;
  FnxVtapeCreateLibrary(library, shape);
  CartridgeOperator cartridges;
  cartridges.library = library;
  for (const auto& cartridge : FnxVtapeGetStatus(library).cartridges) cartridges.blanks.push_back(cartridge.name);
  FnxVtapeInsert(library, cartridges.blanks.front());
  cartridges.blanks.erase(cartridges.blanks.begin());

  CFnx_Dal_ConfigurationTape config;
  CFnx_Dal_ConfigValues values;
  values.m_type = 7;
  values.m_name = "backup";
  values.m_dasName = "DAS_E2E";
  values.m_volumeName = "E2E";
  values.m_deviceName = "vtape:" + library;
  values.m_newVolume1 = true;
  config.SetValues(values);

  struct Written {
    AnnouncedDocument document;
    std::string cartridge;
  };
  std::vector<Written> written;
  std::map<std::string, std::string> volumes;  // volume id to cartridge
  {
    ScriptedOperator console(CFnx_Dal_OperatorItemID(7, "backup", "DAS_E2E"),
                             [&](const std::string& question) { return cartridges.Respond(question); });
    CFnx_Dal_Storage::BackupStart(&config);
    for (int i = 0; i < kDocuments; ++i) {
      const std::uint64_t seed = 1000 + static_cast<std::uint64_t>(i);
      const std::string name = WriteDocument(DocumentBytes(seed, sizes[i]), config);
      ASSERT_FALSE(name.empty());
      const std::string cartridge = FnxVtapeGetStatus(library).inDrive;
      written.push_back({{name, seed, sizes[i]}, cartridge});
      std::vector<std::string> files;
      ParseStorageLocation(name, files);
      ASSERT_EQ(files.size(), 1u) << name;
      std::string media, path, das, configName, volume;
      std::int64_t from = 0, size = 0;
      ASSERT_TRUE(ParseFileLocation(files[0], media, path, from, size)) << name;
      EXPECT_EQ(size, static_cast<std::int64_t>(sizes[i]));
      // A document of no bytes names no volume: it needs none to restore.
      if (ParseMediaLocation(media, path, das, configName, volume)) {
        EXPECT_EQ(volumes.emplace(volume, cartridge).first->second, cartridge) << "one volume on two cartridges";
      }
    }
    CFnx_Dal_Storage::BackupEnd(&config);
    EXPECT_EQ(console.Finish(), std::vector<std::string>{});
    EXPECT_EQ(cartridges.errors, std::vector<std::string>{});
  }
  ASSERT_GE(volumes.size(), 3u) << "the run should span three volumes at least";

  // Each volume's listing: one line per document with bytes, in the order written.
  FnxVtapeRegisterName("\\\\.\\TAPE9", library);
  for (const auto& [volume, cartridge] : volumes) {
    SCOPED_TRACE(cartridge);
    std::vector<std::string> lengths;
    for (const Written& w : written) {
      if (w.cartridge == cartridge && w.document.size > 0) lengths.push_back(std::to_string(w.document.size));
    }
    FnxVtapeInsert(library, cartridge);
    const std::vector<std::string> lines = ListingLines("9");
    ASSERT_EQ(lines.size(), lengths.size());
    for (std::size_t i = 0; i < lines.size(); ++i) {
      EXPECT_EQ(Field(lines[i], 28, 38), lengths[i]);
      EXPECT_EQ(Field(lines[i], 64, 83), "DAS_E2E");
    }
  }
  FnxVtapeEject(library);

  const std::string volume_list = dir.Join("volumes");
  const std::string document_list = dir.Join("documents");
  for (const auto& [volume, cartridge] : volumes) AppendLine(volume_list, volume + "\t" + cartridge);
  for (const Written& w : written) {
    AppendLine(document_list, w.document.location + "\t" + std::to_string(w.document.seed) + "\t" +
                                  std::to_string(w.document.size));
  }
  ChildProcess worker({"tape-restore", library, volume_list, document_list});
  EXPECT_EQ(worker.Wait(), 0);
}
