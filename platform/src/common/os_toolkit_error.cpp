// The toolkit's exceptions, alike on every platform; only the error text
// and numbers come from the platform (os_error_text, os_error_invalid_name).
#include "os_toolkit_error.h"

os_toolkit_error::os_toolkit_error(const std::string& what, std::uint32_t native)
    : std::runtime_error(what), m_native(native) {}
os_toolkit_error::~os_toolkit_error() = default;
os_file_toolkit_error::~os_file_toolkit_error() = default;
os_io_toolkit_error::~os_io_toolkit_error() = default;

namespace {

std::string ErrorText(const char* context, const std::string& path, std::uint32_t error) {
  return std::string(context) + " '" + path + "': " + os_error_text(error);
}

}  // namespace

os_file_toolkit_error os_file_error(const char* context, const std::string& path, std::uint32_t error) {
  return os_file_toolkit_error(ErrorText(context, path, error), error);
}

os_io_toolkit_error os_io_error(const char* context, const std::string& path, std::uint32_t error) {
  return os_io_toolkit_error(ErrorText(context, path, error), error);
}

bool os_path_usable(const std::string& path) { return !path.empty() && path.find('\0') == std::string::npos; }

const char* os_file_path(const char* context, const std::string& path) {
  // An empty path is left to the platform, which names its own error for it.
  if (path.find('\0') == std::string::npos) return path.c_str();
  std::string shown;  // the NUL made visible: what() would end at it
  for (const char c : path) shown += c == '\0' ? std::string("\\0") : std::string(1, c);
  throw os_file_error(context, shown, os_error_invalid_name);
}
