#include "scripted_operator.h"

#include <chrono>
#include <cstring>
#include <list>

#include "fnx_log.h"
#include "fnx_vtape.h"

namespace {

void CountQuestion(int /*severity*/, const char* component, const char* text, void* context) {
  static const char kPrefix[] = "Backup request: ";
  if (component && std::strcmp(component, "media-request") == 0 &&
      std::strncmp(text, kPrefix, sizeof kPrefix - 1) == 0) {
    static_cast<std::atomic<int>*>(context)->fetch_add(1);
  }
}

std::string Key(const std::string& id) { return id.substr(0, 26) + id.substr(id.size() == 35 ? 27 : 26, 8); }

}  // namespace

ScriptedOperator::ScriptedOperator(const CFnx_Dal_OperatorItemID& id, Responder respond)
    : m_id(id), m_respond(std::move(respond)) {
  Fnx_SetLogSink(5, &CountQuestion, &m_asked);
  m_thread = std::thread([this] {
    CFnx_Dal_Operator& table = CFnx_Dal_OperatorSingelton::Get();
    for (int handled = 0; !m_stop;) {
      if (m_asked <= handled || !table.IsWaitingOperatorResponce(m_id)) {
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
      const std::string answer = m_respond(item.getText(), options);
      std::uint32_t index = 0;
      while (index < options.size() && options[index] != answer) ++index;
      ++handled;
      table.SetOperatorResponce(m_id, index == options.size() ? index + 3 : index);
    }
  });
}

void ScriptedOperator::Finish() {
  m_stop = true;
  if (m_thread.joinable()) {
    m_thread.join();
    Fnx_SetLogSink(0, nullptr, nullptr);
  }
}

void CartridgeOperator::Note(const std::string& volume_id, const std::string& cartridge) {
  volumes[Key(volume_id)] = cartridge;
}

std::string CartridgeOperator::Respond(const std::string& question) {
  repeats = question == last_question ? repeats + 1 : 0;
  last_question = question;
  try {
    if (question.find("insert a new volume") != std::string::npos && !blanks.empty()) {
      last_question.clear();  // each blank is a new answer
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

void ConfigureVtapeRun(CFnx_Dal_ConfigurationTape& config, const std::string& library, const std::string& run,
                       const std::string& das, const std::string& volume) {
  CFnx_Dal_ConfigValues values;
  values.m_type = 7;
  values.m_name = run;
  values.m_dasName = das;
  values.m_volumeName = volume;
  values.m_deviceName = "vtape:" + library;
  values.m_newVolume1 = true;
  config.SetValues(values);
}
