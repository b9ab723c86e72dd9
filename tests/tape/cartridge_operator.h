#pragma once
// The operator at the console of a virtual drive, played from a second
// thread: asked for a new volume it inserts the next blank cartridge, asked
// for a volume it inserts the cartridge that holds it, and answers "Retry".
// Any other question is answered "Cancel" and reported.
#include <atomic>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "dal_configuration_tape.h"
#include "dal_operator.h"

class CartridgeOperator {
 public:
  // volumes: volume id (35 characters, as a location carries it) to the
  // cartridge that holds it. config: the run's, read while the device waits
  // for an answer, so that a new label gets a second of its own.
  CartridgeOperator(const CFnx_Dal_OperatorItemID& id, std::string library, std::vector<std::string> blanks,
                    std::map<std::string, std::string> volumes, CFnx_Dal_ConfigurationTape* config);
  CartridgeOperator(const CartridgeOperator&) = delete;
  CartridgeOperator& operator=(const CartridgeOperator&) = delete;
  ~CartridgeOperator() { Finish(); }

  // Stops the thread; returns the questions that went against the rules.
  std::vector<std::string> Finish();
  int asked() const { return m_asked.load(); }

 private:
  void Run();
  // The option to give for the question, after doing what it asks.
  std::string Handle(const std::string& question);
  void WaitForANewLabelSecond();

  const CFnx_Dal_OperatorItemID m_id;
  const std::string m_library;
  std::vector<std::string> m_blanks;  // inserted from the front
  const std::map<std::string, std::string> m_volumes;
  CFnx_Dal_ConfigurationTape* const m_config;
  std::atomic<int> m_questions{0};  // asked by the device, as its log shows
  std::atomic<int> m_asked{0};      // handled here
  std::atomic<bool> m_stop{false};
  std::vector<std::string> m_errors;  // read only after join
  std::thread m_thread;
};
