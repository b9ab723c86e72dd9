// ParseMediaLocation: what a stored location tells about its media.
#include "dal_storage.h"

bool ParseMediaLocation(const std::string& mediaName, const std::string& location, std::string& dasName,
                        std::string& configName, std::string& volumeId) {
  (void)mediaName;
  (void)location;
  dasName.clear();
  configName.clear();
  volumeId.clear();
  return false;
}
