// The platform suite's commands of fnx_test_child (test_child.h).
#include <cstdlib>

#include "os_text.h"
#include "temp_dir.h"
#include "test_child.h"

int WriteRandomNumbers(const ChildArgs& args) {
  std::string text;
  for (long i = std::atol(args[0].c_str()); i > 0; --i) text += RandomNumber() + "\n";
  WriteFile(args[1], text);  // the parent counts the lines
  return 0;
}
