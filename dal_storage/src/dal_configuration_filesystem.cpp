// The configuration of the media "disk": its values and names, the
// allocation of date directories under the root, and the count kept in each
// date directory's "dirfile.txt" (whose callers hold the root's lockfile).
#include "dal_configuration_filesystem.h"

#include <memory>
#include <new>

#include "dal_media_filesystem.h"
#include "dal_throw.h"
#include "os_path.h"
#include "os_regexp.h"
#include "os_text.h"
#include "osl_directory.h"

namespace {

constexpr const char kDatePattern[] = "[0-9][0-9]_[0-9][0-9]_[0-9][0-9][0-9][0-9]_+[0-9]";
constexpr const char kDirectoryDateFormat[] = "%m_%d_%Y";
constexpr const char kDirectorySeparator[] = "_";
constexpr const char kSourceFile[] = "dal_storage/src/dal_configuration_filesystem";
constexpr const char kDirFileName[] = "dirfile.txt";
constexpr const char kCountKey[] = "NumberOfFilesInDirectory=";
constexpr std::size_t kCountKeyLength = sizeof(kCountKey) - 1;
constexpr const char kFilePrefix[] = "fnx_das_";
constexpr const char kFileTimeFormat[] = "%H%M%S";
constexpr int kCountIn = 1;
constexpr int kLeastLimit = 10;

// The whole text of a small file; throws os_file_toolkit_error.
std::string ReadWholeFile(const std::string& path) {
  Osl_File file;
  file.open(path, 0, OSL_ACCESS_READ, 0);
  file.seek(0, 2);
  const long size = file.tell();
  file.seek(0, 0);
  std::unique_ptr<char[]> buffer;
  try {
    buffer.reset(new char[static_cast<std::size_t>(size) + 1]);
  } catch (const std::bad_alloc&) {
    DAL_THROW("QRSDAL0005E", "CFnx_Dal_ConfigurationFileSystem::UpdateDirFile: ");
  }
  const int count = file.read(buffer.get(), static_cast<int>(size));
  file.close();
  return std::string(buffer.get(), count > 0 ? static_cast<std::size_t>(count) : 0);
}

// Where the count stands in the text of "dirfile.txt": position and length
// of the value, npos where the key or its ";" is missing.
struct CountField {
  std::size_t position = std::string::npos;
  std::size_t length = std::string::npos;
};

CountField FindCount(const std::string& text) {
  CountField field;
  const std::size_t key = text.find(kCountKey);
  if (key == std::string::npos) return field;
  field.position = key + kCountKeyLength;
  const std::size_t end = text.find(';', field.position);
  if (end != std::string::npos) field.length = end - field.position;
  return field;
}

// Writes text over the start of "dirfile.txt"; raises QRSDAL0808E when the
// write comes back short.
void WriteDirFileText(const std::string& path, const std::string& text) {
  Osl_File file;  // closed by its destructor when a failure leaves early
  file.open(path, OSL_FILE_CREATE, OSL_ACCESS_READ_WRITE, 0);
  const int written = file.write(text.data(), static_cast<int>(text.size()));
  if (written < static_cast<int>(text.size())) {
    DAL_THROW("QRSDAL0808E", "CFnx_Dal_ConfigurationFileSystem::UpdateDirFile: ", "DirFile");
  }
  file.close();
}

}  // namespace

CFnx_Dal_ConfigurationFileSystem::CFnx_Dal_ConfigurationFileSystem()
    : m_directoryNumber(-1), m_date(os_date::today()) {}

CFnx_Dal_ConfigurationFileSystem::~CFnx_Dal_ConfigurationFileSystem() = default;

CFnx_Dal_Configuration* CFnx_Dal_ConfigurationFileSystem::Clone() const {
  return new CFnx_Dal_ConfigurationFileSystem();
}

void CFnx_Dal_ConfigurationFileSystem::SetValues(const CFnx_Dal_ConfigValues& values) {
  m_maxPageSize = values.m_maxPageSize;
  m_maxFilesPerDir = values.m_maxFilesPerDir;
  m_location = values.m_location;
  DalParsePathSeparators(m_location);
}

void CFnx_Dal_ConfigurationFileSystem::GetValues(CFnx_Dal_ConfigValues& values) {
  values.m_maxPageSize = m_maxPageSize;
  values.m_maxFilesPerDir = m_maxFilesPerDir;
  values.m_location = m_location;
}

const std::string& CFnx_Dal_ConfigurationFileSystem::GetName() const {
  static const std::string name = "disk";
  return name;
}

std::int32_t CFnx_Dal_ConfigurationFileSystem::GetMaxPageSize() const { return m_maxPageSize; }

std::string CFnx_Dal_ConfigurationFileSystem::Get_Location() { return m_location; }

std::string CFnx_Dal_ConfigurationFileSystem::NewFileName() {
  return std::string(kFilePrefix) + os_time::now().to_string(kFileTimeFormat) + "_" + RandomNumber();
}

std::string CFnx_Dal_ConfigurationFileSystem::GetDatePrefix() {
  return os_date::today().to_string(kDirectoryDateFormat) + kDirectorySeparator;
}

