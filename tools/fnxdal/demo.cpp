// demo: a tour of the whole road of a document, for a new user. It stores
// documents on disk, changes some, backs them up over two virtual cartridges
// with a tape change that the console answers, lists and scans the volumes,
// restores every document and checks each byte.
#include <CLI/CLI.hpp>

#include <filesystem>
#include <iostream>
#include <map>
#include <memory>
#include <random>
#include <sstream>
#include <vector>

#include "commands.h"
#include "dal_configuration.h"
#include "dal_storage.h"
#include "dal_tape_lister.h"
#include "documents.h"
#include "fnx_vtape.h"
#include "tape_scan.h"
#include "tape_session.h"

namespace fnxdal {
namespace {

struct Document {
  std::string location;  // on disk, then on tape
  std::string bytes;     // what it must read back as
  std::string cartridge; // where its tape copy lies
};

void Say(const std::string& text) { std::cout << "demo: " << text << std::endl; }

void Check(bool ok, const std::string& what) {
  if (!ok) throw UsageError("demo failed: " + what);
}

std::string RandomBytes(std::mt19937_64& random, std::size_t size) {
  std::string bytes(size, '\0');
  for (char& byte : bytes) byte = static_cast<char>(random());
  return bytes;
}

std::vector<Document> DiskPart(const std::string& root) {
  CFnx_Dal_ConfigValues values;
  values.m_location = root;
  values.m_maxFilesPerDir = 10;  // small, so that date directories roll over
  std::unique_ptr<CFnx_Dal_Configuration> disk(Create_Dal_Configuration("disk", values));
  std::mt19937_64 random(20261123);
  std::vector<Document> documents;
  for (int i = 0; i < 24; ++i) {
    Document document;
    document.bytes = RandomBytes(random, i == 0 ? 0 : random() % (400 * 1024));
    document.location = StoreOnDisk(*disk, document.bytes);
    documents.push_back(document);
  }
  Say("stored " + std::to_string(documents.size()) + " documents under " + root);
  for (const Document& document : documents) Check(ReadDocument(document.location, nullptr) == document.bytes, "read back " + document.location);
  Say("read every one back byte for byte");

  Document& updated = documents[1];
  CFnx_Dal_Storage handle(updated.location);
  handle.ReOpenForWriting();
  const std::string patch = "updated in place";
  std::uint32_t written = 0;
  Check(handle.Write(patch.data(), static_cast<std::uint32_t>(patch.size()), written, 10), "update");
  handle.Close(false);
  updated.bytes.replace(10, patch.size(), patch);
  updated.location = handle.GetName();

  Document& cut = documents[2];
  CFnx_Dal_Storage cutter(cut.location);
  cutter.ReOpenForWriting();
  Check(cutter.Resize(static_cast<std::int64_t>(cut.bytes.size() / 2)), "cut");
  cutter.Close(false);
  cut.bytes.resize(cut.bytes.size() / 2);
  cut.location = cutter.GetName();

  Check(CFnx_Dal_Storage(documents[3].location).Delete() == 0, "delete");
  documents.erase(documents.begin() + 3);
  for (const Document& document : documents) Check(ReadDocument(document.location, nullptr) == document.bytes, "read after changes " + document.location);
  Say("updated one, cut one to half, deleted one; the rest read back unchanged");
  return documents;
}

std::size_t TotalBytes(const std::vector<Document>& documents) {
  std::size_t total = 0;
  for (const Document& document : documents) total += document.bytes.size();
  return total;
}

void TapePart(std::vector<Document>& documents, const std::string& directory) {
  const std::string library = (std::filesystem::path(directory) / "vtape").string();
  const std::string drive = "vtape:" + library;
  FnxVtapeLibraryShape shape;
  shape.cartridges = 3;
  shape.blockSize = 512;
  shape.capacityBytes = TotalBytes(documents) * 2 / 3;  // two cartridges' worth
  FnxVtapeCreateLibrary(library, shape);
  FnxVtapeInsert(library, "C001");
  Say("made a virtual drive in " + library + " with 3 blank cartridges of " +
      std::to_string(shape.capacityBytes / 1024) + " KiB; C001 is in the drive");

  TapeOptions options;
  options.drive = drive;
  options.state = (std::filesystem::path(directory) / "run.state").string();
  options.volume = "DEMO";
  options.newVolume = true;
  {
    // The console plays the operator: when C001 is full it is asked for a
    // new volume, inserts C002 and answers "Retry".
    TapeSession session(options, {"insert C002", "Retry", "insert C003", "Retry"});
    CFnx_Dal_Storage::BackupStart(&session.config());
    for (Document& document : documents) {
      document.location = WriteToTape(session.config(), document.bytes, nullptr);
      document.cartridge = FnxVtapeGetStatus(library).inDrive;
    }
    CFnx_Dal_Storage::BackupEnd(&session.config());
    session.Save();
  }
  std::map<std::string, std::string> printed;  // cartridge -> its locations, one a line
  // An empty document has no file on tape: its location reads back without one.
  for (const Document& document : documents) {
    if (!document.bytes.empty()) printed[document.cartridge] += document.location + "\n";
  }
  Check(printed.size() >= 2, "the backup spans two cartridges");
  Say("backed up " + std::to_string(documents.size()) + " documents over " + std::to_string(printed.size()) +
      " cartridges, the tape change answered by the console");

  for (const auto& [cartridge, locations] : printed) {
    FnxVtapeInsert(library, cartridge);
    Say("table of contents of " + cartridge + ":");
    FnxVtapeRegisterName("\\\\.\\TAPE0", library);
    dal_tape_lister("0");
    std::ostringstream scanned;
    ScanVolume(drive, options.name, scanned);
    Check(scanned.str() == locations, "scan of " + cartridge + " gives the locations the backup handed out");
    Say("scan of " + cartridge + " rebuilt exactly the locations that the backup handed out");
  }

  // With every cartridge out, each restore asks for the volume it needs.
  FnxVtapeEject(library);
  std::vector<std::string> script;
  std::string inDrive;
  for (const Document& document : documents) {
    if (document.bytes.empty() || document.cartridge == inDrive) continue;
    inDrive = document.cartridge;
    script.push_back("insert " + inDrive);
    script.push_back("Retry");
  }
  {
    TapeSession session(options, script);
    for (const Document& document : documents) {
      Check(ReadDocument(document.location, &session.config()) == document.bytes, "restore " + document.location);
    }
  }
  Say("restored every document from tape, the console inserting each cartridge asked for; all bytes match");
}

void Demo(std::string directory) {
  if (directory.empty()) {
    std::random_device random;
    directory = (std::filesystem::temp_directory_path() / ("fnxdal-demo-" + std::to_string(random()))).string();
  }
  if (std::filesystem::exists(directory) && !std::filesystem::is_empty(directory)) {
    throw UsageError("demo wants a new or empty directory, not " + directory);
  }
  std::filesystem::create_directories(directory);
  Say("working in " + directory);
  std::vector<Document> documents = DiskPart((std::filesystem::path(directory) / "disk").string());
  TapePart(documents, directory);
  Say("done: every document came back from disk and from tape as it was stored");
}

}  // namespace

void AddDemoCommand(CLI::App& app) {
  auto directory = std::make_shared<std::string>();
  CLI::App* demo = app.add_subcommand("demo", "a tour: disk, backup over two cartridges, list, scan, restore");
  demo->add_option("--dir", *directory, "a new or empty directory to work in (default: a fresh one)");
  demo->callback([directory] { Demo(*directory); });
}

}  // namespace fnxdal
