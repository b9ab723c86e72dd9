// The check of a disk root: counts against entries, empty date directories,
// unreadable entries; with repair, counts written anew and empty
// directories removed, all under the root's lockfile.
#include "dal_disk_check.h"

#include "dal_configuration_filesystem.h"
#include "dal_media_filesystem.h"
#include "dal_throw.h"
#include "os_path.h"
#include "osl_directory.h"

namespace {

constexpr const char kSourceFile[] = "dal_storage/src/dal_disk_check";
constexpr const char kDirFileName[] = "dirfile.txt";

bool IsKind(const std::string& path, unsigned type) {
  try {
    return (Osl_IO_Status(path).mode() & Osl_IO_Status::TYPE_MASK) == type;
  } catch (const os_io_toolkit_error&) {
    return false;
  }
}

bool Readable(const std::string& path) {
  if (!IsKind(path, Osl_IO_Status::TYPE_REGULAR)) return false;
  try {
    Osl_File file;
    file.open(path, 0, OSL_ACCESS_READ, 0);
    file.close();
    return true;
  } catch (const os_file_toolkit_error&) {
    return false;
  }
}

std::vector<std::string> Entries(const std::string& directory) {
  std::vector<std::string> names;
  for (std::string& name : Osl_Directory(directory, 0).filenames()) {
    if (name != "." && name != "..") names.push_back(std::move(name));
  }
  return names;
}

void CheckDateDirectory(const std::string& directory, bool repair,
                        std::vector<CFnx_Dal_DiskFinding>& findings) {
  const std::vector<std::string> names = Entries(directory);
  int documents = 0;
  for (const std::string& name : names) {
    if (name == kDirFileName) continue;
    ++documents;
    const std::string path = os_path(directory, name);
    if (!Readable(path)) findings.push_back({CFnx_Dal_DiskFinding::UnreadableEntry, path, 0, 0, false});
  }
  if (documents == 0) {
    CFnx_Dal_DiskFinding finding{CFnx_Dal_DiskFinding::EmptyDirectory, directory, 0, 0, false};
    if (repair) {
      try {
        if (names.size() == 1) Osl_File_System::remove(os_path(directory, kDirFileName));
        Osl_Directory::remove(directory);
        finding.repaired = true;
      } catch (const os_file_toolkit_error&) {
        // Something else lies there after all: it stays, and so does the report.
      }
    }
    findings.push_back(finding);
    return;
  }
  const long counted = CFnx_Dal_ConfigurationFileSystem::ReadDirFileCount(directory);
  const long present = static_cast<long>(names.size());
  // No "dirfile.txt" is no drift: the next count starts from the entries.
  if (counted == -1 || counted == present) return;
  CFnx_Dal_DiskFinding finding{CFnx_Dal_DiskFinding::CountDrift, directory, static_cast<std::int32_t>(counted),
                               static_cast<std::int32_t>(present), false};
  if (repair) {
    CFnx_Dal_ConfigurationFileSystem::WriteDirFileCount(directory, present);
    finding.repaired = true;
  }
  findings.push_back(finding);
}

}  // namespace

std::vector<CFnx_Dal_DiskFinding> CheckDiskRoot(const std::string& root, bool repair) {
  std::vector<CFnx_Dal_DiskFinding> findings;
  try {
    if (!Osl_Directory::exists(root)) {
      DAL_THROW(DalCode{1281}, "QRSDAL0200E", "CheckDiskRoot: ", root);
    }
    DAFileSystem::RootLock lock(root, "CheckDiskRoot: ");
    for (const std::string& name : Entries(root)) {
      const std::string directory = os_path(root, name);
      if (!CFnx_Dal_ConfigurationFileSystem::IsDateDirectory(name)) continue;
      if (!IsKind(directory, Osl_IO_Status::TYPE_DIRECTORY)) continue;
      CheckDateDirectory(directory, repair, findings);
    }
  } catch (const os_toolkit_error& error) {
    DAL_THROW(DalCode{1281}, "QRSDAL0200E", "CheckDiskRoot: ", root, " ", error.what());
  }
  return findings;
}
