// The virtual drive's calls. See vtape_drive.h for what it keeps of a real one.
#include "vtape_drive.h"

#include <algorithm>
#include <cstring>

#include "os_tape.h"
#include "osl_directory.h"
#include "vtape_error.h"

namespace {

constexpr std::uint32_t kMinimumBlockSize = 512;
constexpr std::uint32_t kMaximumBlockSize = 65536;
constexpr std::uint32_t kFeaturesLow = 0x00000400 | 0x00200000 | 0x00001000;
// End of data, logical block, and the settable block size.
constexpr std::uint32_t kFeaturesHigh = 0x80010000 | 0x80004000 | 0x80000010;
constexpr long kDriveLockByte = 0;

}  // namespace

vtape_drive::vtape_drive(const std::string& directory) : m_library(directory) {
  if (!Osl_Directory::exists(directory))
    throw vtape_error(OS_TAPE_FILE_NOT_FOUND, "virtual tape library '" + directory + "' does not exist");
  const std::string lock_path = m_library.path("lock");
  try {
    m_lock.open(lock_path, OSL_FILE_CREATE, OSL_ACCESS_READ_WRITE, 0);
    if (!m_lock.add_lock(os_file_lock(1, kDriveLockByte, 1, 0), /*wait=*/false))
      throw vtape_error(OS_TAPE_SHARING_VIOLATION, "virtual tape drive '" + directory + "' is in use");
  } catch (const os_toolkit_error& failure) {
    throw vtape_file_failure(failure);
  }
  // An open fault counts opens, which only the state can remember.
  std::uint32_t refused = 0;
  const vtape_state state = m_library.update([&](vtape_state& s) {
    for (auto it = s.faults.begin(); it != s.faults.end();) {
      if (it->call != "open" || it->at > 1) {
        if (it->call == "open") --it->at;
        ++it;
        continue;
      }
      refused = it->error;
      it = it->always ? it + 1 : s.faults.erase(it);
    }
  }, /*by_holder=*/true);
  if (refused) throw vtape_error(refused, "virtual tape drive '" + directory + "': scripted open failure");
  m_watch = std::make_unique<vtape_change_watch>(m_library);
  m_library_block_size = state.block_size;
  m_generation = state.generation + 1;  // differs: take_state loads the cartridge
  take_state(state);
}

vtape_drive::~vtape_drive() {
  persist();
  m_cartridge.close();
}

void vtape_drive::load_cartridge(const vtape_state& state) {
  m_cartridge.close();
  m_medium_error = 0;
  m_warned = false;
  m_in_drive = state.drive;
  m_loaded = !state.drive.empty() && state.loaded;
  m_position = state.position;
  if (!m_loaded) return;
  std::uint32_t block_size = 0;
  for (const auto& cartridge : state.cartridges)
    if (cartridge.name == state.drive) block_size = cartridge.block_size;
  try {
    m_cartridge.open(m_library.image_path(state.drive), state.drive, block_size, /*for_writing=*/true);
    m_position = std::min(m_position, m_cartridge.end_of_data());
  } catch (const vtape_error& failure) {
    m_medium_error = failure.number();
  }
}

void vtape_drive::take_state(const vtape_state& state) {
  if (state.generation != m_generation) {
    load_cartridge(state);
    m_generation = state.generation;
  }
  m_changed = state.media_changed;
  m_protected = false;
  for (const auto& cartridge : state.cartridges)
    if (cartridge.name == m_in_drive) m_protected = cartridge.write_protected;
  // Faults this drive counts already keep their count; fired ones stay gone.
  std::vector<vtape_fault> faults;
  for (const auto& fault : state.faults) {
    if (fault.call == "open" || std::count(m_fired.begin(), m_fired.end(), fault.id)) continue;
    auto known = std::find_if(m_faults.begin(), m_faults.end(), [&](const vtape_fault& f) { return f.id == fault.id; });
    faults.push_back(known != m_faults.end() ? *known : fault);
  }
  m_faults = std::move(faults);
}

