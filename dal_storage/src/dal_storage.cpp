#include "dal_storage.h"

#include <algorithm>
#include <memory>
#include <new>

#include "dal_file.h"
#include "dal_media.h"
#include "dal_throw.h"
#include "fnx_log.h"
#include "os_text.h"

namespace {
constexpr const char kSourceFile[] = "dal_storage/src/dal_storage";
constexpr const char kTape[] = "tape";

// Opens each file in list order; when one fails, the files opened before it
// are closed again, so that no lock of theirs outlives the failed call.
template <typename Open>
void OpenEach(const std::list<DAFile*>& files, Open open) {
  auto file = files.begin();
  try {
    for (; file != files.end(); ++file) open(**file);
  } catch (...) {
    for (auto opened = files.begin(); opened != file; ++opened) {
      try {
        (*opened)->Close();
      } catch (...) {
        // The failed open is what the caller hears of.
      }
    }
    throw;
  }
}

}  // namespace

CFnx_Dal_Storage::CFnx_Dal_Storage() { Init(); }

CFnx_Dal_Storage::CFnx_Dal_Storage(const std::string& location) {
  CFnx_Dal_Trace trace("CFnx_Dal_Storage::CFnx_Dal_Storage(const string & location)");
  std::string normalised = location;
  DalParsePathSeparators(normalised);
  Init();
  m_fixedLocation = true;
  try {
    InitLocation(normalised);
  } catch (...) {
    Close(true);  // a constructor that throws leaves no files behind
    throw;
  }
}

// The copy's media objects are new and unopened, so the copy starts closed
// and must be opened before it reads or writes. A copy with files names a
// stored document and, like a located handle, never gains a file.
CFnx_Dal_Storage::CFnx_Dal_Storage(const CFnx_Dal_Storage& other)
    : m_position(other.m_position),
      m_isOpen(false),
      m_mediaType(other.m_mediaType),
      m_config(other.m_config),
      m_fileCreateFlag(false),
      m_fixedLocation(!other.m_files.empty()) {
  CFnx_Dal_Trace trace("CFnx_Dal_Storage::CFnx_Dal_Storage - copy Ctor");
  try {
    for (const DAFile* file : other.m_files) {
      std::unique_ptr<DAFile> copy;
      try {
        copy = std::make_unique<DAFile>(*file);
      } catch (const std::bad_alloc&) {
        DAL_THROW("QRSDAL0005E", "CFnx_Dal_Storage: ");
      }
      m_files.push_back(copy.release());
    }
  } catch (...) {
    Close(true);
    throw;
  }
}

CFnx_Dal_Storage::~CFnx_Dal_Storage() {
  CFnx_Dal_Trace trace("CFnx_Dal_Storage::~CFnx_Dal_Storage");
  try {
    Close(true);
  } catch (...) {
    // A destructor must not throw; the media have released what they hold.
  }
}

CFnx_Dal_Storage& CFnx_Dal_Storage::operator=(const CFnx_Dal_Storage& other) {
  if (this == &other) return *this;
  CFnx_Dal_Storage copy(other);
  Close(true);
  std::swap(m_files, copy.m_files);
  m_position = copy.m_position;
  m_isOpen = copy.m_isOpen;
  m_mediaType = copy.m_mediaType;
  m_config = copy.m_config;
  m_fileExtension = other.m_fileExtension;
  m_fileCreateFlag = other.m_fileCreateFlag;
  m_fixedLocation = copy.m_fixedLocation;
  return *this;
}

void CFnx_Dal_Storage::Init() {
  m_position = 0;
  m_isOpen = false;
  m_config = nullptr;
  m_fixedLocation = false;
}

void CFnx_Dal_Storage::ParseLocation(const std::string& location, std::vector<std::string>& tokens) {
  CFnx_Dal_Trace trace("CFnx_Dal_Storage::ParseLocation");
  os_tokenizer tokenizer;
  tokenizer.separators("#");
  tokenizer.tokenize(location, tokens);
}

