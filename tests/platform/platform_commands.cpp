// The platform suite's commands of fnx_test_child (test_child.h).
#include <cstdlib>

#include "os_file.h"
#include "os_text.h"
#include "temp_dir.h"
#include "test_child.h"

namespace {

bool Lock(Osl_File& file, const std::string& path) {
  file.open(path, 0, OSL_ACCESS_READ_WRITE, 0);
  return file.add_lock(os_file_lock(1, 0, 0, 0), false);
}

}  // namespace

int HoldLock(const ChildArgs& args) {
  Osl_File file;
  if (!Lock(file, args[0])) return 1;
  WriteFile(args[1], "");
  HoldUntil(args.size() > 2 ? args[2] : "");
  return 0;
}

int TryLock(const ChildArgs& args) {
  Osl_File file;
  return Lock(file, args[0]) ? 0 : 1;
}

int WriteRandomNumbers(const ChildArgs& args) {
  std::string text;
  for (long i = std::atol(args[0].c_str()); i > 0; --i) text += RandomNumber() + "\n";
  WriteFile(args[1], text);  // the parent counts the lines
  return 0;
}
