#pragma once
// The commands of fnxdal, one family per file. Each Add function registers
// its subcommands; a command reports a failure by throwing, and main turns
// that into one line and a non-zero exit status.
#include <stdexcept>
#include <string>

namespace CLI {
class App;
}

namespace fnxdal {

// A failure that the user caused or can mend: printed as it stands.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

void AddDiskCommands(CLI::App& app);
void AddTapeCommands(CLI::App& app);
void AddVtapeCommands(CLI::App& app);
void AddDemoCommand(CLI::App& app);

}  // namespace fnxdal
