// dal_tape_worker: one process of the tape suites that need several, a host
// of the exported interface only. Exit codes: 0 done, 1 bad arguments, 2 a
// failure (told on stderr), 3 out of time (an operator question nobody
// answers, a drive that hangs).
//   backup <device> <count> <seed> <locations>: a backup run on the tape in
//       the drive, labelled anew: count files of seeded content, one device
//       object per file, each file's location a line of locations
//   restore <device> <seed> <locations>: restores every file of locations,
//       one device object per file, and compares it with its seeded content
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include "dal_tape_dev_win32.h"

namespace {

constexpr auto kTimeLimit = std::chrono::seconds(120);

// Sizes that end inside a record, on a record's end and across several; the
// chunks the caller hands over vary with them.
constexpr std::size_t kSizes[] = {1, 65532, 65533, 300000, 4096, 2, 131064, 1000};
constexpr std::size_t kChunks[] = {4096, 65536, 1000, 100000};

std::string Content(std::size_t size, std::uint32_t seed) {
  std::string content(size, '\0');
  std::uint32_t state = seed * 2654435761u + 1;
  for (char& byte : content) {
    state = state * 1103515245u + 12345u;
    byte = static_cast<char>(state >> 16);
  }
  return content;
}

CFnx_Dal_ConfigValues RunValues(const std::string& device) {
  CFnx_Dal_ConfigValues values;
  values.m_type = 7;
  values.m_name = "tape-worker";
  values.m_dasName = "DAS_TEST";
  values.m_volumeName = "VOL_A";
  values.m_deviceName = device;
  return values;
}

int Backup(const std::string& device, int count, std::uint32_t seed, const std::string& locations) {
  CFnx_Dal_ConfigurationTape config;
  CFnx_Dal_ConfigValues values = RunValues(device);
  values.m_forceLabel = true;
  config.SetValues(values);
  CFnx_Dal_TapeDevWin32(config).BackupStart();
  config.GetValues(values);
  values.m_forceLabel = false;
  config.SetValues(values);

  std::ofstream out(locations, std::ios::binary | std::ios::trunc);
  for (int i = 0; i < count; ++i) {
    const std::string content = Content(kSizes[i % std::size(kSizes)], seed + static_cast<std::uint32_t>(i));
    const std::size_t chunk = kChunks[i % std::size(kChunks)];
    CFnx_Dal_TapeDevWin32 file_device(config);
    file_device.FileWriteStart();
    for (std::size_t done = 0; done < content.size();) {
      std::string piece = content.substr(done, chunk);
      std::uint32_t written = 0;
      if (!file_device.FileWrite(piece.data(), static_cast<std::uint32_t>(piece.size()), written) ||
          written != piece.size()) {
        std::cerr << "file " << i << ": " << written << " of " << piece.size() << " bytes taken at " << done << "\n";
        return 2;
      }
      done += piece.size();
    }
    CFnx_Dal_Tape_Location location;
    file_device.FileWriteEnd(location);
    std::string text;
    location.put_to_string(text);
    out << text << "\n";
  }
  CFnx_Dal_TapeDevWin32(config).BackupEnd();
  out.close();
  return out ? 0 : 2;
}

int Restore(const std::string& device, std::uint32_t seed, const std::string& locations) {
  std::ifstream in(locations, std::ios::binary);
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  if (lines.empty()) {
    std::cerr << "no locations in " << locations << "\n";
    return 2;
  }
  CFnx_Dal_ConfigurationTape config;
  config.SetValues(RunValues(device));
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const std::string expected = Content(kSizes[i % std::size(kSizes)], seed + static_cast<std::uint32_t>(i));
    CFnx_Dal_Tape_Location location;
    location.get_from_string(lines[i]);
    CFnx_Dal_TapeDevWin32 file_device(config);
    file_device.ReadStart(location);
    std::string restored;
    std::string piece(65536, '\0');
    for (std::uint32_t read = 65536; read == piece.size();) {
      file_device.ReadRead(piece.data(), static_cast<std::uint32_t>(piece.size()), read);
      restored.append(piece.data(), read);
    }
    file_device.ReadEnd();
    if (restored != expected) {
      std::cerr << "file " << i << " at " << lines[i] << ": " << restored.size() << " bytes restored, "
                << expected.size() << " written, contents "
                << (restored.size() == expected.size() ? "differ" : "of other length") << "\n";
      return 2;
    }
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  std::thread([] {
    std::this_thread::sleep_for(kTimeLimit);
    std::cerr << "dal_tape_worker: out of time\n";
    std::_Exit(3);
  }).detach();
  const std::vector<std::string> args(argv + 1, argv + argc);
  try {
    if (args.size() == 5 && args[0] == "backup")
      return Backup(args[1], std::stoi(args[2]), static_cast<std::uint32_t>(std::stoul(args[3])), args[4]);
    if (args.size() == 4 && args[0] == "restore")
      return Restore(args[1], static_cast<std::uint32_t>(std::stoul(args[2])), args[3]);
  } catch (const FNXError& error) {
    std::cerr << args[0] << ": " << error.Text() << " (code " << error.Code() << ", " << error.SourceFile() << ":"
              << error.Line() << ")\n";
    return 2;
  } catch (const std::exception& error) {
    std::cerr << args[0] << ": " << error.what() << "\n";
    return 2;
  }
  std::cerr << "usage: dal_tape_worker backup <device> <count> <seed> <locations>\n"
               "       dal_tape_worker restore <device> <seed> <locations>\n";
  return 1;
}
