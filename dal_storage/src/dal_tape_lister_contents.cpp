// The table of contents of a volume: a head from the volume label, then one
// line per file from its end label.
#include "dal_tape_lister_contents.h"

#include <ostream>

#include "dal_tape_dev.h"
#include "os_datetime.h"
#include "os_host.h"
#include "os_text.h"

namespace {

constexpr char kRule[] = "----------------------------------------------------------------------------------------";
constexpr std::size_t kEntryWidth = 84;

// One file of the listing, as its end label tells it.
struct ListingEntry {
  int number;
  os_date date;
  os_time time;
  std::int64_t length;
  int from;
  int to;
  std::string das_name;
};

// "%d" at an offset of the label: it stops at the first non-digit, at the
// latest at the label's end.
std::int32_t NumberAt(const tape_file_label_basic& label, std::size_t offset) {
  return tape_get_number(label.bytes() + offset, sizeof label - offset);
}

ListingEntry EntryOf(const tape_file_label_basic& label) {
  ListingEntry entry;
  entry.number = NumberAt(label, 0);
  entry.date = os_date(NumberAt(label, 33), NumberAt(label, 36), NumberAt(label, 28));
  entry.time = os_time(NumberAt(label, 39), NumberAt(label, 42), tape_get_number(label.bytes() + 45, 2), 0);
  // A low part and a high part of 10^8; the high part is 0 in this format.
  // Computed in 32 bits, as the field's number is.
  const auto low = static_cast<std::uint32_t>(tape_get_number(label.m_file_length, sizeof label.m_file_length));
  const auto high = static_cast<std::uint32_t>(tape_get_number(label.filler, sizeof label.filler));
  entry.length = static_cast<std::int32_t>(high * 100000000u + low);
  entry.from = tape_get_number(label.start_Offset_low, sizeof label.start_Offset_low);
  entry.to = tape_get_number(label.end_Offset_low, sizeof label.end_Offset_low);
  entry.das_name = tape_trim(label.das_name, sizeof label.das_name);
  return entry;
}

// Puts text right-aligned into the one-based columns first to last; a text
// too long keeps its first characters.
void PutField(std::string& line, std::size_t first, std::size_t last, const std::string& text) {
  const std::size_t width = last - first + 1;
  const std::string shown = text.substr(0, width);
  line.replace(last - shown.size(), shown.size(), shown);
}

std::string EntryLine(const ListingEntry& entry) {
  std::string line(kEntryWidth, ' ');
  PutField(line, 1, 6, std::to_string(entry.number));
  PutField(line, 8, 15, entry.date.to_string("%D"));
  PutField(line, 17, 24, entry.time.to_string("%H:%M:%S"));
  PutField(line, 28, 38, tos(entry.length));
  PutField(line, 43, 49, std::to_string(entry.from));
  PutField(line, 56, 62, std::to_string(entry.to));
  PutField(line, 64, 83, entry.das_name);
  return line;
}

void PrintHead(std::ostream& out, const tape_volume_label& label) {
  std::string host = os_host::my_host().name();
  host = host.substr(0, host.find('.'));
  const tape_volume_id& id = label.m_vol_id;
  out << "\n"
      << "host: " << host << ", date: " << os_date::today().to_string("%D")
      << ", time: " << os_time::now().to_string("%H:%M:%S") << "\n\n"
      << "Table of contents of tape: " << std::string(id.volume_name, sizeof id.volume_name)
      << ", created: " << std::string(id.creation_date, sizeof id.creation_date) << ", "
      << std::string(id.creation_time, sizeof id.creation_time) << "\n"
      << "Product version: " << std::string(label.product_name, sizeof label.product_name)
      << std::string(label.product_ver, sizeof label.product_ver) << "\n\n"
      << kRule << "\n"
      << "File  |   Creation      |  Length     |   Blocks (occupied)   |  DAS name              |\n"
      << "Number| Date    | Time  |  (bytes)    |   From   |     To     |                        |\n"
      << kRule << "\n";
}

}  // namespace

void dal_tape_list_contents(CFnx_Dal_TapeDev& device, std::ostream& out) {
  tape_volume_label volume;
  device.GetVolumeLabel(volume);
  PrintHead(out, volume);
  device.GotoPosition(CFnx_Dal_Tape_Position(1, 0, 0));
  tape_file_label_basic label;
  while (device.GetNextEndLabel(label) != 0) out << EntryLine(EntryOf(label)) << "\n";
  out << kRule << "\n";
}
