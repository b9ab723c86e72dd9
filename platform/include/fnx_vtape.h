#pragma once
// The virtual tape drive's management calls, for the tool, the tests and host
// programs. A virtual drive lives in a library directory: its cartridges
// (C001, C002, ...) as image files, and which one is in the drive, their
// write protection and the scripted faults as the directory's state, so that
// every process sees the same drive. The tape device reaches it by the device
// name "vtape:<directory>", or by a name registered with FnxVtapeRegisterName.
//
// Every call throws FNXError on failure. Its Code() is the platform number of
// the tape seam that says why (2 no such library or cartridge, 5 a library
// exists already, 87 a bad argument, 1392 a damaged state or image, 1117 a
// failed file call); its Text() says what failed and where. Each call is a
// step of its own: a failed call changed nothing.
//
// A call may be made from any thread and any process, also while another one
// holds the drive open: the holder sees the change at its next tape call.
#include <cstdint>
#include <string>
#include <vector>

#include "fnx_export.h"

// What a new library is made of: its cartridges, their block size and size.
struct FnxVtapeLibraryShape {
  unsigned cartridges = 1;             // 1 to 999
  std::uint32_t blockSize = 65536;     // 512 to 65536 and dividing 65536; 0: variable mode
  std::uint64_t capacityBytes = 0;     // of each cartridge, at least one block
  std::uint64_t warningBytes = 0;      // the early-warning zone before the end; 0: 1/64 of the capacity
};

struct FnxVtapeCartridgeStatus {
  std::string name;
  std::uint32_t blockSize = 0;
  std::uint64_t capacityBlocks = 0;
  std::uint64_t warningBlocks = 0;
  std::uint64_t usedBlocks = 0;        // the end of the data
  bool writeProtected = false;
  std::string problem;                 // empty, or why the image cannot be used
};

struct FnxVtapeStatus {
  std::string inDrive;                 // the cartridge in the drive; empty: none
  bool loaded = false;                 // false after an unload of the tape call
  std::uint64_t position = 0;          // as the last holder left it
  bool mediaChangePending = false;     // the next tape call gets 1110
  std::uint32_t blockSize = 0;         // the library's, as created
  std::uint64_t capacityBlocks = 0;
  std::vector<FnxVtapeCartridgeStatus> cartridges;
  std::vector<std::string> faults;     // the scripted faults, as the state file words them
};

enum class FnxVtapeFaultKind {
  EndOfMedium,     // the early warning begins at block `block`, the end a warning zone later
  MediaChange,     // the next tape call gets 1110, as after a change of cartridge
  RemoveCartridge, // the cartridge leaves the drive: 1112 from then on
  WriteProtect,    // the switch of the cartridge in the drive: on
  WriteEnable,     // and off
  FailCall,        // the `at`-th call of `call` from now fails with `error`
};

struct FnxVtapeFault {
  FnxVtapeFaultKind kind = FnxVtapeFaultKind::FailCall;
  std::uint64_t block = 0;
  // One of open, get_parameters, set_parameters, get_status, get_position,
  // set_position, prepare, erase, create_partition, write_tapemark, read, write.
  std::string call;
  std::uint64_t at = 1;                // 1: the next call
  std::uint32_t error = 0;
  bool always = false;                 // false: once; true: from then on
};

// Makes a library: the directory (created when missing; its parent must
// exist), blank cartridges, none in the drive.
FNX_API void FnxVtapeCreateLibrary(const std::string& directory, const FnxVtapeLibraryShape& shape);
// Puts a cartridge into the drive, loaded at block 0, ejecting the one there
// first. The next tape call gets 1110.
FNX_API void FnxVtapeInsert(const std::string& directory, const std::string& cartridge);
// Takes the cartridge out of the drive; nothing happens with an empty drive.
FNX_API void FnxVtapeEject(const std::string& directory);
// Sets or clears the write protection of a cartridge.
FNX_API void FnxVtapeProtect(const std::string& directory, const std::string& cartridge, bool on);
FNX_API FnxVtapeStatus FnxVtapeGetStatus(const std::string& directory);
FNX_API void FnxVtapeScriptFault(const std::string& directory, const FnxVtapeFault& fault);
// Drops every scripted fault that has not fired yet.
FNX_API void FnxVtapeClearFaults(const std::string& directory);
// Makes `name` a device name of this process for the drive of the directory.
FNX_API void FnxVtapeRegisterName(const std::string& name, const std::string& directory);
