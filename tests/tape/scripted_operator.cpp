#include "scripted_operator.h"

#include <chrono>
#include <cstring>
#include <list>

#include "fnx_log.h"

using namespace std::chrono_literals;

const std::vector<std::string> kRetryCancel = {"Retry", "Cancel"};
const std::string kUse = "Use. Tape will be erased. All data will be LOST!";
const std::vector<std::string> kRetryCancelUse = {"Retry", "Cancel", kUse};

namespace {

constexpr auto kQuestionWait = 30s;  // a safety bound, not a measurement

void CountQuestion(int /*severity*/, const char* component, const char* text, void* context) {
  static const char kPrefix[] = "Backup request: ";
  if (component && std::strcmp(component, "media-request") == 0 &&
      std::strncmp(text, kPrefix, sizeof kPrefix - 1) == 0) {
    static_cast<std::atomic<int>*>(context)->fetch_add(1);
  }
}

CFnx_Dal_OperatorItemInfo FindItem(CFnx_Dal_Operator& table, const CFnx_Dal_OperatorItemID& id) {
  std::list<CFnx_Dal_OperatorItemInfo> items;
  table.ListItems(items);
  for (const auto& item : items) {
    if (item.getType() == id.getType() && item.getName() == id.getName()) return item;
  }
  return CFnx_Dal_OperatorItemInfo(id);
}

std::uint32_t IndexOf(const std::vector<std::string>& options, const std::string& answer) {
  for (std::size_t i = 0; i < options.size(); ++i) {
    if (options[i] == answer) return static_cast<std::uint32_t>(i);
  }
  return static_cast<std::uint32_t>(options.size() + 3);  // names no option
}

}  // namespace

ScriptedOperator::ScriptedOperator(const CFnx_Dal_OperatorItemID& id, std::vector<OperatorStep> steps)
    : m_id(id), m_steps(std::move(steps)) {
  Fnx_SetLogSink(5, &CountQuestion, &m_asked);
  m_thread = std::thread([this] { Run(); });
}

ScriptedOperator::~ScriptedOperator() { Finish(); }

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
  bool off_script = false;
  auto deadline = std::chrono::steady_clock::now() + kQuestionWait;
  for (;;) {
    const bool pending = m_asked.load() > static_cast<int>(handled) && table.IsWaitingOperatorResponce(m_id);
    if (!pending) {
      if (m_stop) break;
      if (!off_script && handled < m_steps.size() && std::chrono::steady_clock::now() > deadline) {
        m_errors.push_back("question " + std::to_string(handled + 1) + " was not asked: " + m_steps[handled].question);
        off_script = true;
      }
      std::this_thread::sleep_for(100us);
      continue;
    }
    CFnx_Dal_OperatorItemInfo item = FindItem(table, m_id);
    const std::vector<std::string> options(item.getOptions().begin(), item.getOptions().end());
    m_questions.push_back(item.getText());
    std::uint32_t answer = 0;
    if (!off_script && handled < m_steps.size()) {
      const OperatorStep& step = m_steps[handled];
      if (item.getText() != step.question) {
        m_errors.push_back("question " + std::to_string(handled + 1) + " was \"" + item.getText() +
                           "\", expected \"" + step.question + "\"");
      }
      if (options != step.options) m_errors.push_back("question " + std::to_string(handled + 1) + ": other options");
      if (step.action) step.action();
      answer = IndexOf(options, step.answer);
    } else {
      m_errors.push_back("unexpected question: " + item.getText());
      answer = IndexOf(options, "Cancel");
    }
    ++handled;
    table.SetOperatorResponce(m_id, answer);
    deadline = std::chrono::steady_clock::now() + kQuestionWait;
  }
  if (!off_script && handled < m_steps.size()) {
    m_errors.push_back("only " + std::to_string(handled) + " of " + std::to_string(m_steps.size()) +
                       " questions were asked");
  }
}
