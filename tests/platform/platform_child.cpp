// The second process of the platform suite:
//   hold-lock <file> <ready> [<release>]: lock, create <ready>, hold until <release> exists
//   try-lock <file>: exit 0 when the whole-file lock is granted
//   random <count> <out>: write <count> RandomNumber texts, one a line
// Exit 1 when a lock is refused, 2 on any failure, 64 on bad usage.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include "child_process.h"
#include "os_file.h"
#include "os_text.h"
#include "osl_directory.h"
#include "temp_dir.h"

namespace {

bool Lock(Osl_File& file, const std::string& path) {
  file.open(path, 0, OSL_ACCESS_READ_WRITE, 0);
  return file.add_lock(os_file_lock(1, 0, 0, 0), false);
}

int HoldLock(const std::string& path, const std::string& ready, const std::string& release) {
  Osl_File file;
  if (!Lock(file, path)) return 1;
  WriteFile(ready, "");
  // A child left behind by a crashed test ends by itself.
  WaitUntil([&] { return !release.empty() && Osl_File_System::exists(release); }, std::chrono::minutes(2));
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string command = argc > 1 ? argv[1] : "";
  try {
    if (command == "hold-lock" && (argc == 4 || argc == 5)) {
      return HoldLock(argv[2], argv[3], argc == 5 ? argv[4] : "");
    }
    if (command == "try-lock" && argc == 3) {
      Osl_File file;
      return Lock(file, argv[2]) ? 0 : 1;
    }
    if (command == "random" && argc == 4) {
      std::string text;
      for (long i = std::atol(argv[2]); i > 0; --i) text += RandomNumber() + "\n";
      WriteFile(argv[3], text);  // the parent counts the lines
      return 0;
    }
  } catch (const std::exception& error) {
    std::fprintf(stderr, "platform_child %s: %s\n", command.c_str(), error.what());
    return 2;
  }
  std::fprintf(stderr, "usage: platform_child hold-lock|try-lock|random ...\n");
  return 64;
}
