// The wording of this library's messages. %1 is always the "Class::Operation: "
// context that the thrower streams first; %2.. are the further values.
#include <cstring>

#include "fnx_message.h"

namespace {

struct CatalogueEntry {
  const char* id;
  const char* wording;
};

constexpr CatalogueEntry kCatalogue[] = {
    {"QRSDAL0005E", "%1not enough memory to create an object"},
    {"QRSDAL0200E", "%1cannot open the file '%2' (system error %3)"},
    {"QRSDAL0501E", "%1the location is empty"},
    {"QRSDAL0502E", "%1the file location is malformed: bad %2 part"},
    {"QRSDAL0503E", "%1the stored file has no path"},
    {"QRSDAL0504E", "%1the file '%2' does not exist"},
    {"QRSDAL0505E", "%1the file '%2' already exists"},
    {"QRSDAL0506E", "%1the file '%2' does not exist"},
    {"QRSDAL0507E", "%1the configuration '%2' does not belong to the media type '%3'"},
    {"QRSDAL0508E", "%1the position %2 lies beyond the end of the document of %3 bytes"},
    {"QRSDAL0509E", "%1the document would grow beyond the files of its location"},
    {"QRSDAL0510E", "%1the location '%2' names no file"},
    {"QRSDAL0512E", "%1the operation is not supported by the media '%2'"},
    {"QRSDAL0513E", "%1no backup run is open for this tape configuration"},
    {"QRSDAL0514E", "%1cannot lock the file '%2'"},
    {"QRSDAL0515E", "%1no configuration of the type '%2' is registered"},
    {"QRSDAL0516E", "%1no media of the name '%2' is registered"},
    {"QRSDAL0540E", "%1the tape block size %2 does not suit the tape format: it has to be at least 512 and divide 65536"},
    {"QRSDAL0541E", "%1block %2 is no data record of the tape format: its length word %3 lies outside 5 to 65532"},
    {"QRSDAL0542E", "%1the file would grow to %2 bytes, beyond the %3 bytes that a file on tape can hold; the bytes were not taken"},
    {"QRSDAL0543E", "%1no file is open for writing on this device; %2"},
    {"QRSDAL0637E", "%1the directory is full and the limit %2 = %3 is below 10; correct the %4"},
    {"QRSDAL0808E", "%1short write of the count file (%2)"},
    {"QRSDAL0D08E", "%1cannot remove '%2' (system error %3)"},
};

}  // namespace

const char* MessageTemplate(const std::string& id) {
  for (const CatalogueEntry& entry : kCatalogue) {
    if (id == entry.id) return entry.wording;
  }
  return nullptr;
}
