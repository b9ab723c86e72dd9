#pragma once
// The state file of a drive's backup runs: the tape configuration's values
// as text, so that one invocation goes on where the last one stopped (same
// volume, its end block). Written as a new file renamed over the old one, so
// that a crash leaves either the old state or the new, never half of one.
#include <string>

#include "dal_configuration.h"

namespace fnxdal {

// The values kept in path; a missing file gives the values of a first run.
// Throws UsageError naming the file and line when the text is not a state.
CFnx_Dal_ConfigValues LoadRunState(const std::string& path);
void SaveRunState(const std::string& path, const CFnx_Dal_ConfigValues& values);

}  // namespace fnxdal
