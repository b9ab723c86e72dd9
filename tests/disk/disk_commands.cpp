// The disk suites' commands of fnx_test_child (test_child.h).
#include <chrono>
#include <cstdint>
#include <cstdlib>
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
#include "os_file.h"
#include "osl_directory.h"
#include "test_child.h"

int WriteDocuments(const ChildArgs& args) {
  const std::string& root = args[0];
  const int limit = std::atoi(args[1].c_str());
  const std::uint64_t seed = std::stoull(args[2]);
  const int count = std::atoi(args[3].c_str());
  const std::string& list = args[4];
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
    AppendLine(list, StoreInPieces(*config, content, random) + "\t" + std::to_string(documentSeed) + "\t" + std::to_string(size));
  }
  return 0;
}

int DeleteDocuments(const ChildArgs& args) {
  const std::size_t slot = std::stoul(args[0]);
  const std::size_t slots = std::stoul(args[1]);
  const std::string& stop = args[2];
  const std::string& out = args[3];
  const std::vector<std::string> lists(args.begin() + 4, args.end());
  std::map<std::string, std::size_t> seen;
  int failures = 0;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(2);  // a parent gone
  while (std::chrono::steady_clock::now() < deadline) {
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
  std::cerr << "delete: the writers never finished\n";
  return 2;
}

int HoldLockfile(const ChildArgs& args) {
  DAFileSystem::MakeDirectories(args[0]);
  Osl_File lockfile;
  lockfile.open(DAFileSystem::LockFilePath(args[0]), OSL_FILE_CREATE, OSL_ACCESS_READ_WRITE, 0);
  if (!lockfile.add_lock(os_file_lock(1, 0, 0, 0), /*wait=*/true)) return 1;
  AppendLine(args[1], "here");
  HoldUntil(args.size() > 2 ? args[2] : "");
  return 0;
}

int HoldDocument(const ChildArgs& args) {
  CFnx_Dal_Storage document(args[0]);
  if (!document.ReOpenForWriting()) return 1;
  AppendLine(args[1], "here");
  HoldUntil(args.size() > 2 ? args[2] : "");
  return 0;
}
