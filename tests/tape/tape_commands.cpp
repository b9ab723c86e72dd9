// The tape suites' command of fnx_test_child (test_child.h): restores every
// announced document through the storage handle, last first, with the
// operator inserting the cartridge each restore asks for.
#include <cstdio>
#include <string>

#include "dal_configuration_tape.h"
#include "dal_storage.h"
#include "disk_content.h"
#include "scripted_operator.h"
#include "test_child.h"

namespace {

// Read as a caller with a buffer of its own size does: up to the end, 0 there.
bool Restored(const AnnouncedDocument& document, CFnx_Dal_ConfigurationTape& config) {
  CFnx_Dal_Storage handle(document.location);
  if (!handle.OpenForReading(&config) || handle.GetSize() != static_cast<std::int64_t>(document.size)) return false;
  std::string restored;
  std::string piece(1 << 20, '\0');
  for (std::int32_t got; (got = handle.Read(piece.data(), static_cast<std::uint32_t>(piece.size()), 0)) != 0;) {
    if (got < 0) return false;
    restored.append(piece.data(), static_cast<std::size_t>(got));
  }
  handle.Close(false);
  // The close ends the restore, and the operator sees it.
  if (CFnx_Dal_OperatorSingelton::Get().getOperatorMsg(CFnx_Dal_OperatorItemID(7, "restore", "DAS_E2E")) !=
      "Restore ended") {
    return false;
  }
  return restored == DocumentBytes(document.seed, document.size);
}

}  // namespace

int RestoreTapeDocuments(const ChildArgs& args) {
  CartridgeOperator cartridges;
  cartridges.library = args[0];
  for (const std::string& line : ReadLines(args[1]))
    cartridges.Note(line.substr(0, line.find('\t')), line.substr(line.find('\t') + 1));
  CFnx_Dal_ConfigurationTape config;
  ConfigureVtapeRun(config, args[0], "restore", "DAS_E2E", "E2E");
  ScriptedOperator console(CFnx_Dal_OperatorItemID(7, "restore", "DAS_E2E"), std::ref(cartridges));
  const std::vector<AnnouncedDocument> documents = ReadAnnouncements(args[2]);
  int failed = 0;
  for (auto document = documents.rbegin(); document != documents.rend(); ++document) {
    if (!Restored(*document, config)) {
      ++failed;
      std::fprintf(stderr, "not restored: seed %llu, %zu bytes\n", static_cast<unsigned long long>(document->seed),
                   document->size);
    }
  }
  console.Finish();
  for (const std::string& error : cartridges.errors) std::fprintf(stderr, "operator: %s\n", error.c_str());
  return failed == 0 && cartridges.errors.empty() ? 0 : 1;
}