void CFnx_Dal_ConfigurationFileSystem::SetDirectoryName() {
  m_directoryName = GetDatePrefix() + std::to_string(m_directoryNumber);
}

bool CFnx_Dal_ConfigurationFileSystem::IsDateDirectory(const std::string& name) {
  static const os_regexp pattern(kDatePattern, false, false);
  return !pattern.search(name, 0, -1).empty();
}

int CFnx_Dal_ConfigurationFileSystem::CountEntries(const std::string& directory) {
  return static_cast<int>(Osl_Directory(directory, 0).filenames().size()) - 2;
}

long CFnx_Dal_ConfigurationFileSystem::ReadDirFileCount(const std::string& directory) {
  std::string text;
  try {
    text = ReadWholeFile(os_path(directory, kDirFileName));
  } catch (const os_file_toolkit_error&) {
    return -1;
  }
  const CountField field = FindCount(text);
  if (field.length == std::string::npos) return -1;
  return DalAtol(text.substr(field.position, field.length));
}

void CFnx_Dal_ConfigurationFileSystem::WriteDirFileCount(const std::string& directory, long count) {
  // A shorter count leaves the old tail behind its ";", as every rewrite does.
  WriteDirFileText(os_path(directory, kDirFileName), kCountKey + std::to_string(count) + ";");
}

void CFnx_Dal_ConfigurationFileSystem::ScanDirectories() {
  const std::string prefix = GetDatePrefix();
  long best = -1;
  DAFileSystem::MakeDirectories(m_location);
  for (const std::string& name : Osl_Directory(m_location, 0).filenames()) {
    if (name == "." || name == "..") continue;
    try {
      const Osl_IO_Status status(os_path(m_location, name));
      if ((status.mode() & Osl_IO_Status::TYPE_MASK) != Osl_IO_Status::TYPE_DIRECTORY) continue;
    } catch (const os_io_toolkit_error&) {
      continue;
    }
    const std::size_t separator = name.rfind('_');
    if (separator == std::string::npos || name.compare(0, separator + 1, prefix) != 0) continue;
    const long number = DalAtol(name.substr(separator + 1));
    if (number > best) best = number;
  }
  m_directoryNumber = best == -1 ? 1 : static_cast<int>(best);
  SetDirectoryName();
}

void CFnx_Dal_ConfigurationFileSystem::GetNewLocation(std::string& directory, std::string& name) {
  const os_date today = os_date::today();
  if (today > m_date) {
    m_date = today;
    ScanDirectories();
  }
  if (m_directoryNumber == -1) ScanDirectories();
  for (;;) {
    const std::string path = os_path(m_location, m_directoryName);
    DAFileSystem::MakeDirectories(path);
    if (UpdateDirFile(path, kCountIn, m_maxFilesPerDir)) break;
    ++m_directoryNumber;  // full: the next number of the day
    SetDirectoryName();
  }
  name = NewFileName();
  directory = os_path(m_location, m_directoryName);
}

bool CFnx_Dal_ConfigurationFileSystem::UpdateDirFile(const std::string& directory, int operation, int limit) {
  const std::string path = os_path(directory, kDirFileName);
  bool found = true;
  long count = -1;
  std::string text;
  std::size_t valuePosition = std::string::npos;
  std::size_t valueLength = std::string::npos;

  try {
    text = ReadWholeFile(path);
    const CountField field = FindCount(text);
    valuePosition = field.position;
    valueLength = field.length;
    if (valueLength != std::string::npos) count = DalAtol(text.substr(valuePosition, valueLength));
  } catch (const os_file_toolkit_error&) {
    found = false;  // above all: no "dirfile.txt" yet
    text.clear();
    count = CountEntries(directory);
  }
  // A directory with its "dirfile.txt" holds at least that file: a smaller
  // count (none, or a number that wrapped) is recounted from the entries, so
  // that it can neither admit files past the limit nor fall below them.
  if (found && count < 1) count = CountEntries(directory);

  if (operation == kCountIn) {
    if (count >= limit) {
      if (limit >= kLeastLimit) return false;
      DAL_THROW("QRSDAL0637E", "CFnx_Dal_ConfigurationFileSystem::UpdateDirFile: ", "MaxFilesPerDir", limit,
                "Configuration");
    }
    ++count;
  } else {
    if (found) --count;
    if (found && count == 1) {
      try {
        Osl_File_System::remove(path);  // only the count file is left
      } catch (const os_file_toolkit_error&) {
      }
      return false;
    }
    if (!found && count == 0) return false;
  }

  const std::string value = std::to_string(count + (found ? 0 : 1));
  if (!found) {
    text = kCountKey + value + ";";
  } else if (valuePosition == std::string::npos) {
    text += kCountKey + value + ";";
  } else if (valueLength == std::string::npos) {
    text.resize(valuePosition);
    text += value + ";";
  } else {
    text.replace(valuePosition, valueLength, value);
  }

  // Rewritten from the start and not truncated: a shorter text leaves the
  // tail of the old one behind the ";", which the reader never looks at.
  WriteDirFileText(path, text);
  return true;
}