void vtape_drive::refresh() {
  try {
    take_state(m_library.read());
  } catch (const vtape_error& failure) {
    m_cartridge.close();
    m_medium_error = failure.number();
    m_generation = ~m_generation;  // the next state read loads the cartridge again
  }
}

std::uint32_t vtape_drive::persist(const std::function<void(vtape_state&)>& change) {
  try {
    const vtape_state state = m_library.update([&](vtape_state& s) {
      if (s.generation == m_generation) {
        s.position = m_position;
        s.loaded = m_loaded;
        s.media_changed = m_changed;
      }
      for (auto it = s.faults.begin(); it != s.faults.end();) {
        if (std::count(m_fired.begin(), m_fired.end(), it->id)) {
          it = s.faults.erase(it);
          continue;
        }
        for (const auto& fault : m_faults)
          if (fault.id == it->id) it->at = fault.at;
        ++it;
      }
      if (change) change(s);
    }, /*by_holder=*/true);
    m_fired.clear();
    take_state(state);
    return 0;
  } catch (const vtape_error& failure) {
    return failure.number();
  }
}

std::uint32_t vtape_drive::begin(call_id call) {
  if (m_watch->changed()) refresh();
  // Every fault of this call counts it, also when another one fires on it,
  // so that faults at the 1st and the 2nd call fire on those calls.
  auto firing = m_faults.end();
  for (auto it = m_faults.begin(); it != m_faults.end(); ++it) {
    if (it->call == "eom" || vtape_call_index(it->call) != call) continue;
    if (it->at > 1) {
      --it->at;
    } else if (firing == m_faults.end()) {
      firing = it;
    }
  }
  if (firing == m_faults.end()) return 0;
  const std::uint32_t error = firing->error;
  if (!firing->always) {
    m_fired.push_back(firing->id);
    m_faults.erase(firing);
    persist();
  }
  return error;
}

std::uint32_t vtape_drive::medium(bool consume) {
  if (!m_loaded) return OS_TAPE_NO_MEDIA_IN_DRIVE;
  if (m_medium_error) return m_medium_error;
  if (consume && m_changed) {
    m_changed = false;
    persist();
    return OS_TAPE_MEDIA_CHANGED;
  }
  return 0;
}

std::uint64_t vtape_drive::zone_start() const {
  const std::uint64_t capacity = m_cartridge.capacity_blocks();
  std::uint64_t start = capacity - std::min(capacity, m_cartridge.warning_blocks());
  for (const auto& fault : m_faults)
    if (fault.call == "eom") start = std::min(start, fault.at);
  return start;
}

std::uint64_t vtape_drive::physical_end() const {
  std::uint64_t end = m_cartridge.capacity_blocks();
  for (const auto& fault : m_faults)
    if (fault.call == "eom") end = std::min(end, fault.at + m_cartridge.warning_blocks());
  return end;
}

std::uint32_t vtape_drive::get_parameters(std::uint32_t operation, std::uint32_t* size, void* record) {
  if (const std::uint32_t error = begin(kGetParameters)) return error;
  if (!size || !record || *size < 32) return OS_TAPE_INVALID_PARAMETER;
  if (operation == OS_TAPE_GET_DRIVE_INFORMATION) {
    TAPE_GET_DRIVE_PARAMETERS drive{};
    drive.DefaultBlockSize = m_cartridge.is_open() ? m_cartridge.block_size() : m_library_block_size;
    drive.MaximumBlockSize = kMaximumBlockSize;
    drive.MinimumBlockSize = kMinimumBlockSize;
    drive.MaximumPartitionCount = 1;
    drive.FeaturesLow = kFeaturesLow;
    drive.FeaturesHigh = kFeaturesHigh;
    drive.EOTWarningZoneSize =
        m_cartridge.is_open() ? static_cast<std::uint32_t>(m_cartridge.warning_blocks() * m_cartridge.block_size()) : 0;
    std::memcpy(record, &drive, sizeof drive);
  } else if (operation == OS_TAPE_GET_MEDIA_INFORMATION) {
    if (const std::uint32_t error = medium(false)) return error;
    TAPE_GET_MEDIA_PARAMETERS media{};
    media.Capacity.QuadPart = static_cast<std::int64_t>(m_cartridge.capacity_blocks() * m_cartridge.block_size());
    media.Remaining.QuadPart =
        static_cast<std::int64_t>((m_cartridge.capacity_blocks() - m_position) * m_cartridge.block_size());
    media.BlockSize = m_cartridge.block_size();
    media.PartitionCount = 1;
    media.WriteProtected = m_protected ? 1 : 0;
    std::memcpy(record, &media, sizeof media);
  } else {
    return OS_TAPE_INVALID_PARAMETER;
  }
  *size = 32;
  return 0;
}

