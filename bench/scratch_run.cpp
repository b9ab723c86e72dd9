#include "scratch_run.h"

#include <cstdio>
#include <exception>
#include <filesystem>
#include <system_error>

#include "fnx_error.h"
#include "os_text.h"

int RunInScratchDirectory(const char* program, const std::string& base,
                          const std::function<int(const std::string& dir)>& run) {
  namespace fs = std::filesystem;
  const fs::path parent = base.empty() ? fs::temp_directory_path() : fs::path(base);
  const std::string dir = (parent / (std::string(program) + "_" + RandomNumber())).string();
  int result = 2;
  try {
    result = run(dir);
  } catch (const FNXError& error) {
    std::fprintf(stderr, "%s: %s\n", program, error.Text().c_str());
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s: %s\n", program, error.what());
  }
  std::error_code ignored;
  fs::remove_all(dir, ignored);
  return result;
}
