// Feeds arbitrary bytes to the tape location string: taking it apart never
// reads out of bounds, a string too short is refused by std::out_of_range
// alone, and a string without NUL bytes is given back exactly as it came.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "dal_storage.h"
#include "dal_tape_format.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  CFnx_Dal_Tape_Location location;
  try {
    location.get_from_string(text);
  } catch (const std::out_of_range&) {
    if (size >= kTapeLocationHeadSize) std::abort();  // refused a string long enough
    std::string das, config, volume;
    if (ParseMediaLocation("tape", text, das, config, volume)) std::abort();
    return 0;
  }
  std::string again;
  location.put_to_string(again);
  if (text.find('\0') == std::string::npos && again != text) std::abort();

  std::string das, config;
  tape_file_label_basic label;
  try {
    location.parse_location(das, config, label);
  } catch (const std::out_of_range&) {
    // A label string that ends before one of its fields begins.
  }
  if (das.size() > kTapeLocationDasSize || config.size() > kTapeLocationNameSize) std::abort();
  std::string volume;
  if (ParseMediaLocation("tape", text, das, config, volume) && volume.size() != kTapeVolumeIdSize) std::abort();
  return 0;
}