std::uint32_t vtape_drive::set_parameters(std::uint32_t operation, const void* record) {
  if (const std::uint32_t error = begin(kSetParameters)) return error;
  if (!record) return OS_TAPE_INVALID_PARAMETER;
  if (operation == OS_TAPE_GET_DRIVE_INFORMATION) return 0;  // nothing of it is settable here
  if (operation != OS_TAPE_GET_MEDIA_INFORMATION) return OS_TAPE_INVALID_PARAMETER;
  if (const std::uint32_t error = medium(false)) return error;
  TAPE_SET_MEDIA_PARAMETERS media;
  std::memcpy(&media, record, sizeof media);
  // A cartridge keeps the block size it was made with.
  return media.BlockSize == m_cartridge.block_size() ? 0 : OS_TAPE_INVALID_PARAMETER;
}

std::uint32_t vtape_drive::get_status() {
  if (const std::uint32_t error = begin(kGetStatus)) return error;
  return medium(true);
}

std::uint32_t vtape_drive::get_position(std::uint32_t type, std::uint32_t* partition, std::uint32_t* offsetLow,
                                        std::uint32_t* offsetHigh) {
  if (const std::uint32_t error = begin(kGetPosition)) return error;
  if (type != OS_TAPE_ABSOLUTE_POSITION && type != OS_TAPE_LOGICAL_POSITION) return OS_TAPE_INVALID_PARAMETER;
  if (!partition || !offsetLow || !offsetHigh) return OS_TAPE_INVALID_PARAMETER;
  if (const std::uint32_t error = medium(false)) return error;
  *partition = 0;
  *offsetLow = static_cast<std::uint32_t>(m_position);
  *offsetHigh = static_cast<std::uint32_t>(m_position >> 32);
  return 0;
}

std::uint32_t vtape_drive::set_position(std::uint32_t method, std::uint32_t partition, std::uint32_t offsetLow,
                                        std::uint32_t offsetHigh, bool /*immediate*/) {
  if (const std::uint32_t error = begin(kSetPosition)) return error;
  if (const std::uint32_t error = medium(true)) return error;
  const std::uint64_t end = m_cartridge.end_of_data();
  std::uint64_t target = 0;
  switch (method) {
    case OS_TAPE_REWIND:
      break;
    case 1:  // absolute block: the same as the logical one on a single partition
    case OS_TAPE_LOGICAL_BLOCK:
      if (partition > 1) return OS_TAPE_INVALID_PARAMETER;
      target = (static_cast<std::uint64_t>(offsetHigh) << 32) | offsetLow;
      break;
    case OS_TAPE_SPACE_END_OF_DATA:
      m_position = end;
      return 0;
    default:
      return OS_TAPE_NOT_SUPPORTED;
  }
  m_position = std::min(target, end);
  return target >= end && method != OS_TAPE_REWIND ? OS_TAPE_NO_DATA_DETECTED : 0;
}

