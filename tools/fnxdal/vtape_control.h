#pragma once
// The virtual drive as the tool shows it to a person.
#include <string>

namespace fnxdal {

// The drive, its cartridges and the scripted faults, a line each.
std::string VtapeStatusText(const std::string& directory);

}  // namespace fnxdal