void CFnx_Dal_Storage::InitLocation(const std::string& location) {
  CFnx_Dal_Trace trace("CFnx_Dal_Storage::InitLocation");
  static const char* const kMediaNames[] = {"disk", "tape", "centera"};
  const bool prefixed = std::any_of(std::begin(kMediaNames), std::end(kMediaNames), [&](const char* name) {
    return location.rfind(std::string(name) + "@", 0) == 0;
  });
  const bool list = prefixed && location.back() == '#';

  std::vector<std::string> tokens;
  if (list) {
    ParseLocation(location, tokens);
    if (tokens.empty()) {
      DAL_THROW("QRSDAL0510E", "CFnx_Dal_Storage::InitLocation: ", location);
    }
  } else {
    tokens.push_back(location);
  }
  for (const std::string& token : tokens) {
    std::unique_ptr<DAFile> file;
    try {
      file = std::make_unique<DAFile>(token, list);
    } catch (const std::bad_alloc&) {
      DAL_THROW("QRSDAL0005E", "CFnx_Dal_Storage::InitLocation: ");
    }
    m_files.push_back(file.release());
  }
}

void CFnx_Dal_Storage::ResetLocation(const std::string& location) {
  Close(true);
  Init();
  InitLocation(location);
}

bool CFnx_Dal_Storage::OpenForReading(CFnx_Dal_Configuration* config) {
  if (m_isOpen) return false;
  OpenEach(m_files, [config](DAFile& file) { file.OpenForReading(config); });
  m_isOpen = true;
  return true;
}

bool CFnx_Dal_Storage::OpenForWriting(const std::string& mediaType, CFnx_Dal_Configuration* config) {
  CFnx_Dal_Trace trace(
      "CFnx_Dal_Storage::OpenForWriting(const string & mediaType, CFnx_Dal_Configuration * Config)");
  if (m_isOpen) return false;
  // No configuration names no media: refused like a configuration of another one.
  const std::string configName = config ? config->GetName() : std::string();
  if (!config || configName != mediaType) {
    DAL_THROW("QRSDAL0507E", "CFnx_Dal_Storage::OpenForWriting: ", configName, mediaType);
  }
  m_mediaType = mediaType;
  m_config = config;
  if (m_files.empty()) {
    AppendNewFile("CFnx_Dal_Storage::OpenForWriting: ");
  } else {
    OpenEach(m_files, [this](DAFile& file) { file.OpenForWriting(m_fileCreateFlag); });
  }
  m_isOpen = true;
  return true;
}

bool CFnx_Dal_Storage::ReOpenForWriting() {
  CFnx_Dal_Trace trace("CFnx_Dal_Storage::ReOpenForWriting()");
  if (m_isOpen) return false;
  OpenEach(m_files, [](DAFile& file) { file.OpenForUpdate(); });
  m_isOpen = true;
  return true;
}

DAFile* CFnx_Dal_Storage::AppendNewFile(const char* context) {
  std::unique_ptr<DAFile> file;
  try {
    file = std::make_unique<DAFile>();
  } catch (const std::bad_alloc&) {
    DAL_THROW("QRSDAL0005E", context);
  }
  // A file whose open fails has no place: it never joins the list, so no
  // location names it and the document's earlier files stay readable.
  file->OpenForWriting(m_mediaType, m_config, m_fileExtension);
  m_files.push_back(file.release());
  return m_files.back();
}

DAFile* CFnx_Dal_Storage::FindTarget(std::int64_t position) const {
  for (DAFile* file : m_files) {
    if (position <= file->GetFrom() + file->GetFileSize()) return file;
  }
  return nullptr;
}

