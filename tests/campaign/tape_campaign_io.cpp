// Writing and restoring one document on tape through the storage handle.
#include <algorithm>

#include "dal_storage.h"
#include "dal_tape_dev.h"
#include "tape_campaign.h"

CFnx_Dal_ConfigurationTape& TapeRunConfig(CFnx_Dal_ConfigurationTape& config, const std::string& library,
                                          const std::string& name) {
  CFnx_Dal_ConfigValues values;
  values.m_type = 7;
  values.m_name = name;
  values.m_dasName = "DAS_CAMPAIGN";
  values.m_volumeName = "CAMPAIGN";
  values.m_deviceName = "vtape:" + library;
  values.m_newVolume1 = true;
  config.SetValues(values);
  return config;
}

std::string WriteTapeDocument(const std::string& bytes, CFnx_Dal_ConfigurationTape& config, int attempts,
                              std::vector<std::string>& failures) {
  constexpr std::size_t kChunk = 96 * 1024;
  for (int attempt = 0; attempt < attempts; ++attempt) {
    try {
      CFnx_Dal_Storage handle;
      handle.OpenForWriting("tape", &config);
      bool whole = true;
      for (std::size_t done = 0; whole && done < bytes.size();) {
        const auto piece = static_cast<std::uint32_t>(std::min(kChunk, bytes.size() - done));
        std::uint32_t written = 0;
        whole = handle.Write(bytes.data() + done, piece, written, -1) && written == piece;
        done += written;
      }
      if (!whole) continue;  // the end of the medium: anew, on the next volume
      // The early warning leaves room for the end label: the caller closes
      // once more; at the physical end that fails too, and the document
      // goes anew to the next volume.
      for (int close = 0; close < 2; ++close) {
        try {
          handle.Close(false);
          return handle.GetName();
        } catch (const end_of_tape_error&) {
        }
      }
    } catch (const FNXError& error) {
      failures.push_back(error.Text());
    }
  }
  return {};
}

std::string RestoreTapeDocument(const AnnouncedDocument& document, CFnx_Dal_ConfigurationTape& config) {
  try {
    CFnx_Dal_Storage handle(document.location);
    if (!handle.OpenForReading(&config)) return "open for reading refused";
    if (handle.GetSize() != static_cast<std::int64_t>(document.size)) {
      return "size " + std::to_string(handle.GetSize()) + ", written " + std::to_string(document.size);
    }
    std::string restored;
    std::string piece(1 << 20, '\0');
    for (std::int32_t got; (got = handle.Read(piece.data(), static_cast<std::uint32_t>(piece.size()), 0)) != 0;) {
      if (got < 0) return "read failed at byte " + std::to_string(restored.size());
      restored.append(piece.data(), static_cast<std::size_t>(got));
    }
    handle.Close(false);
    return restored == DocumentBytes(document.seed, document.size) ? "" : "content differs";
  } catch (const FNXError& error) {
    return error.Text();
  }
}

std::string VolumeOf(const std::string& location) {
  std::vector<std::string> files;
  ParseStorageLocation(location, files);
  std::string media, path, das, configName, volume;
  std::int64_t from = 0, size = 0;
  if (files.size() != 1 || !ParseFileLocation(files[0], media, path, from, size)) return {};
  ParseMediaLocation(media, path, das, configName, volume);
  return volume;
}
