#include "disk_content.h"

#include <cstdio>
#include <fstream>
#include <sstream>

#include "dal_configuration_filesystem.h"
#include "os_path.h"
#include "os_text.h"
#include "osl_directory.h"

std::string FormatAnnouncement(const AnnouncedDocument& document) {
  return document.location + "\t" + std::to_string(document.seed) + "\t" + std::to_string(document.size);
}

std::vector<std::string> ReadLines(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  const std::string all = text.str();
  std::vector<std::string> lines;
  std::size_t start = 0;
  for (std::size_t end; (end = all.find('\n', start)) != std::string::npos; start = end + 1) {
    lines.push_back(all.substr(start, end - start));
  }
  return lines;
}

std::vector<AnnouncedDocument> ReadAnnouncements(const std::string& path) {
  std::vector<AnnouncedDocument> documents;
  for (const std::string& line : ReadLines(path)) {
    const std::size_t first = line.find('\t');
    const std::size_t second = line.find('\t', first + 1);
    if (first == std::string::npos || second == std::string::npos) continue;
    AnnouncedDocument document;
    document.location = line.substr(0, first);
    document.seed = std::stoull(line.substr(first + 1, second - first - 1));
    document.size = std::stoull(line.substr(second + 1));
    documents.push_back(document);
  }
  return documents;
}

void AppendLine(const std::string& path, const std::string& line) {
  std::ofstream out(path, std::ios::binary | std::ios::app);
  out << line << '\n' << std::flush;
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
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  const std::string all = text.str();
  static const std::string key = "NumberOfFilesInDirectory=";
  const std::size_t at = all.find(key);
  return at == std::string::npos ? -1 : DalAtol(all.substr(at + key.size()));
}
