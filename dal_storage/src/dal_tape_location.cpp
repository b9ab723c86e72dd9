// Positions and location strings of files on tape.
#include <algorithm>
#include <cstddef>
#include <cstring>

#include "dal_tape_format.h"

namespace {

// The label fields of a location string, in the order they stand there, each
// with its place in tape_file_label_basic.
struct LocationField {
  std::size_t offset;
  std::size_t width;
};

#define FNX_LOCATION_FIELD(member) \
  LocationField { offsetof(tape_file_label_basic, member), sizeof(tape_file_label_basic::member) }

constexpr LocationField kLocationFields[] = {
    {offsetof(tape_file_label_basic, m_vol_id) + offsetof(tape_volume_id, volume_name),
     sizeof(tape_volume_id::volume_name)},
    {offsetof(tape_file_label_basic, m_vol_id) + offsetof(tape_volume_id, creation_date),
     sizeof(tape_volume_id::creation_date)},
    {offsetof(tape_file_label_basic, m_vol_id) + offsetof(tape_volume_id, creation_time),
     sizeof(tape_volume_id::creation_time)},
    FNX_LOCATION_FIELD(file_seq_num),
    FNX_LOCATION_FIELD(creation_date),
    FNX_LOCATION_FIELD(creation_time),
    FNX_LOCATION_FIELD(BLKSIZE),
    FNX_LOCATION_FIELD(partition_number),
    FNX_LOCATION_FIELD(start_Offset_low),
    FNX_LOCATION_FIELD(start_Offset_High),
    FNX_LOCATION_FIELD(end_Offset_low),
    FNX_LOCATION_FIELD(end_Offset_High),
    FNX_LOCATION_FIELD(m_file_length),
};

#undef FNX_LOCATION_FIELD

constexpr std::size_t LabelStringSize() {
  std::size_t size = 0;
  for (const LocationField& field : kLocationFields) size += field.width;
  return size;
}
static_assert(kTapeLocationHeadSize + LabelStringSize() == kTapeLocationSize);

// strncpy of a piece into a field: up to the piece's first NUL, then NUL bytes
// to the end of the field.
void CopyPiece(char* field, std::size_t width, const std::string& piece) {
  const std::size_t length = std::min({width, piece.size(), std::strlen(piece.c_str())});
  std::memcpy(field, piece.data(), length);
  std::memset(field + length, 0, width - length);
}

}  // namespace

int CFnx_Dal_Tape_Position::get_offset(const char* low_field, const char* /*high_field*/) const {
  const auto label_low = static_cast<std::uint32_t>(tape_get_number(low_field, 10));
  return static_cast<int>(label_low - m_offset_low);
}

CFnx_Dal_Tape_Location::CFnx_Dal_Tape_Location() {
  std::memset(m_das_name, ' ', sizeof m_das_name);
  std::memset(m_config_name, ' ', sizeof m_config_name);
}

CFnx_Dal_Tape_Location::CFnx_Dal_Tape_Location(const CFnx_Dal_Tape_Location& other) : m_label(other.m_label) {
  std::memcpy(m_das_name, other.m_das_name, sizeof m_das_name);
  std::memcpy(m_config_name, other.m_config_name, sizeof m_config_name);
}

CFnx_Dal_Tape_Location& CFnx_Dal_Tape_Location::operator=(const CFnx_Dal_Tape_Location& other) {
  std::memmove(m_das_name, other.m_das_name, sizeof m_das_name);
  std::memmove(m_config_name, other.m_config_name, sizeof m_config_name);
  m_label = other.m_label;
  return *this;
}

CFnx_Dal_Tape_Location::~CFnx_Dal_Tape_Location() = default;

void CFnx_Dal_Tape_Location::put_to_string(std::string& out) const {
  out.assign(m_das_name, sizeof m_das_name);
  out.append(m_config_name, sizeof m_config_name);
  out.append(m_label);
}

void CFnx_Dal_Tape_Location::get_from_string(const std::string& in) {
  // substr throws std::out_of_range where the string ends too early.
  CopyPiece(m_das_name, sizeof m_das_name, in.substr(0, kTapeLocationDasSize));
  CopyPiece(m_config_name, sizeof m_config_name, in.substr(kTapeLocationDasSize, kTapeLocationNameSize));
  m_label = in.substr(kTapeLocationHeadSize);
}

void CFnx_Dal_Tape_Location::parse_location(std::string& das_name, std::string& config_name,
                                            tape_file_label_basic& label) const {
  das_name = tape_trim(m_das_name, sizeof m_das_name);
  config_name = tape_trim(m_config_name, sizeof m_config_name);
  std::size_t position = 0;
  for (const LocationField& field : kLocationFields) {
    CopyPiece(label.bytes() + field.offset, field.width, m_label.substr(position, field.width));
    position += field.width;
  }
}

void CFnx_Dal_Tape_Location::set_from_end_label(const tape_file_label_basic& end_label,
                                                const std::string& config_name) {
  std::memcpy(m_das_name, end_label.das_name, sizeof m_das_name);
  std::memcpy(m_config_name, config_name.data(), std::min(config_name.size(), sizeof m_config_name));
  m_label.clear();
  for (const LocationField& field : kLocationFields) m_label.append(end_label.bytes() + field.offset, field.width);
}
