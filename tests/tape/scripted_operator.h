#pragma once
// The operator at the console, played from a second thread: it polls the
// operator table and answers each question of its key, from a script (text
// and options checked, an action done, the answer given) or from a responder.
// Two questions in a row are told apart by the "Backup request: " line the
// device logs before each; the operator installs the log sink that counts
// them, so only one runs at a time.
#include <atomic>
#include <functional>
#include <map>
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
  using Responder = std::function<std::string(const std::string& question)>;
  ScriptedOperator(const CFnx_Dal_OperatorItemID& id, std::vector<OperatorStep> steps)
      : ScriptedOperator(id, std::move(steps), nullptr) {}
  ScriptedOperator(const CFnx_Dal_OperatorItemID& id, Responder respond) : ScriptedOperator(id, {}, std::move(respond)) {}
  ScriptedOperator(const ScriptedOperator&) = delete;
  ScriptedOperator& operator=(const ScriptedOperator&) = delete;
  ~ScriptedOperator() { Finish(); }

  // Call once the device call is over: what went against the script.
  // Questions beyond it are answered "Cancel" and reported.
  std::vector<std::string> Finish();

 private:
  ScriptedOperator(const CFnx_Dal_OperatorItemID& id, std::vector<OperatorStep> steps, Responder respond);
  void Run();

  const CFnx_Dal_OperatorItemID m_id;
  const std::vector<OperatorStep> m_steps;
  const Responder m_respond;
  std::atomic<int> m_asked{0};
  std::atomic<bool> m_stop{false};
  std::vector<std::string> m_errors;  // read only after join
  std::thread m_thread;
};

// The operator of a virtual drive: asked for a new volume it inserts the next
// blank cartridge, asked for a volume the cartridge that holds it, and
// answers "Retry"; an empty drive asked for by volume name alone gets any
// known volume. Anything else, and a question asked a third time in a row,
// is answered "Cancel" and noted in errors. It inserts at once: a volume
// labelled in the second of the one before must still get an id of its own.
struct CartridgeOperator {
  std::string Respond(const std::string& question);
  // A volume id as questions (35 characters) or locations (34) carry it.
  void Note(const std::string& volume_id, const std::string& cartridge);

  std::string library;
  std::vector<std::string> blanks;
  std::map<std::string, std::string> volumes;  // volume id, without its separator, to cartridge
  std::vector<std::string> errors;
  std::string last_question;
  int repeats = 0;
};
