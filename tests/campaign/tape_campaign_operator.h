#pragma once
// The operator of the tape campaigns, played from a second thread: asked for
// a new volume it inserts the next blank cartridge (once in a while a wrong,
// written one first, when told to), asked for a volume it inserts the
// cartridge that holds it, and it takes the write protection off when asked.
// Each question is answered at once; one it has no answer for is answered
// "Cancel" and reported.
#include <atomic>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "dal_operator.h"

class TapeCampaignOperator {
 public:
  TapeCampaignOperator(const CFnx_Dal_OperatorItemID& id, std::string library, std::vector<std::string> blanks,
                       std::string current);
  TapeCampaignOperator(const TapeCampaignOperator&) = delete;
  TapeCampaignOperator& operator=(const TapeCampaignOperator&) = delete;
  ~TapeCampaignOperator() { Finish(); }

  // The cartridge that holds a volume (id as a location carries it).
  void Learn(const std::string& volume, const std::string& cartridge);
  // The next question for a new volume gets a written cartridge first.
  void InsertWrongVolumeNext() { m_wrongNext = true; }
  // Stops the thread; returns the questions it could not answer.
  std::vector<std::string> Finish();
  int answered() const { return m_answered.load(); }
  int wrongVolumes() const { return m_wrongVolumes.load(); }
  bool outOfBlanks();

 private:
  void Run();
  std::string Handle(const std::string& question);
  std::string InsertBlank();
  std::string InsertVolume(const std::string& question, std::size_t labelAt);

  const CFnx_Dal_OperatorItemID m_id;
  const std::string m_library;
  std::mutex m_mutex;  // guards the three below
  std::vector<std::string> m_blanks;
  std::map<std::string, std::string> m_volumes;
  std::string m_current;  // the cartridge of the volume the run writes
  std::vector<std::string> m_used;
  std::atomic<bool> m_wrongNext{false};
  std::atomic<int> m_answered{0};
  std::atomic<int> m_wrongVolumes{0};
  std::atomic<bool> m_stop{false};
  std::vector<std::string> m_errors;  // read only after join
  std::thread m_thread;
};
