// Feeds arbitrary cartridge images to the tape reader on the virtual drive:
// the input is the blocks of a cartridge of 512-byte blocks. The listing
// reads its labels, and every end label found is restored as the location a
// backup would have handed out for it. Nothing may crash, read out of bounds,
// hang, or throw anything but FNXError; every operator question is answered
// "Cancel" by a second thread.
//
// With FNX_TAPE_SEEDS=<directory> set, the target instead writes a short
// backup run to the cartridge and leaves its image there as seeds, then ends.
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <list>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "dal_operator.h"
#include "dal_tape_dev_win32.h"
#include "dal_tape_lister.h"
#include "fnx_error.h"
#include "fnx_vtape.h"
#include "os_text.h"

namespace {

namespace fs = std::filesystem;

constexpr std::uint32_t kBlock = 512;
constexpr std::size_t kHeader = 4096;  // the image's own header, kept as the library made it
constexpr std::size_t kMostRestored = 1 << 20;

class Drive {
 public:
  Drive() : m_library((fs::temp_directory_path() / ("fnx_tape_reader_fuzz_" + RandomNumber())).string()) {
    FnxVtapeLibraryShape shape;
    shape.blockSize = kBlock;
    shape.capacityBytes = 4 << 20;
    FnxVtapeCreateLibrary(m_library, shape);
    m_cartridge = FnxVtapeGetStatus(m_library).cartridges.at(0).name;
    FnxVtapeInsert(m_library, m_cartridge);
    FnxVtapeRegisterName("\\\\.\\TAPE97", m_library);
    std::ifstream in(Image(), std::ios::binary);
    m_header.assign(kHeader, '\0');
    in.read(m_header.data(), kHeader);
    CFnx_Dal_ConfigValues values;
    values.m_type = 7;
    values.m_name = "fuzz";
    values.m_dasName = "DAS_FUZZ";
    values.m_volumeName = "FUZZ";
    values.m_deviceName = "vtape:" + m_library;
    m_config.SetValues(values);
    m_operator = std::thread([this] { Answer(); });
    try {
      CFnx_Dal_TapeDevWin32(m_config).Verify_Tape_Not_WriteProtected();  // takes the change of cartridge
    } catch (const FNXError&) {
    }
  }
  ~Drive() {
    m_stop = true;
    m_operator.join();
    std::error_code ignored;
    fs::remove_all(m_library, ignored);
  }

  void Load(const std::uint8_t* data, std::size_t size) {
    std::ofstream out(Image(), std::ios::binary | std::ios::trunc);
    out.write(m_header.data(), static_cast<std::streamsize>(m_header.size()));
    out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  }

  void ListAndRestore() {
    std::ostringstream listing;
    std::streambuf* const standard = std::cout.rdbuf(listing.rdbuf());
    try {
      dal_tape_lister("97");
    } catch (const FNXError&) {
    }
    std::cout.rdbuf(standard);

    std::vector<tape_file_label_basic> ends;
    try {
      CFnx_Dal_TapeDevWin32 device(m_config);
      tape_volume_label volume;
      device.GetVolumeLabel(volume);
      tape_file_label_basic label;
      while (ends.size() < 4 && device.GetNextEndLabel(label) == 1) ends.push_back(label);
    } catch (const FNXError&) {
    }
    for (const tape_file_label_basic& end : ends) Restore(end);
  }

  // A short backup run of three files; the blocks of the image go to directory.
  void WriteSeeds(const std::string& directory) {
    CFnx_Dal_ConfigValues values;
    m_config.GetValues(values);
    values.m_forceLabel = true;
    m_config.SetValues(values);
    CFnx_Dal_TapeDevWin32(m_config).BackupStart();
    for (std::size_t size : {700u, 1u, 3000u}) {
      CFnx_Dal_TapeDevWin32 device(m_config);
      device.FileWriteStart();
      std::string bytes(size, '\0');
      for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(i * 7 + size);
      std::uint32_t written = 0;
      device.FileWrite(bytes.data(), static_cast<std::uint32_t>(size), written);
      CFnx_Dal_Tape_Location location;
      device.FileWriteEnd(location);
    }
    CFnx_Dal_TapeDevWin32(m_config).BackupEnd();
    std::ifstream in(Image(), std::ios::binary);
    const std::string image((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    fs::create_directories(directory);
    std::ofstream(fs::path(directory) / "backup-of-three-files", std::ios::binary) << image.substr(kHeader);
    std::ofstream(fs::path(directory) / "volume-label-only", std::ios::binary) << image.substr(kHeader, kBlock);
  }

 private:
  std::string Image() const { return (fs::path(m_library) / (m_cartridge + ".tape")).string(); }

  void Restore(const tape_file_label_basic& end) {
    try {
      CFnx_Dal_Tape_Location location;
      location.set_from_end_label(end, "fuzz");
      CFnx_Dal_TapeDevWin32 device(m_config);
      device.ReadStart(location);
      std::string piece(65536, '\0');
      std::size_t total = 0;
      for (std::uint32_t read = 65536; read == piece.size() && total < kMostRestored; total += read) {
        device.ReadRead(piece.data(), static_cast<std::uint32_t>(piece.size()), read);
      }
      device.ReadEnd();
    } catch (const FNXError&) {
    }
  }

  // The console: "Cancel" to every question, whichever item asks (a
  // restore asks under the DAS name its location carries), so that no
  // restore waits.
  void Answer() {
    CFnx_Dal_Operator& table = CFnx_Dal_OperatorSingelton::Get();
    while (!m_stop) {
      std::list<CFnx_Dal_OperatorItemInfo> items;
      table.ListItems(items);
      for (const CFnx_Dal_OperatorItemInfo& item : items) {
        // Every answer is the same, so one given twice to a question that
        // was slow to take it does no harm; waiting for the question to go
        // could miss the next one, asked at once.
        if (item.getWaitingResponce()) table.SetOperatorResponce(item, 1);  // Retry, Cancel: the second
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }

  std::string m_library;
  std::string m_cartridge;
  std::string m_header;
  CFnx_Dal_ConfigurationTape m_config;
  std::atomic<bool> m_stop{false};
  std::thread m_operator;
};

Drive& TheDrive() {
  static Drive drive;
  return drive;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  if (const char* seeds = std::getenv("FNX_TAPE_SEEDS")) {
    TheDrive().WriteSeeds(seeds);
    std::exit(0);
  }
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Drive& drive = TheDrive();
  drive.Load(data, size);
  drive.ListAndRestore();
  return 0;
}
