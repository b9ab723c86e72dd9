#include "scripted_operator.h"

#include <chrono>
#include <cstring>
#include <list>

#include "fnx_log.h"
#include "fnx_vtape.h"

const std::vector<std::string> kRetryCancel = {"Retry", "Cancel"};
const std::string kUse = "Use. Tape will be erased. All data will be LOST!";
const std::vector<std::string> kRetryCancelUse = {"Retry", "Cancel", kUse};

namespace {

constexpr auto kQuestionWait = std::chrono::seconds(30);  // a safety bound, not a measurement

void CountQuestion(int /*severity*/, const char* component, const char* text, void* context) {
  static const char kPrefix[] = "Backup request: ";
  if (component && std::strcmp(component, "media-request") == 0 &&
      std::strncmp(text, kPrefix, sizeof kPrefix - 1) == 0) {
    static_cast<std::atomic<int>*>(context)->fetch_add(1);
  }
}

std::string Key(const std::string& id) { return id.substr(0, 26) + id.substr(id.size() == 35 ? 27 : 26, 8); }

}  // namespace

ScriptedOperator::ScriptedOperator(const CFnx_Dal_OperatorItemID& id, std::vector<OperatorStep> steps,
                                   Responder respond)
    : m_id(id), m_steps(std::move(steps)), m_respond(std::move(respond)) {
  Fnx_SetLogSink(5, &CountQuestion, &m_asked);
  m_thread = std::thread([this] { Run(); });
}

std::vector<std::string> ScriptedOperator::Finish() {
  m_stop = true;
  if (m_thread.joinable()) {
    m_thread.join();
    Fnx_SetLogSink(0, nullptr, nullptr);
  }
  return m_errors;
}

void ScriptedOperator::Run() {
  CFnx_Dal_Operator& table = CFnx_Dal_OperatorSingelton::Get();
  std::size_t handled = 0;
  auto deadline = std::chrono::steady_clock::now() + kQuestionWait;
  bool overdue = false;  // then every later question is off the script
  for (;;) {
    if (m_asked.load() <= static_cast<int>(handled) || !table.IsWaitingOperatorResponce(m_id)) {
      if (m_stop) break;
      overdue = overdue || (handled < m_steps.size() && std::chrono::steady_clock::now() > deadline);
      std::this_thread::sleep_for(std::chrono::microseconds(100));
      continue;
    }
    std::list<CFnx_Dal_OperatorItemInfo> items;
    table.ListItems(items);
    CFnx_Dal_OperatorItemInfo item(m_id);
    for (const auto& listed : items) {
      if (listed.getType() == m_id.getType() && listed.getName() == m_id.getName()) item = listed;
    }
    const std::vector<std::string> options(item.getOptions().begin(), item.getOptions().end());
    const std::string number = "question " + std::to_string(++handled);
    std::string answer = "Cancel";
    if (m_respond) {
      answer = m_respond(item.getText());
    } else if (!overdue && handled <= m_steps.size()) {
      const OperatorStep& step = m_steps[handled - 1];
      if (item.getText() != step.question) {
        m_errors.push_back(number + " was \"" + item.getText() + "\", expected \"" + step.question + "\"");
      }
      if (options != step.options) m_errors.push_back(number + ": other options");
      if (step.action) step.action();
      answer = step.answer;
    } else {
      m_errors.push_back("unexpected " + number + ": " + item.getText());
    }
    std::size_t index = 0;
    while (index < options.size() && options[index] != answer) ++index;
    table.SetOperatorResponce(m_id, static_cast<std::uint32_t>(index == options.size() ? index + 3 : index));
    deadline = std::chrono::steady_clock::now() + kQuestionWait;
  }
  if (handled < m_steps.size()) {
    m_errors.push_back("only " + std::to_string(handled) + " of " + std::to_string(m_steps.size()) +
                       " questions were asked; next: " + m_steps[handled].question);
  }
}

void CartridgeOperator::Note(const std::string& volume_id, const std::string& cartridge) {
  volumes[Key(volume_id)] = cartridge;
}

std::string CartridgeOperator::Respond(const std::string& question) {
  repeats = question == last_question ? repeats + 1 : 0;
  last_question = question;
  try {
    if (question.find("insert a new volume") != std::string::npos && !blanks.empty() && repeats < 2) {
      FnxVtapeInsert(library, blanks.front());
      blanks.erase(blanks.begin());
      return "Retry";
    }
    for (const std::string prefix :
         {"Restore: please insert tape with label=(", "Please insert tape with label=(", "Tape with label=("}) {
      if (question.rfind(prefix, 0) != 0 || volumes.empty() || repeats >= 2) continue;
      const std::string named = question.substr(prefix.size(), question.find(')') - prefix.size());
      const auto found = named.size() == 35 ? volumes.find(Key(named)) : volumes.begin();
      if (found == volumes.end()) break;
      FnxVtapeInsert(library, found->second);
      return "Retry";
    }
  } catch (const std::exception& error) {
    errors.push_back("acting on \"" + question + "\": " + error.what());
    return "Cancel";
  }
  errors.push_back("unexpected question: " + question);
  return "Cancel";
}
