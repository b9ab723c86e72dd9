#include "tape_test_drive.h"

#include <vector>

#include "dal_tape_dev_win32.h"
#include "fake_tape_drive.h"
#include "fnx_vtape.h"
#include "temp_dir.h"
#include "vtape_cartridge.h"
#include "vtape_library.h"

namespace {

class FakeTestDrive final : public TapeTestDrive {
 public:
  explicit FakeTestDrive(const TapeDriveShape& shape) : m_drive(shape.block_size) {
    for (std::size_t i = 0; i < shape.cartridges; ++i) {
      m_cartridges.push_back(std::make_shared<FakeCartridge>());
      m_cartridges.back()->end_of_medium = shape.end_of_medium;
    }
    Insert(0);
  }
  std::string DeviceName() const override { return "fake0"; }
  std::unique_ptr<CFnx_Dal_TapeDev> Device(CFnx_Dal_ConfigurationTape& config) override {
    return std::make_unique<FakeTapeDev>(config, m_drive);
  }
  void Insert(std::size_t cartridge) override {
    m_drive.Insert(m_cartridges.at(cartridge));
    m_loaded = cartridge;
  }
  std::size_t Loaded() const override { return m_loaded; }
  std::uint32_t Position() const override { return m_drive.position(); }
  std::string Block(std::size_t cartridge, std::uint32_t n) const override {
    return m_cartridges.at(cartridge)->blocks.at(n);
  }

 private:
  FakeTapeDrive m_drive;
  std::vector<std::shared_ptr<FakeCartridge>> m_cartridges;
  std::size_t m_loaded = 0;
};

// Its cartridges are C001, C002, ...; the early-warning zone begins at the
// shape's end of the medium, where the first write fails as the fake's does.
class VirtualTestDrive final : public TapeTestDrive {
 public:
  explicit VirtualTestDrive(const TapeDriveShape& shape) : m_block_size(shape.block_size) {
    FnxVtapeLibraryShape library;
    library.cartridges = static_cast<unsigned>(shape.cartridges);
    library.blockSize = shape.block_size;
    library.warningBytes = 64ull * shape.block_size;
    library.capacityBytes = std::uint64_t{shape.end_of_medium} * shape.block_size + library.warningBytes;
    FnxVtapeCreateLibrary(m_library, library);
    Insert(0);
  }
  std::string DeviceName() const override { return "vtape:" + m_library; }
  std::unique_ptr<CFnx_Dal_TapeDev> Device(CFnx_Dal_ConfigurationTape& config) override {
    return std::make_unique<CFnx_Dal_TapeDevWin32>(config);
  }
  void Insert(std::size_t cartridge) override {
    FnxVtapeInsert(m_library, Name(cartridge));
    m_loaded = cartridge;
  }
  std::size_t Loaded() const override { return m_loaded; }
  std::uint32_t Position() const override {
    return static_cast<std::uint32_t>(FnxVtapeGetStatus(m_library).position);
  }
  std::string Block(std::size_t cartridge, std::uint32_t n) const override {
    vtape_cartridge image;
    image.open(vtape_library(m_library).image_path(Name(cartridge)), Name(cartridge), m_block_size,
               /*for_writing=*/false);
    std::string block(m_block_size, '\0');
    if (n >= image.end_of_data() || image.read(n, 1, block.data()) != 0) return std::string();
    return block;
  }

 private:
  static std::string Name(std::size_t cartridge) {
    std::string number = std::to_string(cartridge + 1);
    return "C" + std::string(3 - number.size(), '0') + number;
  }

  TempDir m_dir;
  std::string m_library = m_dir.Join("library");
  std::uint32_t m_block_size;
  std::size_t m_loaded = 0;
};

}  // namespace

std::unique_ptr<TapeTestDrive> MakeFakeTestDrive(const TapeDriveShape& shape) {
  return std::make_unique<FakeTestDrive>(shape);
}

std::unique_ptr<TapeTestDrive> MakeVirtualTestDrive(const TapeDriveShape& shape) {
  return std::make_unique<VirtualTestDrive>(shape);
}

std::string TapeDriveName(TapeDriveFactory factory) { return factory == &MakeFakeTestDrive ? "fake" : "virtual"; }
