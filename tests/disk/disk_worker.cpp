// dal_disk_worker: one process of the multi-process disk suite. Exit codes:
// 0 done, 1 bad arguments, 2 a failure (told on stderr).
//   write <root> <limit> <seed> <count> <list>: count new documents of seeded
//       content, 0 to 256 KiB, each announced in list once closed;
//       <list>.started is made before the first
//   delete <slot> <slots> <stop> <out> <list>...: deletes each announced
//       document whose place is slot modulo slots, recording it in out, until
//       stop exists and every announced document has been seen
//   holdlock <root> <marker> | holddoc <location> <marker>: takes the root's
//       lockfile, or opens a document for update; makes marker and blocks
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "dal_media_filesystem.h"
#include "dal_storage.h"
#include "disk_content.h"
#include "fnx_error.h"
#include "os_file.h"
#include "osl_directory.h"

namespace {

int WriteDocuments(const std::string& root, int limit, std::uint64_t seed, int count, const std::string& list) {
  CFnx_Dal_ConfigValues values;
  values.m_location = root;
  values.m_maxFilesPerDir = limit;
  std::unique_ptr<CFnx_Dal_Configuration> config(Create_Dal_Configuration("disk", values));
  std::mt19937_64 random(seed);
  AppendLine(list + ".started", "here");
  for (int i = 0; i < count; ++i) {
    const std::uint64_t documentSeed = seed * 1000003u + static_cast<std::uint64_t>(i);
    const std::size_t size = static_cast<std::size_t>(random() % (256 * 1024 + 1));
    const std::string content = DocumentBytes(documentSeed, size);
    CFnx_Dal_Storage document;
    if (!document.OpenForWriting("disk", config.get())) throw std::runtime_error("open refused");
    // One to three calls, so that writes go on where the last one ended.
    std::size_t done = 0;
    const int calls = 1 + static_cast<int>(random() % 3);
    for (int call = 1; call <= calls; ++call) {
      const std::size_t piece = call == calls ? size - done : (size - done) / 2;
      std::uint32_t written = 0;
      if (!document.Write(content.data() + done, static_cast<std::uint32_t>(piece), written, -1) || written != piece) {
        throw std::runtime_error("short write of " + document.GetName());
      }
      done += piece;
    }
    document.Close(false);
    AppendLine(list, document.GetName() + "\t" + std::to_string(documentSeed) + "\t" + std::to_string(size));
  }
  return 0;
}

int DeleteDocuments(std::size_t slot, std::size_t slots, const std::string& stop, const std::string& out,
                    const std::vector<std::string>& lists) {
  std::map<std::string, std::size_t> seen;
  int failures = 0;
  for (;;) {
    const bool last = Osl_File_System::exists(stop);  // writers are done: this pass sees everything
    bool progress = false;
    for (const std::string& list : lists) {
      const std::vector<AnnouncedDocument> documents = ReadAnnouncements(list);
      for (std::size_t j = seen[list]; j < documents.size(); ++j) {
        progress = true;
        if (j % slots != slot) continue;
        if (CFnx_Dal_Storage(documents[j].location).Delete() != 0) {
          std::cerr << "delete failed: " << documents[j].location << "\n";
          ++failures;
        } else {
          AppendLine(out, documents[j].location);
        }
      }
      seen[list] = documents.size();
    }
    if (last) return failures == 0 ? 0 : 2;
    if (!progress) std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
}

[[noreturn]] void MarkAndBlock(const std::string& marker) {
  AppendLine(marker, "here");
  for (;;) std::this_thread::sleep_for(std::chrono::seconds(1));
}

int Run(const std::vector<std::string>& args) {
  const std::string mode = args.empty() ? "" : args[0];
  if (mode == "write" && args.size() == 6) {
    return WriteDocuments(args[1], std::atoi(args[2].c_str()), std::stoull(args[3]), std::atoi(args[4].c_str()),
                          args[5]);
  }
  if (mode == "delete" && args.size() >= 6) {
    return DeleteDocuments(std::stoul(args[1]), std::stoul(args[2]), args[3], args[4],
                           std::vector<std::string>(args.begin() + 5, args.end()));
  }
  if (mode == "holdlock" && args.size() == 3) {
    DAFileSystem::MakeDirectories(args[1]);
    Osl_File lockfile;
    lockfile.open(DAFileSystem::LockFilePath(args[1]), OSL_FILE_CREATE, OSL_ACCESS_READ_WRITE, 0);
    if (!lockfile.add_lock(os_file_lock(1, 0, 0, 0), /*wait=*/true)) throw std::runtime_error("lockfile refused");
    MarkAndBlock(args[2]);
  }
  if (mode == "holddoc" && args.size() == 3) {
    CFnx_Dal_Storage document(args[1]);
    if (!document.ReOpenForWriting()) throw std::runtime_error("open refused");
    MarkAndBlock(args[2]);
  }
  std::cerr << "usage: dal_disk_worker write|delete|holdlock|holddoc ...\n";
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Run(std::vector<std::string>(argv + 1, argv + argc));
  } catch (const FNXError& error) {
    std::cerr << "dal_disk_worker: " << error.Text() << " (code " << error.Code() << ")\n";
  } catch (const std::exception& error) {
    std::cerr << "dal_disk_worker: " << error.what() << "\n";
  }
  return 2;
}
