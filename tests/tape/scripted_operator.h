#pragma once
// The operator at the console, played from a second thread: it polls the
// operator table and answers each question of its key with what respond
// returns; a text that names no option answers past the list. Two questions
// in a row are told apart by the "Backup request: " line the device logs
// before each; the operator installs the log sink that counts them, so only
// one runs at a time.
#include <atomic>
#include <functional>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "dal_configuration_tape.h"
#include "dal_operator.h"

// A run on the virtual drive at library whose questions carry the operator
// key (7, run, das), the key a ScriptedOperator is made with; a backup run
// starts a new volume, named volume.
void ConfigureVtapeRun(CFnx_Dal_ConfigurationTape& config, const std::string& library, const std::string& run,
                       const std::string& das, const std::string& volume);

class ScriptedOperator {
 public:
  using Responder = std::function<std::string(const std::string& question, const std::vector<std::string>& options)>;
  ScriptedOperator(const CFnx_Dal_OperatorItemID& id, Responder respond);
  // A responder that needs no options.
  ScriptedOperator(const CFnx_Dal_OperatorItemID& id, std::function<std::string(const std::string&)> respond)
      : ScriptedOperator(id, [respond](const std::string& question, const std::vector<std::string>&) {
          return respond(question);
        }) {}
  ScriptedOperator(const ScriptedOperator&) = delete;
  ScriptedOperator& operator=(const ScriptedOperator&) = delete;
  ~ScriptedOperator() { Finish(); }
  void Finish();  // once the device call is over

 private:
  const CFnx_Dal_OperatorItemID m_id;
  const Responder m_respond;
  std::atomic<int> m_asked{0};
  std::atomic<bool> m_stop{false};
  std::thread m_thread;
};

// The operator of a virtual drive: asked for a new volume it inserts the next
// blank cartridge, asked for a volume the cartridge that holds it, and
// answers "Retry"; an empty drive asked for by volume name alone gets any
// known volume. Anything else, and a volume asked for a third time in a row,
// is answered "Cancel" and noted in errors. It inserts at once: a volume
// labelled in the second of the one before must still get an id of its own.
struct CartridgeOperator {
  std::string Respond(const std::string& question);
  std::string operator()(const std::string& question, const std::vector<std::string>&) { return Respond(question); }
  // A volume id as questions (35 characters) or locations (34) carry it.
  void Note(const std::string& volume_id, const std::string& cartridge);

  std::string library;
  std::vector<std::string> blanks;
  std::map<std::string, std::string> volumes;  // volume id, without its separator, to cartridge
  std::vector<std::string> errors;
  std::string last_question;
  int repeats = 0;
};
