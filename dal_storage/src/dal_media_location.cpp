// ParseMediaLocation: what a stored location tells about its media.
#include <stdexcept>

#include "dal_storage.h"
#include "dal_tape_format.h"

bool ParseMediaLocation(const std::string& mediaName, const std::string& location, std::string& dasName,
                        std::string& configName, std::string& volumeId) {
  dasName.clear();
  configName.clear();
  volumeId.clear();
  if (mediaName != "tape") return false;
  try {
    CFnx_Dal_Tape_Location tapeLocation;
    tapeLocation.get_from_string(location);
    tape_file_label_basic label;
    tapeLocation.parse_location(dasName, configName, label);
    // Name, date, separator and time; the separator stays blank, since a
    // location does not carry it.
    volumeId.assign(label.m_vol_id.volume_name, kTapeVolumeIdSize);
    return true;
  } catch (const std::out_of_range&) {
    // Too short to be a tape location: a refusal, not a failure.
    dasName.clear();
    configName.clear();
    return false;
  }
}
