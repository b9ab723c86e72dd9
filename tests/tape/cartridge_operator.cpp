#include "cartridge_operator.h"

#include <chrono>
#include <memory>
#include <thread>

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

// Two volumes labelled in one second under one name would be one volume.
void WaitForANewLabelSecond(CFnx_Dal_ConfigurationTape& config) {
  CFnx_Dal_ConfigValues values;
  config.GetValues(values);
  const std::string labelled = tape_volume_info_id(values.m_volumeInfo).substr(16);
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  while (config.GetCurDateFormat() + "/" + config.GetCurTimeFormat() == labelled &&
         std::chrono::steady_clock::now() < limit) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}

}  // namespace

ScriptedOperator::Responder CartridgeResponder(std::string library, std::vector<std::string> blanks,
                                               std::map<std::string, std::string> volumes,
                                               CFnx_Dal_ConfigurationTape* config, std::vector<std::string>* errors) {
  auto left = std::make_shared<std::vector<std::string>>(std::move(blanks));
  return [=](const std::string& question) -> std::string {
    try {
      if (question.find("insert a new volume") != std::string::npos && !left->empty()) {
        WaitForANewLabelSecond(*config);
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
