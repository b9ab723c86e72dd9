#include "tape_session.h"

#include <CLI/CLI.hpp>

#include <algorithm>

#include "commands.h"
#include "console.h"
#include "dal_storage.h"
#include "dal_tape_dev.h"
#include "documents.h"
#include "run_state.h"
#include "terminal.h"

namespace fnxdal {

void AddTapeSessionOptions(CLI::App& command, TapeOptions& options, bool required) {
  CLI::Option* drive = command.add_option("--drive", options.drive, "the drive: vtape:DIR, \\\\.\\TAPEn or a device");
  CLI::Option* state = command.add_option("--state", options.state, "the run state file of that drive");
  if (required) {
    drive->required();
    state->required();
  }
}

std::string VtapeDirectoryOf(const std::string& drive) {
  static const std::string prefix = "vtape:";
  return drive.compare(0, prefix.size(), prefix) == 0 ? drive.substr(prefix.size()) : std::string();
}

TapeSession::TapeSession(const TapeOptions& options, std::vector<std::string> script) : m_options(options) {
  if (options.drive.empty() || options.state.empty()) throw UsageError("tape needs --drive and --state");
  CFnx_Dal_ConfigValues values = LoadRunState(options.state);
  values.m_deviceName = options.drive;
  if (!options.das.empty()) values.m_dasName = options.das;
  if (!options.name.empty()) values.m_name = options.name;
  if (!options.volume.empty()) values.m_volumeName = options.volume;
  if (values.m_volumeName.empty()) values.m_volumeName = "VOL";
  values.m_newVolume1 = values.m_newVolume2 = options.newVolume;
  values.m_forceLabel = options.forceLabel;
  m_config.SetValues(values);
  m_console = std::make_unique<OperatorConsole>(VtapeDirectoryOf(options.drive), std::move(script));
}

TapeSession::~TapeSession() = default;

void TapeSession::Save() {
  CFnx_Dal_ConfigValues values;
  m_config.GetValues(values);
  SaveRunState(m_options.state, values);
}

namespace {

bool WriteTapeCopy(CFnx_Dal_ConfigurationTape& config, const std::string& bytes, Progress* progress,
                   std::string& location) {
  CFnx_Dal_Storage document;
  document.OpenForWriting("tape", &config);
  constexpr std::size_t kPiece = 1 << 20;
  for (std::size_t done = 0; done < bytes.size();) {
    const auto n = static_cast<std::uint32_t>(std::min(kPiece, bytes.size() - done));
    std::uint32_t written = 0;
    const bool whole = document.Write(bytes.data() + done, n, written, -1);
    done += written;
    if (progress) progress->Add(written);
    if (!whole || written < n) {
      document.Close(false);
      return false;
    }
  }
  // The end of the medium at the close: the early warning leaves room for
  // the end label, so a second close ends the file. When that fails too the
  // copy is given up, and the library starts the copy written anew on a new
  // volume.
  for (int close = 1;; ++close) {
    try {
      document.Close(false);
      break;
    } catch (const end_of_tape_error&) {
      if (close == 2) return false;  // the handle gives the unfinished copy up, and the drive
    }
  }
  location = document.GetName();
  return true;
}

}  // namespace

std::string WriteToTape(CFnx_Dal_ConfigurationTape& config, const std::string& bytes, Progress* progress) {
  std::string location;
  for (int attempt = 1; !WriteTapeCopy(config, bytes, progress, location); ++attempt) {
    // A document larger than a whole volume would go on for ever.
    if (attempt == 3) throw UsageError("a document of " + std::to_string(bytes.size()) +
                                       " bytes came back short on three volumes");
  }
  return location;
}

void RestoreFromTape(const TapeOptions& options, const std::string& location, const std::string& output) {
  if (MediaOf(location) != "tape") throw UsageError("not a tape location: " + location);
  TapeSession session(options);
  CFnx_Dal_Storage document(location);
  document.OpenForReading(&session.config());
  OutputFile out(output);
  Progress progress("restore");
  CopyDocumentTo(document, out.stream(), &progress);
  document.Close(false);
  out.Finish();
}

}  // namespace fnxdal
