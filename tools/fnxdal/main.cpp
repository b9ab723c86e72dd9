// fnxdal: store, read, cut and delete documents on disk; back them up to
// tape and restore them; list and scan volumes; manage a virtual drive.
#include <CLI/CLI.hpp>

#include <exception>
#include <iostream>

#include "commands.h"
#include "fnx_error.h"
#include "fnx_log_sink.h"

namespace {

void LogToStderr(int severity, const char* component, const char* text, void*) {
  std::cerr << "log " << severity << (component ? " " : "") << (component ? component : "") << ": " << text
            << "\n";
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"fnxdal: documents on disk and tape, for administrators and operators"};
  app.require_subcommand(1);
  int logLevel = 0;
  app.add_option("--log", logLevel, "write the library's log to standard error: 1 lines, 5 with the operator "
                                    "dialogue, 9 with traces")
      ->each([](const std::string& level) { Fnx_SetLogSink(std::stoi(level), LogToStderr, nullptr); });
  fnxdal::AddDiskCommands(app);
  fnxdal::AddTapeCommands(app);
  fnxdal::AddVtapeCommands(app);
  fnxdal::AddDemoCommand(app);
  try {
    app.parse(argc, argv);
    std::cout.flush();
    return std::cout ? 0 : 1;
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return app.exit(error);  // --help
    std::cerr << "fnxdal: " << error.what() << " (see fnxdal --help)\n";
    return 2;
  } catch (const FNXError& error) {
    std::cerr << "fnxdal: " << error.Text() << "\n";
    return 1;
  } catch (const std::exception& error) {
    std::cerr << "fnxdal: " << error.what() << "\n";
    return 1;
  }
}