bool CFnx_Dal_Storage::Write(const char* data, std::uint32_t length, std::uint32_t& written,
                             std::int64_t position) {
  CFnx_Dal_Trace trace("CFnx_Dal_Storage::Write");
  written = 0;
  if (data == nullptr || length == 0) return true;

  DAFile* target = position == -1 ? (m_files.empty() ? nullptr : m_files.back()) : FindTarget(position);
  // A position before the file that would take it (below 0, or in a gap of
  // a parsed location) has no place in any file: the media would write at
  // wherever its file pointer stands and grow a file that another follows.
  if (!target || (position != -1 && position < target->GetFrom())) {
    DAL_THROW("QRSDAL0508E", "CFnx_Dal_Storage::Write: ", tos(position), tos(GetSize()));
  }
  auto current = std::find(m_files.begin(), m_files.end(), target);
  const DAFile* addedHere = nullptr;  // the file this call joined to the document, if any
  std::uint32_t remaining = length;
  std::uint32_t done = 0;
  while (remaining > 0) {
    const bool last = std::next(current) == m_files.end();
    const std::int64_t offset = position == -1 ? -1 : position - target->GetFrom();
    std::uint32_t amount = remaining;
    if (!last) {
      // A file that another follows never grows.
      const std::int64_t room = std::max<std::int64_t>(0, target->GetFileSize() - offset);
      amount = static_cast<std::uint32_t>(std::min<std::int64_t>(remaining, room));
    }
    std::uint32_t n = 0;
    if (amount > 0) {
      if (!target->Write(data + done, amount, n, offset)) {
        written = done;
        return false;
      }
      // A file just joined that takes nothing would make the loop add files
      // without end: report the stall as a failed transfer. A full file that
      // was there before is what a new file is for, and tape ends short below.
      if (n == 0 && target == addedHere) {
        written = done;
        return false;
      }
    }
    done += n;
    remaining -= n;
    written = done;  // what reached the media stays reported, also when a later step throws
    if (position != -1) position += n;
    if (remaining == 0) break;

    if (m_mediaType == kTape) break;  // the caller decides what to do with the rest
    if (!last) {
      target = *++current;
    } else if (m_fixedLocation || !m_config) {  // without a configuration no new file has a place
      DAL_THROW("QRSDAL0509E", "CFnx_Dal_Storage::Write: ");
    } else {
      target = AppendNewFile("CFnx_Dal_Storage::Write: ");
      current = std::prev(m_files.end());
      target->SetFrom(GetSize());
      addedHere = target;
    }
  }
  written = done;
  return true;
}

std::int32_t CFnx_Dal_Storage::Read(char* buffer, std::uint32_t length, std::int64_t position) {
  CFnx_Dal_Trace trace("CFnx_Dal_Storage::Read");
  if (position == 0) {
    position = m_position;
  } else {
    m_position = position;
  }
  // The count comes back as a long: a longer read is served short, and the
  // next read goes on from where it stopped.
  length = std::min<std::uint32_t>(length, INT32_MAX);
  const bool fromStart = position == -1;
  if (fromStart) {
    m_position = 0;
    position = 0;
  }
  std::int32_t total = 0;
  for (DAFile* file : m_files) {
    if (length == 0) break;
    if (position > file->GetFrom() + file->GetFileSize()) continue;
    std::uint32_t n = 0;
    if (!file->Read(buffer, length, n, fromStart ? -1 : position)) return -1;
    buffer += n;
    position += n;
    length -= n;
    total += static_cast<std::int32_t>(n);
    m_position += n;
  }
  return total;
}

void CFnx_Dal_Storage::Close(bool destroyFiles) {
  CFnx_Dal_Trace trace("CFnx_Dal_Storage::Close");
  try {
    for (DAFile* file : m_files) {
      if (m_isOpen) file->Close();
    }
  } catch (...) {
    // Files to be destroyed go also when one fails to close: kept, they
    // would hold what their media hold (a tape drive stays in use by this
    // process for good). Files that stay keep the handle open, so that the
    // caller can close again.
    if (destroyFiles) {
      DestroyFiles();
      m_isOpen = false;
    }
    throw;
  }
  if (destroyFiles) DestroyFiles();
  m_position = 0;
  m_isOpen = false;
}

