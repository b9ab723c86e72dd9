#include "disk_content.h"

#include <fstream>
#include <sstream>
#include <stdexcept>

#include "dal_configuration_filesystem.h"
#include "dal_storage.h"
#include "os_path.h"
#include "os_text.h"
#include "osl_directory.h"

namespace {

std::string WholeFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

}  // namespace

std::vector<std::string> ReadLines(const std::string& path) {
  const std::string all = WholeFile(path);
  std::vector<std::string> lines;
  for (std::size_t start = 0, end; (end = all.find('\n', start)) != std::string::npos; start = end + 1) {
    lines.push_back(all.substr(start, end - start));
  }
  return lines;
}

std::vector<AnnouncedDocument> ReadAnnouncements(const std::string& path) {
  std::vector<AnnouncedDocument> documents;
  for (const std::string& line : ReadLines(path)) {
    std::istringstream fields(line);
    AnnouncedDocument document;
    if (std::getline(fields, document.location, '\t') >> document.seed >> document.size) documents.push_back(document);
  }
  return documents;
}

void AppendLine(const std::string& path, const std::string& line) {
  std::ofstream(path, std::ios::binary | std::ios::app) << line << '\n' << std::flush;
}

std::vector<std::string> Entries(const std::string& directory) {
  std::vector<std::string> names;
  for (const std::string& name : Osl_Directory(directory, 0).filenames()) {
    if (name != "." && name != "..") names.push_back(name);
  }
  return names;
}

std::vector<std::string> DateDirectories(const std::string& root) {
  std::vector<std::string> names;
  for (const std::string& name : Entries(root)) {
    if (Osl_Directory::exists(os_path(root, name)) && CFnx_Dal_ConfigurationFileSystem::IsDateDirectory(name)) {
      names.push_back(name);
    }
  }
  return names;
}

long DirFileCount(const std::string& directory) {
  const std::string path = os_path(directory, "dirfile.txt");
  if (!Osl_File_System::exists(path)) return -1;
  const std::string all = WholeFile(path);
  static const std::string key = "NumberOfFilesInDirectory=";
  const std::size_t at = all.find(key);
  return at == std::string::npos ? -1 : DalAtol(all.substr(at + key.size()));
}

std::string StoreInPieces(CFnx_Dal_Configuration& config, const std::string& content, std::mt19937_64& random) {
  CFnx_Dal_Storage document;
  if (!document.OpenForWriting("disk", &config)) throw std::runtime_error("open for writing refused");
  std::size_t done = 0;
  const int calls = 1 + static_cast<int>(random() % 3);
  for (int call = 1; call <= calls; ++call) {
    const std::size_t piece = call == calls ? content.size() - done : (content.size() - done) / 2;
    std::uint32_t written = 0;
    if (!document.Write(content.data() + done, static_cast<std::uint32_t>(piece), written, -1) || written != piece) {
      throw std::runtime_error("short write of " + document.GetName());
    }
    done += piece;
  }
  document.Close(false);
  return document.GetName();
}
