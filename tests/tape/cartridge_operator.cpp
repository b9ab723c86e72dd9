#include "cartridge_operator.h"

#include <memory>

#include "dal_tape_format.h"
#include "fnx_vtape.h"

namespace {

constexpr char kRestoreQuestion[] = "Restore: please insert tape with label=(";
constexpr char kEmptyDriveQuestion[] = "Please insert tape with label=(";

// A volume id in the form a location carries it: no separator.
std::string LocationForm(std::string id) {
  if (id.size() >= kTapeVolumeIdSize) id[26] = ' ';
  return id.substr(0, kTapeVolumeIdSize);
}

}  // namespace

ScriptedOperator::Responder CartridgeResponder(std::string library, std::vector<std::string> blanks,
                                               std::map<std::string, std::string> volumes,
                                               std::vector<std::string>* errors) {
  auto left = std::make_shared<std::vector<std::string>>(std::move(blanks));
  return [=](const std::string& question) -> std::string {
    try {
      if (question.find("insert a new volume") != std::string::npos && !left->empty()) {
        FnxVtapeInsert(library, left->front());
        left->erase(left->begin());
        return "Retry";
      }
      for (const char* prefix : {kRestoreQuestion, kEmptyDriveQuestion}) {
        if (question.rfind(prefix, 0) != 0 || volumes.empty()) continue;
        const auto found = volumes.find(LocationForm(question.substr(std::char_traits<char>::length(prefix))));
        // An empty drive asked for by volume name alone: any volume will do,
        // the restore then names the one it needs.
        if (found == volumes.end() && prefix == kRestoreQuestion) break;
        FnxVtapeInsert(library, found == volumes.end() ? volumes.begin()->second : found->second);
        return "Retry";
      }
    } catch (const std::exception& error) {
      errors->push_back("acting on \"" + question + "\": " + error.what());
      return "Cancel";
    }
    errors->push_back("unexpected question: " + question);
    return "Cancel";
  };
}
