// The management calls: each one a change of the library's state, or a look.
#include "fnx_vtape.h"

#include <cstdio>

#include "fnx_error.h"
#include "os_tape.h"
#include "os_tape_drive.h"
#include "osl_directory.h"
#include "vtape_cartridge.h"
#include "vtape_error.h"
#include "vtape_library.h"

namespace {

constexpr const char* kSource = "platform/src/vtape/fnx_vtape";

[[noreturn]] void Fail(std::uint32_t number, const std::string& text, int line) {
  throw FNXError(text, static_cast<std::int32_t>(number), 0, kSource, line);
}

// Runs a step and turns its vtape_error into the FNXError of the call.
template <typename Step>
auto Guarded(const char* call, const std::string& directory, int line, Step step) -> decltype(step()) {
  try {
    return step();
  } catch (const vtape_error& failure) {
    Fail(failure.number(), std::string(call) + " '" + directory + "': " + failure.what(), line);
  }
}

bool ValidBlockSize(std::uint32_t size) { return size == 0 || (size >= 512 && size <= 65536 && 65536 % size == 0); }

std::string CartridgeName(unsigned number) {
  char name[8];
  std::snprintf(name, sizeof name, "C%03u", number);
  return name;
}

vtape_cartridge_entry& Require(vtape_state& state, const std::string& cartridge) {
  vtape_cartridge_entry* entry = state.find(cartridge);
  if (!entry) throw vtape_error(OS_TAPE_FILE_NOT_FOUND, "no cartridge '" + cartridge + "' in the library");
  return *entry;
}

void EmptyDrive(vtape_state& state) {
  state.drive.clear();
  state.loaded = false;
  state.position = 0;
  state.media_changed = false;
  ++state.generation;
}

}  // namespace

void FnxVtapeCreateLibrary(const std::string& directory, const FnxVtapeLibraryShape& shape) {
  if (shape.cartridges < 1 || shape.cartridges > 999)
    Fail(OS_TAPE_INVALID_PARAMETER, "create library '" + directory + "': 1 to 999 cartridges, not " +
                                        std::to_string(shape.cartridges), __LINE__);
  if (!ValidBlockSize(shape.blockSize))
    Fail(OS_TAPE_INVALID_PARAMETER, "create library '" + directory + "': block size " +
                                        std::to_string(shape.blockSize) + " is not 0 or a divisor of 65536 from 512",
         __LINE__);
  const std::uint64_t unit = shape.blockSize ? shape.blockSize : 512;
  vtape_state state;
  state.block_size = shape.blockSize;
  state.capacity_blocks = shape.capacityBytes / unit;
  state.warning_blocks = shape.warningBytes ? shape.warningBytes / unit : state.capacity_blocks / 64;
  if (state.capacity_blocks == 0 || state.warning_blocks >= state.capacity_blocks)
    Fail(OS_TAPE_INVALID_PARAMETER, "create library '" + directory +
                                        "': the capacity must hold a block and more than the warning zone",
         __LINE__);
  for (unsigned i = 1; i <= shape.cartridges; ++i) state.cartridges.push_back({CartridgeName(i), shape.blockSize, false});
  Guarded("create library", directory, __LINE__, [&] {
    try {
      if (!Osl_Directory::exists(directory)) Osl_Directory::create(directory);
    } catch (const os_toolkit_error& failure) {
      throw vtape_file_failure(failure);
    }
    const vtape_library library(directory);
    // The images first: a library whose state exists is complete, and one
    // without is the rest of an interrupted creation, made again here.
    if (Osl_File_System::exists(library.path("state")))
      throw vtape_error(OS_TAPE_ACCESS_DENIED, "a library exists there already");
    for (const auto& cartridge : state.cartridges)
      vtape_cartridge::create(library.image_path(cartridge.name), cartridge.name, cartridge.block_size,
                              state.capacity_blocks, state.warning_blocks);
    library.create(state);
  });
}

void FnxVtapeInsert(const std::string& directory, const std::string& cartridge) {
  Guarded("insert", directory, __LINE__, [&] {
    vtape_library(directory).update([&](vtape_state& state) {
      Require(state, cartridge);
      EmptyDrive(state);
      state.drive = cartridge;
      state.loaded = true;
      state.media_changed = true;
    });
  });
}

