// Feeds arbitrary bytes to every parser of stored locations: none may crash,
// read out of bounds or throw anything but FNXError.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "dal_storage.h"
#include "fnx_error.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  std::string media, path;
  std::int64_t from = 0, length = 0;
  ParseFileLocation(text, media, path, from, length);
  std::vector<std::string> tokens;
  ParseStorageLocation(text, tokens);
  std::string das, config, volume;
  ParseMediaLocation("tape", text, das, config, volume);
  try {
    CFnx_Dal_Storage document(text);
    (void)document.GetSize();
  } catch (const FNXError&) {
  }
  return 0;
}
