// The library directory: its state file, its locks and its change mark.
#include "vtape_library.h"

#include <sstream>

#include "os_path.h"
#include "os_tape.h"
#include "osl_directory.h"
#include "vtape_bytes.h"
#include "vtape_error.h"

namespace {

constexpr const char* kMagic = "fnx-vtape-library";
constexpr int kVersion = 2;
constexpr long kStateLockByte = 1;
constexpr int kSlotSize = 32;  // sequence, generation, position, checksum
constexpr int kSlots = 2;

std::string ReadWhole(const std::string& path) {
  Osl_File file;
  file.open(path, 0, OSL_ACCESS_READ, 0);
  std::string text;
  char buffer[4096];
  for (;;) {
    const int n = file.read(buffer, static_cast<int>(sizeof buffer));
    if (n < 0) throw vtape_file_failure("read", path, os_last_error());
    if (n == 0) break;
    text.append(buffer, static_cast<std::size_t>(n));
  }
  return text;
}

void WriteWhole(const std::string& path, const std::string& text) {
  Osl_File file;
  file.open(path, OSL_FILE_CREATE, OSL_ACCESS_WRITE, 0);
  if (!os_set_file_pointer(file.descriptor(), 0, 0, nullptr) || !os_set_end_of_file(file.descriptor()))
    throw vtape_file_failure("truncate", path, os_last_error());
  if (file.write(text.data(), static_cast<int>(text.size())) != static_cast<int>(text.size()))
    throw vtape_file_failure("write", path, os_last_error());
  file.close();
}

}  // namespace

vtape_error vtape_file_failure(const os_toolkit_error& failure) {
  const std::uint32_t native = failure.native();
  return vtape_error(native == 2 || native == 3 ? OS_TAPE_FILE_NOT_FOUND : OS_TAPE_IO_DEVICE, failure.what());
}

vtape_error vtape_file_failure(const char* context, const std::string& path, std::uint32_t native) {
  return vtape_error(native == 2 || native == 3 ? OS_TAPE_FILE_NOT_FOUND : OS_TAPE_IO_DEVICE,
                     std::string(context) + " '" + path + "': " + os_error_text(native));
}

const char* const vtape_calls[] = {"open",     "get_parameters", "set_parameters", "get_status",
                                   "get_position", "set_position", "prepare",   "erase",
                                   "create_partition", "write_tapemark", "read", "write"};
const int vtape_call_count = static_cast<int>(sizeof vtape_calls / sizeof vtape_calls[0]);

int vtape_call_index(const std::string& name) {
  for (int i = 0; i < vtape_call_count; ++i)
    if (name == vtape_calls[i]) return i;
  return -1;
}

vtape_cartridge_entry* vtape_state::find(const std::string& name) {
  for (auto& cartridge : cartridges)
    if (cartridge.name == name) return &cartridge;
  return nullptr;
}

std::string vtape_format_state(const vtape_state& state) {
  std::ostringstream out;
  out << kMagic << ' ' << kVersion << '\n'
      << "library " << state.block_size << ' ' << state.capacity_blocks << ' ' << state.warning_blocks << '\n';
  for (const auto& cartridge : state.cartridges)
    out << "cartridge " << cartridge.name << ' ' << cartridge.block_size << ' '
        << (cartridge.write_protected ? "ro" : "rw") << '\n';
  out << "drive " << (state.drive.empty() ? "-" : state.drive) << ' ' << state.loaded << ' ' << state.media_changed
      << ' ' << state.generation << '\n'
      << "next-fault " << state.next_fault_id << '\n';
  for (const auto& fault : state.faults) out << vtape_format_fault(fault) << '\n';
  return out.str();
}

std::string vtape_format_fault(const vtape_fault& fault) {
  return "fault " + std::to_string(fault.id) + ' ' + fault.call + ' ' + std::to_string(fault.at) + ' ' +
         std::to_string(fault.error) + (fault.always ? " always" : " once");
}

