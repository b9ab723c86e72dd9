#include "temp_dir.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "os_path.h"
#include "os_text.h"

TempDir::TempDir() {
  const std::filesystem::path base = std::filesystem::temp_directory_path();
  const std::filesystem::path dir = base / ("fnx_test_" + RandomNumber());
  std::filesystem::create_directories(dir);
  m_path = dir.string();
  DalParsePathSeparators(m_path);
}

TempDir::~TempDir() {
  std::error_code ignored;
  std::filesystem::remove_all(m_path, ignored);
}

std::string TempDir::Join(const std::string& relative) const {
  std::string joined = os_path(m_path, relative);
  DalParsePathSeparators(joined);
  return joined;
}

void WriteFile(const std::string& path, const std::string& content) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  if (!out) throw std::runtime_error("cannot write " + path);
  out.write(content.data(), static_cast<std::streamsize>(content.size()));
}

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw std::runtime_error("cannot read " + path);
  std::ostringstream content;
  content << in.rdbuf();
  return content.str();
}