void CFnx_Dal_Storage::DestroyFiles() {
  for (DAFile* file : m_files) delete file;
  m_files.clear();
  m_position = 0;
}

std::string CFnx_Dal_Storage::GetName() const {
  CFnx_Dal_Trace trace("CFnx_Dal_Storage::GetDocumentLocation");
  std::string name;
  for (DAFile* file : m_files) name += file->GetFileName() + "#";
  return name;
}

std::int64_t CFnx_Dal_Storage::GetSize() const {
  CFnx_Dal_Trace trace("CFnx_Dal_Storage::GetDocumentSize");
  std::int64_t size = 0;
  for (DAFile* file : m_files) size += file->GetFileSize();
  return size;
}

std::int32_t CFnx_Dal_Storage::Delete() {
  CFnx_Dal_Trace trace("CFnx_Dal_Storage::DeleteDocument");
  std::int32_t result = 0;
  for (DAFile* file : m_files) {
    file->SetLocation();
    if (file->Delete() != 0) result = -1;
  }
  return result;
}

bool CFnx_Dal_Storage::Resize(std::int64_t newSize) {
  // No document is shorter than empty: a negative size (-1 is "where the last
  // file stands" elsewhere) would otherwise delete every file.
  if (newSize < 0) return false;
  if (newSize >= GetSize()) return true;
  // The file that keeps the new end is cut first; the whole files behind it
  // go only when that succeeded, so a refused cut leaves the document whole.
  // The first file always stays, cut to nothing at the least: a document cut
  // to 0 still reads back, empty, under its name.
  std::size_t whole = 0;  // files at the back that go entirely
  auto keeper = m_files.rbegin();
  for (; std::next(keeper) != m_files.rend() && newSize <= (*keeper)->GetFrom(); ++keeper) ++whole;
  if (!(*keeper)->Resize(std::max<std::int64_t>(0, newSize - (*keeper)->GetFrom()))) return false;
  for (; whole > 0; --whole) {
    DAFile* file = m_files.back();
    file->SetLocation();  // a media never opened does not know its file yet
    file->Delete();
    m_files.pop_back();
    delete file;
  }
  return true;
}

void CFnx_Dal_Storage::GetFirstFilePath(std::string& path) const {
  if (!m_files.empty()) m_files.front()->GetFilePath(path);
}

void CFnx_Dal_Storage::SetFileExtension(const std::string& extension) { m_fileExtension = extension; }

void CFnx_Dal_Storage::SetFileCreateFlag(bool create) { m_fileCreateFlag = create; }

void CFnx_Dal_Storage::BackupStart(CFnx_Dal_Configuration* config) {
  const std::string name = config ? config->GetName() : std::string();  // no media has an empty name
  std::unique_ptr<DAMedia> media(CFnx_Dal_MediaFactory::Instance()->Create(name));
  if (!media) DAL_THROW("QRSDAL0516E", "CFnx_Dal_Storage::BackupStart: ", name);
  media->BackupStart(config);
}

void CFnx_Dal_Storage::BackupEnd(CFnx_Dal_Configuration* config) {
  const std::string name = config ? config->GetName() : std::string();  // no media has an empty name
  std::unique_ptr<DAMedia> media(CFnx_Dal_MediaFactory::Instance()->Create(name));
  if (!media) DAL_THROW("QRSDAL0516E", "CFnx_Dal_Storage::BackupEnd: ", name);
  media->BackupEnd(config);
}

int CFnx_Dal_Storage::write_file_to_centera(std::string target, std::string& result,
                                            migrate_parameters& parameters) {
  if (m_files.empty()) return 0;
  return m_files.front()->write_file_to_centera(std::move(target), result, parameters);
}

void ParseStorageLocation(const std::string& location, std::vector<std::string>& tokens) {
  CFnx_Dal_Storage::ParseLocation(location, tokens);
}

bool ParseFileLocation(const std::string& location, std::string& media, std::string& path, std::int64_t& from,
                       std::int64_t& size) {
  return DAFile::ParseLocation(location, media, path, from, size);
}
