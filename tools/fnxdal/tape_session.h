#pragma once
// What every tape command shares: the drive and state options, the tape
// configuration built from the state file, and the operator console that
// runs while the drive is in use.
#include <memory>
#include <string>
#include <vector>

#include "dal_configuration_tape.h"

namespace CLI {
class App;
}

namespace fnxdal {

class OperatorConsole;

struct TapeOptions {
  std::string drive;  // "vtape:DIR", "\\.\TAPEn" or a system device
  std::string state;  // the run state file
  std::string volume;
  bool newVolume = false;
  bool forceLabel = false;
  std::string das = "DAS";
  std::string name = "fnxdal";
};

// --drive and --state; required or not (get needs them for tape only).
void AddTapeSessionOptions(CLI::App& command, TapeOptions& options, bool required);

// The library directory of a "vtape:" drive name; empty for any other name.
std::string VtapeDirectoryOf(const std::string& drive);

// A tape configuration from the state file and the options, with the
// console answering the operator for as long as the session lives; Save
// writes the configuration's values back into the state file.
class TapeSession {
 public:
  // script: the operator's lines, instead of standard input (see OperatorConsole).
  explicit TapeSession(const TapeOptions& options, std::vector<std::string> script = {});
  ~TapeSession();
  CFnx_Dal_ConfigurationTape& config() { return m_config; }
  void Save();

 private:
  TapeOptions m_options;
  CFnx_Dal_ConfigurationTape m_config;
  std::unique_ptr<OperatorConsole> m_console;
};

class Progress;

// Writes bytes as one document of the open backup run and returns its
// location. A write that comes back short (the volume ended inside the
// document) abandons that copy; the next open asks for a new volume, and
// the document goes there anew, whole.
std::string WriteToTape(CFnx_Dal_ConfigurationTape& config, const std::string& bytes, Progress* progress);

// Restores the tape document at location into output ("-": standard output).
void RestoreFromTape(const TapeOptions& options, const std::string& location, const std::string& output);

}  // namespace fnxdal
