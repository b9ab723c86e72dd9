#pragma once
// The table of contents of the volume in a drive, for a tool.
#include <string>

#include "fnx_export.h"

// Lists the volume in drive "\\.\TAPE<drive>" on standard output: a head with
// the volume's name and product, then one line per file that has bytes, in
// tape order, from the end labels alone. Returns 0; failures of the drive
// raise, after whatever part of the listing was printed. Calls must not
// overlap: the listing's configuration is one for the process.
FNX_API int dal_tape_lister(std::string drive);
