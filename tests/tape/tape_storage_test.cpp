// Tape through the storage handle on the virtual drive: what the tape media
// refuses, and a backup run over several volumes restored in another process.
#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "child_process.h"
#include "dal_media.h"
#include "dal_storage.h"
#include "dal_tape_dev.h"
#include "disk_content.h"
#include "fnx_expect.h"
#include "fnx_vtape.h"
#include "scripted_operator.h"
#include "temp_dir.h"

namespace {

// A library of blank cartridges and a configuration of a run that starts a new volume.
std::string MakeLibrary(TempDir& dir, unsigned cartridges, std::uint32_t block_size, std::uint64_t capacity,
                        CFnx_Dal_ConfigurationTape& config) {
  const std::string library = dir.Join("library");
  // The default early warning, one block here, often leaves no room for an
  // end label: such a document goes anew, and must reach the next volume.
  FnxVtapeCreateLibrary(library, {.cartridges = cartridges, .blockSize = block_size, .capacityBytes = capacity});
  FnxVtapeInsert(library, "C001");
  ConfigureVtapeRun(config, library, "backup", "DAS_E2E", "E2E");
  return library;
}

// Writes one document as the caller of a backup run does: anew, on the next
// volume, when a write comes back short or the end of the medium ends the close.
std::string WriteDocument(const std::string& bytes, CFnx_Dal_ConfigurationTape& config) {
  for (int attempt = 0; attempt < 4; ++attempt) {
    CFnx_Dal_Storage handle;
    handle.OpenForWriting("tape", &config);
    bool whole = true;
    for (std::size_t done = 0; whole && done < bytes.size();) {
      const auto piece = static_cast<std::uint32_t>(std::min<std::size_t>(1 << 20, bytes.size() - done));
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
    for (int close = 0; close < 2; ++close) {
      try {
        handle.Close(false);
        return handle.GetName();
      } catch (const end_of_tape_error&) {
      }
    }
  }
  ADD_FAILURE() << "a document of " << bytes.size() << " bytes found no place in four attempts";
  return {};
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

// The run of the storage handle over several volumes: the operator inserts a
// blank cartridge for each new volume, every document whose write came back
// short is written anew, and another process restores every location
// byte-exact with the cartridges out of the drive, so that each restore asks
// for its own.
TEST(TapeStorage, ABackupRunOverSeveralVolumesRestoresInAnotherProcess) {
  // Sizes from 0 to 3 MiB, small ones more often than large; 60 documents
  // keep the suite short, FNX_TAPE_RUN_DOCUMENTS=200 makes the long run.
  const char* const wanted = std::getenv("FNX_TAPE_RUN_DOCUMENTS");
  const std::size_t count = wanted ? std::stoul(wanted) : 60;
  std::vector<std::size_t> sizes = {0, 3 << 20};
  for (std::size_t i = 2; i < count; ++i) sizes.push_back((i * i * i * 7919) % (1 + (std::size_t{3} << (i % 21))));
  // Two labels and the records of each file; the run fills four volumes.
  std::uint64_t blocks = 0;
  for (std::size_t size : sizes) blocks += 3 + size / 65528;
  TempDir dir;
  CFnx_Dal_ConfigurationTape config;
  CartridgeOperator cartridges;
  cartridges.library = MakeLibrary(dir, 9, 65536, blocks / 4 * 65536, config);
  for (int i = 2; i <= 9; ++i) cartridges.blanks.push_back("C00" + std::to_string(i));

  const std::string documents = dir.Join("documents");
  {
    ScriptedOperator console(CFnx_Dal_OperatorItemID(7, "backup", "DAS_E2E"), std::ref(cartridges));
    CFnx_Dal_Storage::BackupStart(&config);
    for (std::size_t i = 0; i < sizes.size(); ++i) {
      const std::string name = WriteDocument(DocumentBytes(1000 + i, sizes[i]), config);
      ASSERT_FALSE(name.empty());
      AppendLine(documents, name + "\t" + std::to_string(1000 + i) + "\t" + std::to_string(sizes[i]));
      std::vector<std::string> files;
      ParseStorageLocation(name, files);
      ASSERT_EQ(files.size(), 1u) << name;
      std::string media, path, das, configName, volume;
      std::int64_t from = 0, size = 0;
      ASSERT_TRUE(ParseFileLocation(files[0], media, path, from, size)) << name;
      EXPECT_EQ(size, static_cast<std::int64_t>(sizes[i]));
      // A document of no bytes names no volume: it needs none to restore.
      const std::string cartridge = FnxVtapeGetStatus(cartridges.library).inDrive;
      if (ParseMediaLocation(media, path, das, configName, volume)) {
        EXPECT_EQ(cartridges.volumes.emplace(volume.substr(0, 26) + volume.substr(27), cartridge).first->second,
                  cartridge)
            << "one volume on two cartridges";
      }
    }
    CFnx_Dal_Storage::BackupEnd(&config);
  }
  EXPECT_EQ(cartridges.errors, std::vector<std::string>{});
  ASSERT_GE(cartridges.volumes.size(), 3u) << "the run should span three volumes at least";
  const std::string volumes = dir.Join("volumes");
  for (const auto& [volume, cartridge] : cartridges.volumes) AppendLine(volumes, volume + "\t" + cartridge);
  FnxVtapeEject(cartridges.library);
  EXPECT_EQ(ChildProcess({"tape-restore", cartridges.library, volumes, documents}).Wait(), 0);
}
