#pragma once
// The listing of dal_tape_lister on any device and stream.
#include <iosfwd>

class CFnx_Dal_TapeDev;

// Reads the volume label, prints the head, rewinds and prints one line per
// end label, then the closing rule.
void dal_tape_list_contents(CFnx_Dal_TapeDev& device, std::ostream& out);
