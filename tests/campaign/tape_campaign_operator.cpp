#include "tape_campaign_operator.h"

#include <chrono>
#include <list>

#include "dal_tape_format.h"
#include "fnx_vtape.h"

namespace {

// A volume id as a location carries it: the separator blank.
std::string LocationForm(std::string id) {
  if (id.size() >= kTapeVolumeIdSize) id[26] = ' ';
  return id.substr(0, kTapeVolumeIdSize);
}

bool Has(const std::string& text, const char* part) { return text.find(part) != std::string::npos; }

}  // namespace

TapeCampaignOperator::TapeCampaignOperator(const CFnx_Dal_OperatorItemID& id, std::string library,
                                           std::vector<std::string> blanks, std::string current)
    : m_id(id),
      m_library(std::move(library)),
      m_blanks(std::move(blanks)),
      m_current(std::move(current)) {
  m_used.push_back(m_current);
  m_thread = std::thread([this] { Run(); });
}

void TapeCampaignOperator::Learn(const std::string& volume, const std::string& cartridge) {
  std::lock_guard<std::mutex> lock(m_mutex);
  m_volumes[volume] = cartridge;
}

bool TapeCampaignOperator::outOfBlanks() {
  std::lock_guard<std::mutex> lock(m_mutex);
  return m_blanks.empty();
}

std::vector<std::string> TapeCampaignOperator::Finish() {
  m_stop = true;
  if (m_thread.joinable()) m_thread.join();
  return m_errors;
}

void TapeCampaignOperator::Run() {
  CFnx_Dal_Operator& table = CFnx_Dal_OperatorSingelton::Get();
  while (!m_stop) {
    if (!table.IsWaitingOperatorResponce(m_id)) {
      std::this_thread::sleep_for(std::chrono::microseconds(300));
      continue;
    }
    std::list<CFnx_Dal_OperatorItemInfo> items;
    table.ListItems(items);
    CFnx_Dal_OperatorItemInfo item(m_id);
    for (const auto& listed : items) {
      if (listed.getType() == m_id.getType() && listed.getName() == m_id.getName()) item = listed;
    }
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
    ++m_answered;
    // The device takes the answer and leaves the table before it can ask again.
    for (int i = 0; i < 2000 && table.IsWaitingOperatorResponce(m_id); ++i) {
      std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
  }
}

std::string TapeCampaignOperator::Handle(const std::string& question) {
  if (Has(question, "WRITE-PROTECTED") || Has(question, "write protected")) {
    const std::string inDrive = FnxVtapeGetStatus(m_library).inDrive;
    if (!inDrive.empty()) FnxVtapeProtect(m_library, inDrive, false);
    return "Retry";
  }
  if (Has(question, "insert a new volume") || Has(question, "insert scratch tape") ||
      Has(question, "Please insert a new tape")) {
    return InsertBlank();
  }
  static const char* const kLabelQuestions[] = {"Restore: please insert tape with label=(",
                                                "Please insert tape with label=(", "Tape with label=("};
  for (const char* prefix : kLabelQuestions) {
    if (question.rfind(prefix, 0) == 0) return InsertVolume(question, std::char_traits<char>::length(prefix));
  }
  m_errors.push_back("unexpected question: " + question);
  return "Cancel";
}

std::string TapeCampaignOperator::InsertBlank() {
  std::lock_guard<std::mutex> lock(m_mutex);
  if (m_wrongNext.exchange(false) && !m_used.empty()) {
    FnxVtapeInsert(m_library, m_used.front());  // a written volume: the device must refuse it
    ++m_wrongVolumes;
    return "Retry";
  }
  if (m_blanks.empty()) return "Cancel";  // the run ends: its last document fails
  m_current = m_blanks.front();
  m_blanks.erase(m_blanks.begin());
  m_used.push_back(m_current);
  FnxVtapeInsert(m_library, m_current);
  return "Retry";
}

// The cartridge of the volume the question names; the one the run writes
// when the volume is not known yet (its label is newer than any document).
std::string TapeCampaignOperator::InsertVolume(const std::string& question, std::size_t labelAt) {
  std::lock_guard<std::mutex> lock(m_mutex);
  const auto found = m_volumes.find(LocationForm(question.substr(labelAt)));
  FnxVtapeInsert(m_library, found == m_volumes.end() ? m_current : found->second);
  return "Retry";
}

