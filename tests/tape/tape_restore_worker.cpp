// The second process of the tape run: restores every announced document
// through the storage handle, last first, with the operator inserting the
// cartridge each restore asks for. Exit code 0 when every byte matched.
//
//   tape_restore_worker <library> <volumes list> <documents list>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <thread>

#include "cartridge_operator.h"
#include "dal_configuration_tape.h"
#include "dal_storage.h"
#include "disk_content.h"

namespace {

bool Restore(const AnnouncedDocument& document, CFnx_Dal_ConfigurationTape& config) {
  CFnx_Dal_Storage handle(document.location);
  if (!handle.OpenForReading(&config)) return false;
  const std::string expected = DocumentBytes(document.seed, document.size);
  if (handle.GetSize() != static_cast<std::int64_t>(document.size)) {
    std::fprintf(stderr, "size %lld, expected %zu\n", static_cast<long long>(handle.GetSize()), document.size);
    return false;
  }
  // Read as a caller with a buffer of its own size does: up to the end, 0 there.
  std::string restored;
  std::string piece(1 << 20, '\0');
  for (std::int32_t got; (got = handle.Read(piece.data(), static_cast<std::uint32_t>(piece.size()), 0)) != 0;) {
    if (got < 0) {
      std::fprintf(stderr, "read failed at byte %zu\n", restored.size());
      return false;
    }
    restored.append(piece.data(), static_cast<std::size_t>(got));
  }
  handle.Close(false);
  return restored == expected;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  // Every wait of the suites ends by itself: so does this process.
  std::thread([] {
    std::this_thread::sleep_for(std::chrono::seconds(120));
    std::fprintf(stderr, "tape_restore_worker: no end after 120 s\n");
    std::_Exit(3);
  }).detach();

  const std::string library = argv[1];
  std::map<std::string, std::string> volumes;
  for (const std::string& line : ReadLines(argv[2])) {
    const std::size_t tab = line.find('\t');
    volumes[line.substr(0, tab)] = line.substr(tab + 1);
  }
  const std::vector<AnnouncedDocument> documents = ReadAnnouncements(argv[3]);

  CFnx_Dal_ConfigurationTape config;
  CFnx_Dal_ConfigValues values;
  values.m_type = 7;
  values.m_name = "restore";
  values.m_dasName = "DAS_E2E";
  values.m_volumeName = "E2E";
  values.m_deviceName = "vtape:" + library;
  config.SetValues(values);
  std::vector<std::string> errors;
  ScriptedOperator console(CFnx_Dal_OperatorItemID(7, "restore", "DAS_E2E"),
                           CartridgeResponder(library, {}, volumes, &errors));

  int failed = 0;
  for (auto document = documents.rbegin(); document != documents.rend(); ++document) {
    bool same = false;
    try {
      same = Restore(*document, config);
    } catch (const std::exception& error) {
      std::fprintf(stderr, "%s\n", error.what());
    }
    if (!same) {
      ++failed;
      std::fprintf(stderr, "not restored: seed %llu, %zu bytes\n", static_cast<unsigned long long>(document->seed),
                   document->size);
    }
  }
  console.Finish();
  for (const std::string& error : errors) std::fprintf(stderr, "operator: %s\n", error.c_str());
  std::printf("restored %zu documents, %d failed\n", documents.size(), failed);
  return failed == 0 && errors.empty() ? 0 : 1;
}
