// The toolkit's exceptions, alike on every platform; only the error text
// comes from the platform (os_error_text).
#include "os_toolkit_error.h"

os_toolkit_error::os_toolkit_error(const std::string& what, std::uint32_t native)
    : std::runtime_error(what), m_native(native) {}
os_toolkit_error::~os_toolkit_error() = default;
os_file_toolkit_error::~os_file_toolkit_error() = default;
os_io_toolkit_error::~os_io_toolkit_error() = default;

os_file_toolkit_error os_file_error(const char* context, const std::string& path, std::uint32_t error) {
  return os_file_toolkit_error(std::string(context) + " '" + path + "': " + os_error_text(error), error);
}