vtape_state vtape_parse_state(const std::string& text, const std::string& where) {
  vtape_state state;
  std::istringstream in(text);
  std::string line;
  int number = 0;
  bool header = false, library = false, drive = false;
  while (std::getline(in, line)) {
    ++number;
    if (line.empty()) continue;
    std::istringstream fields(line);
    std::string key, rest;
    fields >> key;
    bool ok = true;
    if (!header) {
      int version = 0;
      ok = key == kMagic && (fields >> version) && version == kVersion;
      header = true;
    } else if (key == "library") {
      ok = static_cast<bool>(fields >> state.block_size >> state.capacity_blocks >> state.warning_blocks);
      library = true;
    } else if (key == "cartridge") {
      vtape_cartridge_entry cartridge;
      std::string mode;
      ok = (fields >> cartridge.name >> cartridge.block_size >> mode) && (mode == "rw" || mode == "ro");
      cartridge.write_protected = mode == "ro";
      state.cartridges.push_back(cartridge);
    } else if (key == "drive") {
      int loaded = 0, changed = 0;
      ok = static_cast<bool>(fields >> state.drive >> loaded >> changed >> state.generation);
      if (state.drive == "-") state.drive.clear();
      state.loaded = loaded != 0;
      state.media_changed = changed != 0;
      ok = ok && (state.drive.empty() || state.find(state.drive));
      drive = true;
    } else if (key == "next-fault") {
      ok = static_cast<bool>(fields >> state.next_fault_id);
    } else if (key == "fault") {
      vtape_fault fault;
      std::string mode;
      ok = (fields >> fault.id >> fault.call >> fault.at >> fault.error >> mode) &&
           (mode == "once" || mode == "always") && (fault.call == "eom" || vtape_call_index(fault.call) >= 0);
      fault.always = mode == "always";
      state.faults.push_back(fault);
    } else {
      ok = false;
    }
    if (ok && (fields >> rest)) ok = false;  // nothing may follow the fields
    if (!ok)
      throw vtape_error(OS_TAPE_FILE_CORRUPT,
                        "virtual tape library state '" + where + "' line " + std::to_string(number) + " does not parse: " + line);
  }
  if (!header || !library || !drive)
    throw vtape_error(OS_TAPE_FILE_CORRUPT, "virtual tape library state '" + where + "' is incomplete");
  return state;
}

std::string vtape_library::path(const std::string& name) const {
  if (!m_directory.empty() && m_directory.back() == OS_PATH_SEPARATOR) return m_directory + name;
  return m_directory + OS_PATH_SEPARATOR + name;
}

void vtape_library::lock_state(Osl_File& lock, bool exclusive) const {
  const std::string where = path("lock");
  if (!Osl_Directory::exists(m_directory))
    throw vtape_error(OS_TAPE_FILE_NOT_FOUND, "virtual tape library '" + m_directory + "' does not exist");
  try {
    lock.open(where, OSL_FILE_CREATE, OSL_ACCESS_READ_WRITE, 0);
    if (!lock.add_lock(os_file_lock(exclusive ? 1 : 0, kStateLockByte, 1, 0), /*wait=*/true))
      throw vtape_file_failure("lock", where, os_last_error());
  } catch (const os_toolkit_error& failure) {
    throw vtape_file_failure(failure);
  }
}

void vtape_library::create(const vtape_state& state) const {
  Osl_File lock;
  lock_state(lock, true);
  try {
    if (Osl_File_System::exists(path("state")))
      throw vtape_error(OS_TAPE_ACCESS_DENIED, "virtual tape library '" + m_directory + "' exists already");
    WriteWhole(path("changes"), "");
    WriteWhole(path("position"), std::string(kSlots * kSlotSize, '\0'));
    Osl_File record;
    record.open(path("position"), 0, OSL_ACCESS_READ_WRITE, 0);
    write_position(record, {1, state.generation, state.position, 0});
    write_state(state);
  } catch (const os_toolkit_error& failure) {
    throw vtape_file_failure(failure);
  }
}

vtape_state vtape_library::read() const {
  Osl_File lock;
  lock_state(lock, false);
  Osl_File record;
  stored_position stored;
  return read_unlocked(record, stored, OSL_ACCESS_READ);
}

