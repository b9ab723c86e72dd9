#include "cartridge_operator.h"

#include <chrono>
#include <cstring>
#include <list>

#include "dal_tape_format.h"
#include "fnx_log.h"
#include "fnx_vtape.h"

namespace {

constexpr char kRestoreQuestion[] = "Restore: please insert tape with label=(";
constexpr char kEmptyDriveQuestion[] = "Please insert tape with label=(";

// A volume id in the form a location carries it: no separator.
std::string LocationForm(std::string id) {
  if (id.size() >= kTapeVolumeIdSize) id[26] = ' ';
  return id.substr(0, kTapeVolumeIdSize);
}

// Counts the questions by the line the device logs before each, so that a
// question answered is not taken for the next while the device wakes.
void CountQuestion(int /*severity*/, const char* component, const char* text, void* context) {
  static const char kPrefix[] = "Backup request: ";
  if (component && std::strcmp(component, "media-request") == 0 &&
      std::strncmp(text, kPrefix, sizeof kPrefix - 1) == 0) {
    static_cast<std::atomic<int>*>(context)->fetch_add(1);
  }
}

}  // namespace

CartridgeOperator::CartridgeOperator(const CFnx_Dal_OperatorItemID& id, std::string library,
                                     std::vector<std::string> blanks, std::map<std::string, std::string> volumes,
                                     CFnx_Dal_ConfigurationTape* config)
    : m_id(id),
      m_library(std::move(library)),
      m_blanks(std::move(blanks)),
      m_volumes(std::move(volumes)),
      m_config(config) {
  Fnx_SetLogSink(5, &CountQuestion, &m_questions);
  m_thread = std::thread([this] { Run(); });
}

std::vector<std::string> CartridgeOperator::Finish() {
  m_stop = true;
  if (m_thread.joinable()) {
    m_thread.join();
    Fnx_SetLogSink(0, nullptr, nullptr);
  }
  return m_errors;
}

void CartridgeOperator::Run() {
  CFnx_Dal_Operator& table = CFnx_Dal_OperatorSingelton::Get();
  while (!m_stop) {
    if (m_questions.load() <= m_asked.load() || !table.IsWaitingOperatorResponce(m_id)) {
      std::this_thread::sleep_for(std::chrono::microseconds(200));
      continue;
    }
    std::list<CFnx_Dal_OperatorItemInfo> items;
    table.ListItems(items);
    CFnx_Dal_OperatorItemInfo item(m_id);
    for (const auto& listed : items) {
      if (listed.getType() == m_id.getType() && listed.getName() == m_id.getName()) item = listed;
    }
    ++m_asked;
    std::string answer;
    try {
      answer = Handle(item.getText());
    } catch (const std::exception& error) {
      m_errors.push_back("acting on \"" + item.getText() + "\": " + error.what());
      answer = "Cancel";
    }
    std::uint32_t index = 0;
    for (const std::string& option : item.getOptions()) {
      if (option == answer) break;
      ++index;
    }
    table.SetOperatorResponce(m_id, index);
  }
}

std::string CartridgeOperator::Handle(const std::string& question) {
  if (question.find("insert a new volume") != std::string::npos) {
    if (m_blanks.empty()) {
      m_errors.push_back("no blank cartridge left for: " + question);
      return "Cancel";
    }
    WaitForANewLabelSecond();
    FnxVtapeInsert(m_library, m_blanks.front());
    m_blanks.erase(m_blanks.begin());
    return "Retry";
  }
  for (const char* prefix : {kRestoreQuestion, kEmptyDriveQuestion}) {
    if (question.rfind(prefix, 0) != 0) continue;
    const auto found = m_volumes.find(LocationForm(question.substr(std::char_traits<char>::length(prefix))));
    // An empty drive asked for by volume name alone: any volume will do, the
    // restore then names the one it needs.
    if (found == m_volumes.end() && prefix == kRestoreQuestion) break;
    FnxVtapeInsert(m_library, found == m_volumes.end() ? m_volumes.begin()->second : found->second);
    return "Retry";
  }
  m_errors.push_back("unexpected question: " + question);
  return "Cancel";
}

// Two volumes labelled in one second under one name would be one volume.
void CartridgeOperator::WaitForANewLabelSecond() {
  CFnx_Dal_ConfigValues values;
  m_config->GetValues(values);
  const std::string labelled = tape_volume_info_id(values.m_volumeInfo).substr(16);
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  while (m_config->GetCurDateFormat() + "/" + m_config->GetCurTimeFormat() == labelled &&
         std::chrono::steady_clock::now() < limit) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}