std::uint32_t vtape_drive::prepare(std::uint32_t operation, bool /*immediate*/) {
  if (const std::uint32_t error = begin(kPrepare)) return error;
  if (m_in_drive.empty()) return OS_TAPE_NO_MEDIA_IN_DRIVE;
  if (operation == OS_TAPE_LOAD) {
    const bool was_loaded = m_loaded;
    m_position = 0;
    m_warned = false;
    return persist([&](vtape_state& s) {
      s.loaded = true;
      s.position = 0;
      if (!was_loaded) {
        s.media_changed = true;
        ++s.generation;
      }
    });
  }
  if (operation == OS_TAPE_UNLOAD)
    return persist([](vtape_state& s) {
      s.loaded = false;
      s.position = 0;
      s.media_changed = false;
      ++s.generation;
    });
  return operation <= 4 ? 0 : OS_TAPE_NOT_SUPPORTED;  // tension, lock and unlock change nothing here
}

std::uint32_t vtape_drive::erase(std::uint32_t /*type*/, bool /*immediate*/) {
  if (const std::uint32_t error = begin(kErase)) return error;
  if (const std::uint32_t error = medium(true)) return error;
  if (m_protected) return OS_TAPE_WRITE_PROTECT;
  return m_cartridge.erase_from(m_position);
}

std::uint32_t vtape_drive::create_partition(std::uint32_t /*method*/, std::uint32_t count, std::uint32_t /*size*/) {
  if (const std::uint32_t error = begin(kCreatePartition)) return error;
  if (const std::uint32_t error = medium(true)) return error;
  return count <= 1 ? 0 : OS_TAPE_NOT_SUPPORTED;  // the one partition there is
}

std::uint32_t vtape_drive::write_tapemark(std::uint32_t /*type*/, std::uint32_t /*count*/, bool /*immediate*/) {
  if (const std::uint32_t error = begin(kWriteTapemark)) return error;
  if (const std::uint32_t error = medium(true)) return error;
  return OS_TAPE_NOT_SUPPORTED;
}

std::uint32_t vtape_drive::read(void* buffer, std::uint32_t length, std::uint32_t* done) {
  *done = 0;
  if (const std::uint32_t error = begin(kRead)) return error;
  if (const std::uint32_t error = medium(true)) return error;
  const std::uint32_t block = m_cartridge.block_size();
  if (block == 0) return OS_TAPE_NOT_SUPPORTED;
  if (length % block != 0 || (length && !buffer)) return OS_TAPE_INVALID_PARAMETER;
  if (length == 0) return 0;
  const std::uint64_t end = m_cartridge.end_of_data();
  if (m_position >= end) return OS_TAPE_NO_DATA_DETECTED;
  const std::uint64_t count = std::min<std::uint64_t>(length / block, end - m_position);
  if (const std::uint32_t error = m_cartridge.read(m_position, count, buffer)) return error;
  m_position += count;
  *done = static_cast<std::uint32_t>(count * block);
  return 0;
}

std::uint32_t vtape_drive::write(const void* buffer, std::uint32_t length, std::uint32_t* done) {
  *done = 0;
  if (const std::uint32_t error = begin(kWrite)) return error;
  if (const std::uint32_t error = medium(true)) return error;
  if (m_protected) return OS_TAPE_WRITE_PROTECT;
  const std::uint32_t block = m_cartridge.block_size();
  if (block == 0) return OS_TAPE_NOT_SUPPORTED;
  if (length % block != 0 || (length && !buffer)) return OS_TAPE_INVALID_PARAMETER;
  if (length == 0) return 0;
  const std::uint64_t count = length / block;
  if (m_position + count > zone_start()) {
    if (!m_warned) {
      m_warned = true;
      return OS_TAPE_END_OF_MEDIA;
    }
    if (m_position + count > physical_end()) return OS_TAPE_EOM_OVERFLOW;
  } else {
    m_warned = false;
  }
  if (const std::uint32_t error = m_cartridge.write(m_position, count, buffer)) return error;
  m_position += count;
  *done = length;
  return 0;
}

std::unique_ptr<os_tape_drive> os_tape_open_virtual(const std::string& directory, std::uint32_t* error) {
  try {
    auto drive = std::make_unique<vtape_drive>(directory);
    *error = 0;
    return drive;
  } catch (const vtape_error& failure) {
    *error = failure.number();
    return nullptr;
  }
}