vtape_state vtape_library::update(const std::function<void(vtape_state&)>& change, bool by_holder) const {
  Osl_File lock;
  lock_state(lock, true);
  Osl_File record;
  stored_position stored;
  vtape_state state = read_unlocked(record, stored, OSL_ACCESS_READ_WRITE);
  const std::string before = vtape_format_state(state);
  change(state);
  // The record of another generation stands for block 0 already.
  const bool moved = stored.generation == state.generation ? stored.position != state.position : state.position != 0;
  if (moved) write_position(record, {stored.sequence + 1, state.generation, state.position, kSlots - 1 - stored.slot});
  const bool rewritten = vtape_format_state(state) != before;
  if (rewritten) write_state(state);
  if ((moved || rewritten) && !by_holder) mark_change();
  return state;
}

vtape_state vtape_library::read_unlocked(Osl_File& record, stored_position& stored, int access) const {
  const std::string where = path("position");
  try {
    vtape_state state = vtape_parse_state(ReadWhole(path("state")), path("state"));
    record.open(where, 0, access, 0);
    unsigned char bytes[kSlots * kSlotSize];
    if (!os_set_file_pointer(record.descriptor(), 0, 0, nullptr))
      throw vtape_file_failure("seek", where, os_last_error());
    const int got = record.read(bytes, static_cast<int>(sizeof bytes));
    if (got < 0) throw vtape_file_failure("read", where, os_last_error());
    bool found = false;
    for (int slot = 0; slot < kSlots && (slot + 1) * kSlotSize <= got; ++slot) {
      const unsigned char* at = bytes + slot * kSlotSize;
      if (vtape_get(at + 24, 8) != vtape_checksum(at, 24)) continue;  // a write cut short
      const std::uint64_t sequence = vtape_get(at, 8);
      if (found && sequence <= stored.sequence) continue;
      stored = {sequence, vtape_get(at + 8, 8), vtape_get(at + 16, 8), slot};
      found = true;
    }
    if (!found) throw vtape_error(OS_TAPE_FILE_CORRUPT, "virtual tape position record '" + where + "' is damaged");
    state.position = stored.generation == state.generation ? stored.position : 0;
    return state;
  } catch (const os_toolkit_error& failure) {
    throw vtape_file_failure(failure);
  }
}

void vtape_library::write_position(Osl_File& record, const stored_position& stored) const {
  unsigned char bytes[kSlotSize];
  vtape_put(bytes, stored.sequence, 8);
  vtape_put(bytes + 8, stored.generation, 8);
  vtape_put(bytes + 16, stored.position, 8);
  vtape_put(bytes + 24, vtape_checksum(bytes, 24), 8);
  if (!os_set_file_pointer(record.descriptor(), stored.slot * kSlotSize, 0, nullptr) ||
      record.write(bytes, kSlotSize) != kSlotSize)
    throw vtape_file_failure("write", path("position"), os_last_error());
}

void vtape_library::write_state(const vtape_state& state) const {
  try {
    const std::string temporary = path("state.new");
    WriteWhole(temporary, vtape_format_state(state));
    Osl_File_System::replace(temporary, path("state"));
  } catch (const os_toolkit_error& failure) {
    throw vtape_file_failure(failure);
  }
}

void vtape_library::mark_change() const {
  // After the state, so that a holder that sees the mark reads the new state.
  try {
    Osl_File changes;
    changes.open(path("changes"), OSL_FILE_CREATE, OSL_ACCESS_WRITE, 0);
    if (!os_set_file_pointer(changes.descriptor(), 0, 2, nullptr) || changes.write("+", 1) != 1)
      throw vtape_file_failure("write", path("changes"), os_last_error());
    changes.close();
  } catch (const os_toolkit_error& failure) {
    throw vtape_file_failure(failure);
  }
}

vtape_change_watch::vtape_change_watch(const vtape_library& library) {
  try {
    m_file.open(library.path("changes"), 0, OSL_ACCESS_READ, 0);
  } catch (const os_toolkit_error& failure) {
    throw vtape_file_failure(failure);
  }
  changed();
}

bool vtape_change_watch::changed() {
  std::int64_t size = 0;
  if (!os_set_file_pointer(m_file.descriptor(), 0, 2, &size)) size = -2;  // look again next time
  const bool moved = size != m_size;
  m_size = size;
  return moved;
}
