#include "console.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <iostream>
#include <list>
#include <mutex>
#include <sstream>

#include "dal_operator.h"
#include "fnx_vtape.h"
#include "terminal.h"
#include "vtape_control.h"

namespace fnxdal {

// Standard input, read line by line on a thread of its own, which may stay
// blocked in a read after the console is gone; hence shared ownership.
class LineSource {
 public:
  static std::shared_ptr<LineSource> Start() {
    auto source = std::make_shared<LineSource>();
    std::thread([source] {
      std::string line;
      while (std::getline(std::cin, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        std::lock_guard<std::mutex> lock(source->m_mutex);
        source->m_lines.push_back(line);
      }
      std::lock_guard<std::mutex> lock(source->m_mutex);
      source->m_ended = true;
    }).detach();
    return source;
  }
  static std::shared_ptr<LineSource> Of(std::vector<std::string> lines) {
    auto source = std::make_shared<LineSource>();
    source->m_lines.assign(lines.begin(), lines.end());
    source->m_ended = true;
    return source;
  }
  bool Next(std::string& line) {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_lines.empty()) return false;
    line = m_lines.front();
    m_lines.pop_front();
    return true;
  }
  // No line is left and none will come.
  bool Exhausted() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_ended && m_lines.empty();
  }

 private:
  std::mutex m_mutex;
  std::deque<std::string> m_lines;  // guarded by m_mutex
  bool m_ended = false;             // guarded by m_mutex
};

namespace {

std::string Trim(const std::string& text) {
  const auto first = text.find_first_not_of(" \t");
  if (first == std::string::npos) return "";
  const auto last = text.find_last_not_of(" \t");
  return text.substr(first, last - first + 1);
}

std::string KeyOf(const CFnx_Dal_OperatorItemID& item) {
  return std::to_string(item.getType()) + "/" + item.getName();
}

std::list<CFnx_Dal_OperatorItemInfo> Items() {
  std::list<CFnx_Dal_OperatorItemInfo> items;
  CFnx_Dal_OperatorSingelton::Get().ListItems(items);
  return items;
}

}  // namespace

OperatorConsole::OperatorConsole(std::string vtapeDirectory, std::vector<std::string> script)
    : m_vtapeDirectory(std::move(vtapeDirectory)), m_scripted(!script.empty() || !StdinIsTerminal()),
      m_lines(script.empty() ? LineSource::Start() : LineSource::Of(std::move(script))),
      m_thread([this] { Run(); }) {}

OperatorConsole::~OperatorConsole() {
  m_stop = true;
  m_thread.join();
}

void OperatorConsole::Run() {
  while (!m_stop) {
    const bool waiting = ShowTable();
    std::string line;
    // A script's line waits for a question; a person's line acts at once.
    if ((waiting || !m_scripted) && m_lines->Next(line)) {
      Apply(Trim(line));
      continue;
    }
    // A script that has ended answers no more: rather than wait for ever,
    // the open question is cancelled and the run ends with its failure.
    if (waiting && m_scripted && m_lines->Exhausted()) {
      std::cerr << "console: the operator's lines have ended; answering Cancel\n";
      Apply("Cancel");
      continue;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
}

bool OperatorConsole::Answered(const std::string& key) {
  const auto found = m_answered.find(key);
  if (found == m_answered.end()) return false;
  if (std::chrono::steady_clock::now() - found->second < std::chrono::seconds(1)) return true;
  m_answered.erase(found);
  return false;
}

bool OperatorConsole::ShowTable() {
  std::ostringstream text;
  bool waiting = false;
  for (const CFnx_Dal_OperatorItemInfo& item : Items()) {
    if (item.getText().empty() || Answered(KeyOf(item))) continue;
    text << "[" << item.getName() << "] " << item.getText() << "\n";
    if (!item.getWaitingResponce()) continue;
    waiting = true;
    int number = 1;
    for (const std::string& option : item.getOptions()) text << "  " << number++ << ") " << option << "\n";
  }
  if (text.str() != m_shown) {
    m_shown = text.str();
    if (!m_shown.empty()) std::cerr << m_shown << (waiting ? "answer> " : "") << std::flush;
  }
  return waiting;
}

void OperatorConsole::Apply(const std::string& line) {
  if (line.empty()) return;
  std::istringstream words(line);
  std::string verb, argument;
  words >> verb >> argument;
  try {
    if (verb == "insert" || verb == "eject" || verb == "status") {
      if (m_vtapeDirectory.empty()) {
        std::cerr << "console: " << verb << " works on a virtual drive only\n";
      } else if (verb == "insert") {
        FnxVtapeInsert(m_vtapeDirectory, argument);
        std::cerr << "console: " << argument << " is in the drive\n";
      } else if (verb == "eject") {
        FnxVtapeEject(m_vtapeDirectory);
        std::cerr << "console: the drive is empty\n";
      } else {
        std::cerr << VtapeStatusText(m_vtapeDirectory);
      }
      return;
    }
    for (const CFnx_Dal_OperatorItemInfo& item : Items()) {
      if (!item.getWaitingResponce() || Answered(KeyOf(item))) continue;
      std::uint32_t index = 0;
      for (const std::string& option : item.getOptions()) {
        if (line == option || line == std::to_string(index + 1)) {
          CFnx_Dal_OperatorSingelton::Get().SetOperatorResponce(item, index);
          m_answered[KeyOf(item)] = std::chrono::steady_clock::now();
          std::cerr << "console: answered " << option << "\n";
          m_shown.clear();
          return;
        }
        ++index;
      }
    }
    std::cerr << "console: no open question takes \"" << line << "\"\n";
  } catch (const std::exception& error) {
    std::cerr << "console: " << error.what() << "\n";
  }
}

}  // namespace fnxdal
