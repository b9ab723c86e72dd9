// vtape create, insert, eject, protect and status: a virtual drive's library.
#include <CLI/CLI.hpp>

#include <iostream>
#include <memory>
#include <sstream>

#include "commands.h"
#include "fnx_vtape.h"
#include "vtape_control.h"

namespace fnxdal {
namespace {

// "512", "64K", "2M", "1G": bytes, or powers of 1024.
std::uint64_t ParseSize(const std::string& text) {
  std::size_t used = 0;
  unsigned long long value = 0;
  try {
    value = std::stoull(text, &used);
  } catch (const std::exception&) {
    throw UsageError("not a size: " + text);
  }
  const std::string suffix = text.substr(used);
  int shift = 0;
  if (suffix == "K" || suffix == "k") shift = 10;
  else if (suffix == "M" || suffix == "m") shift = 20;
  else if (suffix == "G" || suffix == "g") shift = 30;
  else if (!suffix.empty()) throw UsageError("not a size: " + text + " (bytes, or with K, M or G)");
  if (value > (~0ull >> shift)) throw UsageError("size too large: " + text);
  return value << shift;
}

struct CreateOptions {
  std::string directory;
  std::uint32_t blockSize = 65536;
  std::string capacity = "64M";
  unsigned cartridges = 4;
};

}  // namespace

std::string VtapeStatusText(const std::string& directory) {
  const FnxVtapeStatus status = FnxVtapeGetStatus(directory);
  std::ostringstream text;
  text << "library " << directory << ": block size " << status.blockSize << ", capacity "
       << status.capacityBlocks << " blocks\n";
  text << "drive: " << (status.inDrive.empty() ? "empty" : status.inDrive)
       << (status.inDrive.empty() ? "" : status.loaded ? ", loaded" : ", unloaded") << "\n";
  for (const FnxVtapeCartridgeStatus& cartridge : status.cartridges) {
    text << "  " << cartridge.name << ": " << cartridge.usedBlocks << " of " << cartridge.capacityBlocks
         << " blocks used" << (cartridge.writeProtected ? ", write-protected" : "")
         << (cartridge.problem.empty() ? "" : ", unusable: " + cartridge.problem) << "\n";
  }
  for (const std::string& fault : status.faults) text << "  fault: " << fault << "\n";
  return text.str();
}

void AddVtapeCommands(CLI::App& app) {
  CLI::App* vtape = app.add_subcommand("vtape", "manage a virtual tape drive and its cartridges");
  vtape->require_subcommand(1);

  auto create = std::make_shared<CreateOptions>();
  CLI::App* command = vtape->add_subcommand("create", "make a library of blank cartridges C001, C002, ...");
  command->add_option("DIR", create->directory, "the library directory")->required();
  command->add_option("--block-size", create->blockSize, "bytes per block: 512 to 65536, dividing 65536");
  command->add_option("--capacity", create->capacity, "bytes per cartridge, or with a K, M or G suffix");
  command->add_option("--cartridges", create->cartridges, "how many cartridges")->check(CLI::Range(1, 999));
  command->callback([create] {
    FnxVtapeLibraryShape shape;
    shape.cartridges = create->cartridges;
    shape.blockSize = create->blockSize;
    shape.capacityBytes = ParseSize(create->capacity);
    FnxVtapeCreateLibrary(create->directory, shape);
  });

  auto directory = std::make_shared<std::string>();
  auto cartridge = std::make_shared<std::string>();
  command = vtape->add_subcommand("insert", "put a cartridge into the drive (the one there is ejected first)");
  command->add_option("DIR", *directory, "the library directory")->required();
  command->add_option("CARTRIDGE", *cartridge, "the cartridge, e.g. C002")->required();
  command->callback([directory, cartridge] { FnxVtapeInsert(*directory, *cartridge); });

  command = vtape->add_subcommand("eject", "take the cartridge out of the drive");
  command->add_option("DIR", *directory, "the library directory")->required();
  command->callback([directory] { FnxVtapeEject(*directory); });

  auto state = std::make_shared<std::string>();
  command = vtape->add_subcommand("protect", "set a cartridge's write protection");
  command->add_option("DIR", *directory, "the library directory")->required();
  command->add_option("CARTRIDGE", *cartridge, "the cartridge")->required();
  command->add_option("STATE", *state, "on or off")->required()->check(CLI::IsMember({"on", "off"}));
  command->callback([directory, cartridge, state] { FnxVtapeProtect(*directory, *cartridge, *state == "on"); });

  command = vtape->add_subcommand("status", "show the drive and its cartridges");
  command->add_option("DIR", *directory, "the library directory")->required();
  command->callback([directory] { std::cout << VtapeStatusText(*directory); });
}

}  // namespace fnxdal
