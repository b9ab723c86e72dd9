#pragma once
// DAFile: one stored file of a document. Owns its media object, knows where
// in the document it begins (m_from) and how long it is (m_size), and turns
// the handle's calls into media calls.
#include <cstdint>
#include <string>

class CFnx_Dal_Configuration;
class DAMedia;
struct migrate_parameters;

class DAFile {
 public:
  DAFile();
  // location: a file location (parse true) or a bare disk path (parse false).
  DAFile(const std::string& location, bool parse);
  DAFile(const DAFile& other);
  DAFile& operator=(const DAFile&) = delete;
  ~DAFile();

  // A new file: the media of that name chooses its place.
  void OpenForWriting(const std::string& mediaType, CFnx_Dal_Configuration* config,
                      const std::string& extension);
  // The file named by the location; create: it must not exist yet.
  void OpenForWriting(bool create);
  void OpenForUpdate();
  void OpenForReading(CFnx_Dal_Configuration* config);
  void SetLocation();
  void InitMedia(const std::string& mediaType);

  // media@path | media@path,from,size | media@a,b,from,size (path: the whole
  // location). false for any other form; media stays empty without one "@".
  static bool ParseLocation(const std::string& location, std::string& media, std::string& path,
                            std::int64_t& from, std::int64_t& size);

  // media@location,from,size with the media's present size.
  std::string GetFileName();
  bool Write(const char* data, std::uint32_t length, std::uint32_t& written, std::int64_t offset);
  // position: a document position, or -1 for the start of this file.
  bool Read(char* buffer, std::uint32_t length, std::uint32_t& read, std::int64_t position);
  std::int32_t Delete();
  std::int64_t GetFileSize();
  bool Resize(std::int64_t size);
  void GetFilePath(std::string& path);
  void Close();
  int write_file_to_centera(std::string target, std::string& result, migrate_parameters& parameters);

  std::int64_t GetFrom() const { return m_from; }
  void SetFrom(std::int64_t from) { m_from = from; }

 private:
  void RequirePath(const char* context) const;

  std::string m_path;   // media's own terms; empty until located or opened
  std::int64_t m_from;  // document position of the first byte
  std::int64_t m_size;  // 0: not measured yet
  DAMedia* m_media;     // owned; null until InitMedia
};
