#pragma once
// Rebuilding the locations of a volume from its labels alone: what an
// operator runs when the server's record of its locations is lost.
#include <iosfwd>
#include <string>

namespace fnxdal {

// Reads the volume in drive from block 0 to the end of its data and prints,
// one a line on out, the location that restores each complete file, as the
// backup that wrote it handed it out (name: the run name it carried). A file
// whose end label never reached the tape is named on standard error.
void ScanVolume(const std::string& drive, const std::string& name, std::ostream& out);

}  // namespace fnxdal
