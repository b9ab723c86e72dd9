// put, get, rm, cut and fsck: documents on a disk root.
#include <CLI/CLI.hpp>

#include <fstream>
#include <iostream>
#include <memory>
#include <vector>

#include "commands.h"
#include "dal_configuration.h"
#include "dal_disk_check.h"
#include "dal_storage.h"
#include "documents.h"
#include "tape_session.h"
#include "terminal.h"

namespace fnxdal {
namespace {

struct PutOptions {
  std::string root;
  int maxFiles = 1000;
  std::string extension;
  std::vector<std::string> files;
};

std::string StoreFile(CFnx_Dal_Configuration& disk, const std::string& extension, const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) throw UsageError("cannot read " + file);
  CFnx_Dal_Storage document;
  if (!extension.empty()) document.SetFileExtension(extension);
  document.OpenForWriting("disk", &disk);
  std::vector<char> buffer(1 << 20);
  Progress progress("put " + file);
  while (in) {
    in.read(buffer.data(), static_cast<std::streamsize>(buffer.size()));
    const auto n = static_cast<std::uint32_t>(in.gcount());
    if (n == 0) break;
    std::uint32_t written = 0;
    if (!document.Write(buffer.data(), n, written, -1) || written != n) {
      document.Close(true);
      throw UsageError("storing " + file + " failed after " + std::to_string(written) + " bytes of a piece");
    }
    progress.Add(n);
  }
  if (in.bad()) {
    document.Close(true);
    throw UsageError("reading " + file + " failed");
  }
  document.Close(false);
  return document.GetName();
}

void Put(const PutOptions& options) {
  CFnx_Dal_ConfigValues values;
  values.m_location = options.root;
  values.m_maxFilesPerDir = options.maxFiles;
  std::unique_ptr<CFnx_Dal_Configuration> disk(Create_Dal_Configuration("disk", values));
  for (const std::string& file : options.files) std::cout << StoreFile(*disk, options.extension, file) << "\n";
}

void RequireDisk(const std::string& location) {
  const std::string media = MediaOf(location);
  if (media != "disk") throw UsageError("not a disk location (" + media + "): " + location);
}

void Get(const std::string& location, const std::string& output, const TapeOptions& tape) {
  if (MediaOf(location) == "tape") {
    RestoreFromTape(tape, location, output);
    return;
  }
  CFnx_Dal_Storage document(location);
  document.OpenForReading(nullptr);
  OutputFile out(output);
  Progress progress("get");
  CopyDocumentTo(document, out.stream(), &progress);
  document.Close(false);
  out.Finish();
}

void Remove(const std::string& location) {
  RequireDisk(location);
  CFnx_Dal_Storage document(location);
  if (document.Delete() != 0) throw UsageError("deleting " + location + " failed; part of it may remain");
}

void Cut(const std::string& location, std::int64_t size) {
  RequireDisk(location);
  CFnx_Dal_Storage document(location);
  if (size < 0 || size > document.GetSize()) {
    throw UsageError("cannot cut " + location + " to " + std::to_string(size) + " bytes");
  }
  document.ReOpenForWriting();
  const bool cut = document.Resize(size);
  document.Close(false);
  if (!cut) throw UsageError("cutting " + location + " failed; it is unchanged");
  std::cout << document.GetName() << "\n";
}

const char* KindText(CFnx_Dal_DiskFinding::Kind kind) {
  switch (kind) {
    case CFnx_Dal_DiskFinding::CountDrift: return "count drift";
    case CFnx_Dal_DiskFinding::EmptyDirectory: return "empty date directory";
    case CFnx_Dal_DiskFinding::UnreadableEntry: return "unreadable entry";
  }
  return "?";
}

void Fsck(const std::string& root, bool repair) {
  int open = 0;
  for (const CFnx_Dal_DiskFinding& finding : CheckDiskRoot(root, repair)) {
    std::cout << KindText(finding.kind) << ": " << finding.path;
    if (finding.kind == CFnx_Dal_DiskFinding::CountDrift) {
      std::cout << " (dirfile.txt counts " << finding.counted << ", " << finding.present << " entries)";
    }
    std::cout << (finding.repaired ? ": repaired" : "") << "\n";
    if (!finding.repaired) ++open;
  }
  if (open > 0) {
    throw UsageError(std::to_string(open) + " finding(s) under " + root +
                     (repair ? " could not be repaired" : "; --repair mends counts and empty directories"));
  }
}

}  // namespace

void AddDiskCommands(CLI::App& app) {
  auto options = std::make_shared<PutOptions>();
  CLI::App* put = app.add_subcommand("put", "store each file as a new disk document and print its location");
  put->add_option("--root", options->root, "the disk root")->required();
  put->add_option("--max-files", options->maxFiles, "documents per date directory, plus one")
      ->check(CLI::Range(10, 1 << 30));
  put->add_option("--ext", options->extension, "file extension of the stored files");
  put->add_option("FILE", options->files, "files to store")->required()->check(CLI::ExistingFile);
  put->callback([options] { Put(*options); });

  auto location = std::make_shared<std::string>();
  auto output = std::make_shared<std::string>("-");
  auto tape = std::make_shared<TapeOptions>();
  CLI::App* get = app.add_subcommand("get", "read a document from disk or tape");
  get->add_option("LOCATION", *location, "the document's location")->required();
  get->add_option("-o,--output", *output, "the file to write (default: standard output)");
  AddTapeSessionOptions(*get, *tape, /*required=*/false);
  get->callback([location, output, tape] { Get(*location, *output, *tape); });

  CLI::App* rm = app.add_subcommand("rm", "delete a disk document");
  rm->add_option("LOCATION", *location, "the document's location")->required();
  rm->callback([location] { Remove(*location); });

  auto size = std::make_shared<std::int64_t>(0);
  CLI::App* cut = app.add_subcommand("cut", "cut a disk document to SIZE bytes and print its new location");
  cut->add_option("LOCATION", *location, "the document's location")->required();
  cut->add_option("SIZE", *size, "the size to keep, in bytes")->required();
  cut->callback([location, size] { Cut(*location, *size); });

  auto root = std::make_shared<std::string>();
  auto repair = std::make_shared<bool>(false);
  CLI::App* fsck = app.add_subcommand("fsck", "check a disk root's counts and date directories");
  fsck->add_option("--root", *root, "the disk root")->required();
  fsck->add_flag("--repair", *repair, "rewrite drifted counts and remove empty date directories");
  fsck->callback([root, repair] { Fsck(*root, *repair); });
}

}  // namespace fnxdal