void FnxVtapeEject(const std::string& directory) {
  Guarded("eject", directory, __LINE__, [&] {
    vtape_library(directory).update([](vtape_state& state) {
      if (!state.drive.empty()) EmptyDrive(state);
    });
  });
}

void FnxVtapeProtect(const std::string& directory, const std::string& cartridge, bool on) {
  Guarded("protect", directory, __LINE__, [&] {
    vtape_library(directory).update([&](vtape_state& state) { Require(state, cartridge).write_protected = on; });
  });
}

FnxVtapeStatus FnxVtapeGetStatus(const std::string& directory) {
  return Guarded("status", directory, __LINE__, [&] {
    const vtape_library library(directory);
    const vtape_state state = library.read();
    FnxVtapeStatus status;
    status.inDrive = state.drive;
    status.loaded = state.loaded;
    status.position = state.position;
    status.mediaChangePending = state.media_changed;
    status.blockSize = state.block_size;
    status.capacityBlocks = state.capacity_blocks;
    for (const auto& entry : state.cartridges) {
      FnxVtapeCartridgeStatus cartridge;
      cartridge.name = entry.name;
      cartridge.blockSize = entry.block_size;
      cartridge.writeProtected = entry.write_protected;
      try {
        vtape_cartridge image;
        image.open(library.image_path(entry.name), entry.name, entry.block_size, /*for_writing=*/false);
        cartridge.capacityBlocks = image.capacity_blocks();
        cartridge.warningBlocks = image.warning_blocks();
        cartridge.usedBlocks = image.end_of_data();
      } catch (const vtape_error& failure) {
        cartridge.problem = failure.what();
      }
      status.cartridges.push_back(cartridge);
    }
    for (const auto& fault : state.faults) status.faults.push_back(vtape_format_fault(fault));
    return status;
  });
}

void FnxVtapeScriptFault(const std::string& directory, const FnxVtapeFault& fault) {
  if (fault.kind == FnxVtapeFaultKind::FailCall && (vtape_call_index(fault.call) < 0 || fault.at < 1))
    Fail(OS_TAPE_INVALID_PARAMETER, "script fault '" + directory + "': no call '" + fault.call + "' or count 0",
         __LINE__);
  Guarded("script fault", directory, __LINE__, [&] {
    vtape_library(directory).update([&](vtape_state& state) {
      switch (fault.kind) {
        case FnxVtapeFaultKind::EndOfMedium:
          state.faults.push_back({state.next_fault_id++, "eom", fault.block, 0, true});
          break;
        case FnxVtapeFaultKind::MediaChange:
          if (state.drive.empty()) throw vtape_error(OS_TAPE_NO_MEDIA_IN_DRIVE, "no cartridge in the drive");
          state.media_changed = true;
          break;
        case FnxVtapeFaultKind::RemoveCartridge:
          if (!state.drive.empty()) EmptyDrive(state);
          break;
        case FnxVtapeFaultKind::WriteProtect:
        case FnxVtapeFaultKind::WriteEnable:
          if (state.drive.empty()) throw vtape_error(OS_TAPE_NO_MEDIA_IN_DRIVE, "no cartridge in the drive");
          Require(state, state.drive).write_protected = fault.kind == FnxVtapeFaultKind::WriteProtect;
          break;
        case FnxVtapeFaultKind::FailCall:
          state.faults.push_back({state.next_fault_id++, fault.call, fault.at, fault.error, fault.always});
          break;
      }
    });
  });
}

void FnxVtapeClearFaults(const std::string& directory) {
  Guarded("clear faults", directory, __LINE__, [&] {
    vtape_library(directory).update([](vtape_state& state) { state.faults.clear(); });
  });
}

void FnxVtapeRegisterName(const std::string& name, const std::string& directory) {
  if (name.empty()) Fail(OS_TAPE_INVALID_PARAMETER, "register name: the name is empty", __LINE__);
  os_tape_register_virtual(name, directory);
}
