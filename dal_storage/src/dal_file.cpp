#include "dal_file.h"

#include "dal_media.h"
#include "dal_throw.h"
#include "fnx_log.h"
#include "os_text.h"

namespace {
constexpr const char kSourceFile[] = "dal_storage/src/dal_file";
constexpr const char kCentera[] = "centera";
}  // namespace

DAFile::DAFile() : m_from(0), m_size(0), m_media(nullptr) {}

DAFile::DAFile(const std::string& location, bool parse) : m_from(0), m_size(0), m_media(nullptr) {
  CFnx_Dal_Trace trace("DAFile::DAFile(const string & location)");
  if (location.empty()) DAL_THROW("QRSDAL0501E", "DAFile::DAFile: ");
  std::string media;
  if (parse) {
    if (!ParseLocation(location, media, m_path, m_from, m_size)) {
      DAL_THROW("QRSDAL0502E", "DAFile::DAFile: ", media.empty() ? "media" : "size-from");
    }
  } else {
    media = "disk";
    m_path = location;
  }
  if (location.compare(0, 7, kCentera) == 0) media = kCentera;
  InitMedia(media);
}

DAFile::DAFile(const DAFile& other)
    : m_path(other.m_path), m_from(other.m_from), m_size(other.m_size), m_media(nullptr) {
  CFnx_Dal_Trace trace("DAFile::DAFile - copy Ctor");
  if (other.m_media) m_media = other.m_media->Clone();
}

DAFile::~DAFile() {
  CFnx_Dal_Trace trace("DAFile::~DAFile");
  delete m_media;
}

void DAFile::InitMedia(const std::string& mediaType) {
  CFnx_Dal_Trace trace("DAFile::InitMedia");
  DAMedia* media = CFnx_Dal_MediaFactory::Instance()->Create(mediaType);
  if (!media) DAL_THROW("QRSDAL0516E", "DAFile::InitMedia: ", mediaType);
  delete m_media;
  m_media = media;
}

bool DAFile::ParseLocation(const std::string& location, std::string& media, std::string& path,
                           std::int64_t& from, std::int64_t& size) {
  CFnx_Dal_Trace trace("DAFile::ParseLocation");
  media.clear();
  path.clear();
  from = 0;
  size = 0;
  if (location.empty()) return false;

  os_tokenizer tokenizer;
  std::vector<std::string> parts;
  tokenizer.separators("@");
  tokenizer.tokenize(location, parts);
  if (parts.size() != 2) return false;
  media = parts[0];

  std::vector<std::string> fields;
  tokenizer.separators(",");
  tokenizer.tokenize(parts[1], fields);
  switch (fields.size()) {
    case 1:
      path = fields[0];
      return true;
    case 3:
      path = fields[0];
      from = DalAtol(fields[1]);
      size = DalAtol(fields[2]);
      return true;
    case 4:  // a tape location carries commas of its own: the whole string is the path
      path = location;
      from = DalAtol(fields[2]);
      size = DalAtol(fields[3]);
      return true;
    default:
      return false;
  }
}

void DAFile::RequirePath(const char* context) const {
  if (m_path.empty()) DAL_THROW("QRSDAL0503E", context);
}

void DAFile::OpenForWriting(const std::string& mediaType, CFnx_Dal_Configuration* config,
                            const std::string& extension) {
  CFnx_Dal_Trace trace("DAFile::OpenForWriting(const string & mediaType, CFnx_Dal_Configuration * Config)");
  InitMedia(mediaType);
  m_media->OpenForWriting(config, extension);
  m_media->GetLocation(m_path);
}

void DAFile::OpenForWriting(bool create) {
  RequirePath("DAFile.OpenForWriting: ");
  m_media->OpenForWriting(m_path, create);
  if (m_size == 0) m_size = m_media->GetFileSize();
}

void DAFile::OpenForUpdate() {
  RequirePath("DAFile.OpenForUpdate: ");
  m_media->OpenForUpdate(m_path);
  if (m_size == 0) m_size = m_media->GetFileSize();
}

void DAFile::OpenForReading(CFnx_Dal_Configuration* config) {
  RequirePath("DAFile.OpenForReading: ");
  if (config) {
    m_media->OpenForReading(m_path, config);
  } else {
    m_media->OpenForReading(m_path);
  }
  if (m_size == 0) m_size = m_media->GetFileSize();
}

void DAFile::SetLocation() {
  RequirePath("DAFile.SetLocation: ");
  m_media->SetLocation(m_path);
}

std::string DAFile::GetFileName() {
  CFnx_Dal_Trace trace("DAFile::GetFileName");
  if (!m_media) return "@" + m_path + "," + tos(m_from) + "," + tos(m_size);
  std::string location;
  m_media->GetLocation(location);
  // A media that was never opened or located knows neither place nor size
  // yet; the file's own path and size keep the name one that reads back.
  if (location.empty()) return m_media->GetMediaName() + "@" + m_path + "," + tos(m_from) + "," + tos(m_size);
  return m_media->GetMediaName() + "@" + location + "," + tos(m_from) + "," + tos(m_media->GetFileSize());
}

bool DAFile::Write(const char* data, std::uint32_t length, std::uint32_t& written, std::int64_t offset) {
  CFnx_Dal_Trace trace("DAFile::Write");
  if (!m_media) return false;
  std::uint32_t counted = 0;
  if (!m_media->Write(data, length, written, counted, offset)) return false;
  m_size += counted;
  return true;
}

bool DAFile::Read(char* buffer, std::uint32_t length, std::uint32_t& read, std::int64_t position) {
  CFnx_Dal_Trace trace("DAFile::Read");
  if (!m_media) return false;
  if (position == -1) return m_media->Read(buffer, length, read, -1);
  if (m_from <= position && position < m_from + m_size) {
    // The start of the file goes as -1: the offset 0 would mean "where the
    // media stands", which after an earlier read is not the first byte.
    const std::int64_t offset = position == m_from ? -1 : position - m_from;
    return m_media->Read(buffer, length, read, offset);
  }
  read = 0;
  return true;
}

std::int32_t DAFile::Delete() {
  CFnx_Dal_Trace trace("DAFile::Delete");
  return m_media ? m_media->Delete() : -1;
}

std::int64_t DAFile::GetFileSize() {
  CFnx_Dal_Trace trace("DAFile::GetFileSize");
  if (m_size > 0 || !m_media) return m_size;
  return m_media->GetFileSize();
}

bool DAFile::Resize(std::int64_t size) {
  if (!m_media) return false;
  if (m_size == 0) m_size = m_media->GetFileSize();
  if (size >= m_size) return true;
  if (!m_media->Resize(size)) return false;
  m_size = size;
  return true;
}

void DAFile::GetFilePath(std::string& path) {
  if (!m_media) return;
  m_media->GetLocation(path);
  if (path.empty()) path = m_path;  // the media has no place yet: the file's own
}

void DAFile::Close() {
  if (m_media) m_media->Close();
}

int DAFile::write_file_to_centera(std::string target, std::string& result, migrate_parameters& parameters) {
  return m_media ? m_media->write_file_to_centera(target, result, parameters) : 0;
}
