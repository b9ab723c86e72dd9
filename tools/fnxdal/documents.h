#pragma once
// Moving a document's bytes between a stream and the storage handle.
#include <iosfwd>
#include <string>

#include "dal_storage.h"

namespace fnxdal {

class Progress;

// Reads the whole document from an open handle into out; returns its size.
// Throws UsageError when a read fails.
std::uint64_t CopyDocumentTo(CFnx_Dal_Storage& document, std::ostream& out, Progress* progress);
// The whole of a plain file; UsageError when it cannot be read.
std::string ReadWholeFile(const std::string& path);
// The whole of a stored document (config: null for disk, the tape
// configuration for tape).
std::string ReadDocument(const std::string& location, CFnx_Dal_Configuration* config);
// Stores bytes as a new disk document; returns its location.
std::string StoreOnDisk(CFnx_Dal_Configuration& disk, const std::string& bytes);

// The media name of every file of a location; UsageError for a malformed one.
std::string MediaOf(const std::string& location);
// Opens path for writing the bytes of a document ("-": standard output).
class OutputFile {
 public:
  explicit OutputFile(const std::string& path);
  ~OutputFile();
  std::ostream& stream();
  // Flushes; UsageError naming the file when a write failed.
  void Finish();

 private:
  std::string m_path;
  std::ostream* m_stream;
  bool m_owned;
};

}  // namespace fnxdal
