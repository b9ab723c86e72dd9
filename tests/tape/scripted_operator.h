#pragma once
// The operator at the console, played from a second thread: it polls the
// operator table, checks each question's text and options against a script,
// does the step's action and answers. Two questions in a row are told apart
// by the "Backup request: " line the device logs before each; the script
// installs the log sink that counts them, so only one script runs at a time.
#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "dal_operator.h"

struct OperatorStep {
  std::string question;
  std::vector<std::string> options;
  std::string answer;                 // text that is no option answers past the list
  std::function<void()> action = {};  // done before answering
};

extern const std::vector<std::string> kRetryCancel;
extern const std::vector<std::string> kRetryCancelUse;
extern const std::string kUse;

class ScriptedOperator {
 public:
  ScriptedOperator(const CFnx_Dal_OperatorItemID& id, std::vector<OperatorStep> steps);
  // An operator without a script: respond acts on each question and gives
  // the answer.
  using Responder = std::function<std::string(const std::string& question)>;
  ScriptedOperator(const CFnx_Dal_OperatorItemID& id, Responder respond);
  ScriptedOperator(const ScriptedOperator&) = delete;
  ScriptedOperator& operator=(const ScriptedOperator&) = delete;
  ~ScriptedOperator() { Finish(); }

  // Call once the device call is over: returns what went against the script.
  // Questions beyond it are answered "Cancel" and reported.
  std::vector<std::string> Finish();

 private:
  void Run();

  const CFnx_Dal_OperatorItemID m_id;
  const std::vector<OperatorStep> m_steps;
  const Responder m_respond;
  std::atomic<int> m_asked{0};
  std::atomic<bool> m_stop{false};
  std::vector<std::string> m_errors;  // read only after join
  std::thread m_thread;
};
