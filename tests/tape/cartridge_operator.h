#pragma once
// The operator at the console of a virtual drive, for a ScriptedOperator:
// asked for a new volume it inserts the next blank cartridge, asked for a
// volume the cartridge that holds it, and answers "Retry". Any other question
// is answered "Cancel" and noted in errors.
#include <map>
#include <string>
#include <vector>

#include "scripted_operator.h"

// volumes: volume id (35 characters, as a location carries it) to the
// cartridge that holds it. errors is written by the operator's thread: read
// it after Finish. It inserts at once: a volume labelled in the second of the
// one before must still get an id of its own.
ScriptedOperator::Responder CartridgeResponder(std::string library, std::vector<std::string> blanks,
                                               std::map<std::string, std::string> volumes,
                                               std::vector<std::string>* errors);
