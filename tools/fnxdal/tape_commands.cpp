// backup, restore, list, labels, drive and scan: documents on tape volumes.
#include <CLI/CLI.hpp>

#include <fstream>
#include <iostream>
#include <memory>
#include <vector>

#include "commands.h"
#include "dal_storage.h"
#include "dal_tape_api.h"
#include "dal_tape_dev_win32.h"
#include "dal_tape_lister.h"
#include "documents.h"
#include "fnx_error.h"
#include "fnx_vtape.h"
#include "tape_scan.h"
#include "tape_session.h"
#include "terminal.h"

namespace fnxdal {
namespace {

struct BackupOptions {
  TapeOptions tape;
  std::vector<std::string> files;
  std::vector<std::string> fromDisk;
};

void Backup(const BackupOptions& options) {
  if (options.files.empty() == options.fromDisk.empty()) {
    throw UsageError("backup takes FILE... or --from-disk LOCATION..., one of them");
  }
  const bool fromDisk = !options.fromDisk.empty();
  const std::vector<std::string>& sources = fromDisk ? options.fromDisk : options.files;
  TapeSession session(options.tape);
  CFnx_Dal_Storage::BackupStart(&session.config());
  session.Save();
  Progress progress("backup");
  for (const std::string& source : sources) {
    const std::string bytes = fromDisk ? ReadDocument(source, nullptr) : ReadWholeFile(source);
    try {
      std::cout << WriteToTape(session.config(), bytes, &progress) << std::endl;
    } catch (const FNXError& error) {
      throw UsageError("backup of " + source + " failed: " + error.Text());
    }
    session.Save();
  }
  CFnx_Dal_Storage::BackupEnd(&session.config());
  session.Save();
}

// The drive number that dal_tape_lister is given: a virtual drive is
// registered in this process under "\\.\TAPE0".
std::string ListerDriveNumber(const std::string& drive) {
  const std::string directory = VtapeDirectoryOf(drive);
  if (!directory.empty()) {
    FnxVtapeRegisterName("\\\\.\\TAPE0", directory);
    return "0";
  }
  static const std::string prefix = "\\\\.\\TAPE";
  if (drive.compare(0, prefix.size(), prefix) == 0) return drive.substr(prefix.size());
  static const std::string nst = "/dev/nst";
  if (drive.compare(0, nst.size(), nst) == 0) return drive.substr(nst.size());
  throw UsageError("list takes vtape:DIR, \\\\.\\TAPEn or /dev/nstN, not " + drive);
}

void Labels(const std::string& drive) {
  CFnx_Dal_ConfigValues values;
  values.m_deviceName = drive;
  CFnx_Dal_ConfigurationTape config;
  config.SetValues(values);
  CFnx_Dal_TapeDevWin32 device(config);
  device.PrintLabelsList(std::cout);
}

void Drive(const std::string& drive) {
  CTapeApi api(drive);
  _TAPE_GET_DRIVE_PARAMETERS driveRecord{};
  api.GetTapeParameters(driveRecord);
  std::cout << "Drive " << drive << "\n" << api.GetTapeParametersString(driveRecord);
  _TAPE_GET_MEDIA_PARAMETERS media{};
  try {
    api.GetTapeMediaParameters(media);
  } catch (const exception_GetLastError& error) {
    std::cout << "Media: " << error.Text() << "\n";
    return;
  }
  std::cout << "Media\n" << api.GetTapeMediaParametersString(media);
}

}  // namespace

// Runs a command on a drive; a failure of the drive names it.
template <typename Command>
void OnDrive(const std::string& drive, Command command) {
  try {
    command();
  } catch (const FNXError& error) {
    throw UsageError("drive " + drive + ": " + error.Text());
  }
}

void AddTapeCommands(CLI::App& app) {
  auto backup = std::make_shared<BackupOptions>();
  CLI::App* command = app.add_subcommand("backup", "write files or disk documents to tape as one backup run");
  AddTapeSessionOptions(*command, backup->tape, /*required=*/true);
  command->add_option("--volume", backup->tape.volume, "the name of a volume that gets labelled");
  command->add_flag("--new-volume", backup->tape.newVolume, "start the run on a new volume");
  command->add_flag("--force-label", backup->tape.forceLabel, "label the tape in the drive without looking at it");
  command->add_option("--das", backup->tape.das, "the DAS name that labels and locations carry");
  command->add_option("--name", backup->tape.name, "the name of the run (operator key, locations)");
  command->add_option("FILE", backup->files, "files to back up")->check(CLI::ExistingFile);
  command->add_option("--from-disk", backup->fromDisk, "disk documents to back up, by location");
  command->callback([backup] { Backup(*backup); });

  auto restore = std::make_shared<TapeOptions>();
  auto location = std::make_shared<std::string>();
  auto output = std::make_shared<std::string>();
  command = app.add_subcommand("restore", "read a document back from tape");
  AddTapeSessionOptions(*command, *restore, /*required=*/true);
  command->add_option("--name", restore->name, "the name of the run (operator key)");
  command->add_option("LOCATION", *location, "the document's tape location")->required();
  command->add_option("-o,--output", *output, "the file to write ('-': standard output)")->required();
  command->callback([restore, location, output] { RestoreFromTape(*restore, *location, *output); });

  auto drive = std::make_shared<std::string>();
  command = app.add_subcommand("list", "print the table of contents of the volume in the drive");
  command->add_option("--drive", *drive, "the drive")->required();
  command->callback([drive] { OnDrive(*drive, [&] { dal_tape_lister(ListerDriveNumber(*drive)); }); });

  command = app.add_subcommand("labels", "dump every label of the volume in the drive");
  command->add_option("--drive", *drive, "the drive")->required();
  command->callback([drive] { OnDrive(*drive, [&] { Labels(*drive); }); });

  command = app.add_subcommand("drive", "report the drive's and the medium's parameters");
  command->add_option("--drive", *drive, "the drive")->required();
  command->callback([drive] { OnDrive(*drive, [&] { Drive(*drive); }); });

  auto name = std::make_shared<std::string>("fnxdal");
  command = app.add_subcommand("scan", "rebuild the location of every file on the volume from its labels");
  command->add_option("--drive", *drive, "the drive")->required();
  command->add_option("--name", *name, "the run name that the locations carry");
  command->callback([drive, name] { OnDrive(*drive, [&] { ScanVolume(*drive, *name, std::cout); }); });
}

}  // namespace fnxdal
