#include "documents.h"

#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <sstream>
#include <vector>

#include "commands.h"
#include "terminal.h"

namespace fnxdal {

std::uint64_t CopyDocumentTo(CFnx_Dal_Storage& document, std::ostream& out, Progress* progress) {
  std::vector<char> buffer(1 << 20);
  std::uint64_t total = 0;
  for (std::int64_t position = -1;; position = 0) {
    const std::int32_t n = document.Read(buffer.data(), static_cast<std::uint32_t>(buffer.size()), position);
    if (n < 0) throw UsageError("reading " + document.GetName() + " failed after " + std::to_string(total) + " bytes");
    if (n == 0) return total;
    out.write(buffer.data(), n);
    total += static_cast<std::uint64_t>(n);
    if (progress) progress->Add(static_cast<std::uint64_t>(n));
  }
}

std::string ReadWholeFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw UsageError("cannot read " + path);
  std::ostringstream bytes;
  bytes << in.rdbuf();
  if (in.bad()) throw UsageError("reading " + path + " failed");
  return bytes.str();
}

std::string ReadDocument(const std::string& location, CFnx_Dal_Configuration* config) {
  CFnx_Dal_Storage document(location);
  document.OpenForReading(config);
  std::ostringstream bytes;
  CopyDocumentTo(document, bytes, nullptr);
  document.Close(false);
  return bytes.str();
}

std::string StoreOnDisk(CFnx_Dal_Configuration& disk, const std::string& bytes) {
  CFnx_Dal_Storage document;
  document.OpenForWriting("disk", &disk);
  std::uint32_t written = 0;
  if (!document.Write(bytes.data(), static_cast<std::uint32_t>(bytes.size()), written, -1) ||
      written != bytes.size()) {
    document.Close(true);
    throw UsageError("storing a document of " + std::to_string(bytes.size()) + " bytes failed");
  }
  document.Close(false);
  return document.GetName();
}

std::string MediaOf(const std::string& location) {
  std::vector<std::string> files;
  ParseStorageLocation(location, files);
  std::string media;
  for (const std::string& file : files) {
    std::string fileMedia, path;
    std::int64_t from = 0, size = 0;
    if (!ParseFileLocation(file, fileMedia, path, from, size)) {
      // Any other form is a bare path of a disk file.
      if (file.find('@') != std::string::npos) throw UsageError("not a location: " + location);
      fileMedia = "disk";
    }
    if (!media.empty() && fileMedia != media) throw UsageError("a location of two media: " + location);
    media = fileMedia;
  }
  if (media.empty()) throw UsageError("not a location: " + location);
  return media;
}

OutputFile::OutputFile(const std::string& path) : m_path(path), m_stream(&std::cout), m_owned(path == "-") {
  if (path == "-") {
    SetStdoutBinary();
    m_owned = false;
    return;
  }
  // The bytes go to a side file first, so that a failed copy leaves no
  // half-written output under the name the user gave.
  auto* file = new std::ofstream(path + ".part", std::ios::binary | std::ios::trunc);
  if (!*file) {
    delete file;
    throw UsageError("cannot write " + path);
  }
  m_stream = file;
  m_owned = true;
}

OutputFile::~OutputFile() {
  if (!m_owned) return;
  delete m_stream;
  std::error_code ignored;
  std::filesystem::remove(m_path + ".part", ignored);
}

std::ostream& OutputFile::stream() { return *m_stream; }

void OutputFile::Finish() {
  m_stream->flush();
  if (!*m_stream) throw UsageError("writing " + m_path + " failed");
  if (!m_owned) return;
  delete m_stream;
  m_stream = nullptr;
  m_owned = false;
  std::error_code error;
  std::filesystem::rename(m_path + ".part", m_path, error);
  if (error) throw UsageError("cannot write " + m_path + ": " + error.message());
}

}  // namespace fnxdal
