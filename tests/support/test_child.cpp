#include "test_child.h"

#include <chrono>
#include <cstdio>
#include <exception>

#include "bounded_wait.h"
#include "fnx_error.h"
#include "osl_directory.h"

namespace {

struct Command {
  const char* name;
  std::size_t least, most;  // arguments after the name
  int (*run)(const ChildArgs&);
};

const Command kCommands[] = {
    {"random", 2, 2, WriteRandomNumbers},
    {"write", 5, 5, WriteDocuments},
    {"delete", 5, 1000, DeleteDocuments},
    {"hold-lockfile", 2, 3, HoldLockfile},
    {"hold-document", 2, 3, HoldDocument},
    {"tape-restore", 3, 3, RestoreTapeDocuments},
    {"vtape-write", 2, 2, WriteTapeBlocks},
};

}  // namespace

void HoldUntil(const std::string& release) {
  WaitUntil([&] { return !release.empty() && Osl_File_System::exists(release); }, std::chrono::minutes(2));
}

int main(int argc, char** argv) {
  const std::string name = argc > 1 ? argv[1] : "";
  const ChildArgs args(argv + (argc > 1 ? 2 : 1), argv + argc);
  for (const Command& command : kCommands) {
    if (name != command.name || args.size() < command.least || args.size() > command.most) continue;
    try {
      return command.run(args);
    } catch (const FNXError& error) {
      std::fprintf(stderr, "fnx_test_child %s: %s (code %d)\n", name.c_str(), error.Text().c_str(), error.Code());
    } catch (const std::exception& error) {
      std::fprintf(stderr, "fnx_test_child %s: %s\n", name.c_str(), error.what());
    }
    return 2;
  }
  std::fprintf(stderr, "fnx_test_child: unknown command or wrong arguments: %s\n", name.c_str());
  return 64;
}
