// The tape seam's dispatcher: resolves a device name to a backend, keeps the
// open drives by handle and each thread's last error.
#include "os_tape.h"

#include <map>
#include <memory>
#include <mutex>

#include "os_tape_drive.h"

namespace {

constexpr const char* kVirtualPrefix = "vtape:";

thread_local std::uint32_t t_last_error = 0;

// The open drives and the registered names; m_mutex guards both. A call takes
// its drive out under the lock and works on it outside, so that drives of
// different handles never wait for each other.
class drive_table {
 public:
  static drive_table& instance() {
    static drive_table table;
    return table;
  }

  os_tape_handle add(std::shared_ptr<os_tape_drive> drive) {
    std::lock_guard<std::mutex> guard(m_mutex);
    os_tape_handle handle;
    do {
      handle = m_next++;
      if (m_next < 0) m_next = 1;
    } while ((handle & 0xFFFFFFFF) == 0 || handle == os_tape_invalid_handle || m_drives.count(handle));
    m_drives.emplace(handle, std::move(drive));
    return handle;
  }
  std::shared_ptr<os_tape_drive> find(os_tape_handle handle) {
    std::lock_guard<std::mutex> guard(m_mutex);
    const auto it = m_drives.find(handle);
    return it == m_drives.end() ? nullptr : it->second;
  }
  std::shared_ptr<os_tape_drive> remove(os_tape_handle handle) {
    std::lock_guard<std::mutex> guard(m_mutex);
    const auto it = m_drives.find(handle);
    if (it == m_drives.end()) return nullptr;
    auto drive = std::move(it->second);
    m_drives.erase(it);
    return drive;
  }
  void register_name(const std::string& name, const std::string& directory) {
    std::lock_guard<std::mutex> guard(m_mutex);
    m_names[name] = directory;
  }
  bool registered(const std::string& name, std::string* directory) {
    std::lock_guard<std::mutex> guard(m_mutex);
    const auto it = m_names.find(name);
    if (it == m_names.end()) return false;
    *directory = it->second;
    return true;
  }

 private:
  std::mutex m_mutex;
  os_tape_handle m_next = 1;
  std::map<os_tape_handle, std::shared_ptr<os_tape_drive>> m_drives;
  std::map<std::string, std::string> m_names;
};

std::uint32_t Answer(std::uint32_t error) {
  t_last_error = error;
  return error;
}

// Runs call on the handle's drive; an unknown handle fails as Windows does.
template <typename Call>
std::uint32_t OnDrive(os_tape_handle handle, Call call) {
  const auto drive = drive_table::instance().find(handle);
  if (!drive) return Answer(OS_TAPE_INVALID_HANDLE);
  return Answer(call(*drive));
}

}  // namespace

void os_tape_register_virtual(const std::string& name, const std::string& directory) {
  drive_table::instance().register_name(name, directory);
}

os_tape_handle os_tape_open(const std::string& name) {
  std::uint32_t error = 0;
  std::unique_ptr<os_tape_drive> drive;
  std::string directory;
  if (name.rfind(kVirtualPrefix, 0) == 0)
    drive = os_tape_open_virtual(name.substr(std::char_traits<char>::length(kVirtualPrefix)), &error);
  else if (drive_table::instance().registered(name, &directory))
    drive = os_tape_open_virtual(directory, &error);
  else
    drive = os_tape_open_system(name, &error);
  if (!drive) {
    Answer(error ? error : OS_TAPE_FILE_NOT_FOUND);
    return os_tape_invalid_handle;
  }
  const os_tape_handle handle = drive_table::instance().add(std::move(drive));
  Answer(0);
  return handle;
}

void os_tape_close(os_tape_handle handle) {
  // The drive is given free here, unless another thread is inside a call
  // on it, against the contract; then when that call ends.
  if (!drive_table::instance().remove(handle)) Answer(OS_TAPE_INVALID_HANDLE);
}

std::uint32_t os_tape_get_parameters(os_tape_handle handle, std::uint32_t operation, std::uint32_t* size,
                                     void* record) {
  return OnDrive(handle, [&](os_tape_drive& d) { return d.get_parameters(operation, size, record); });
}

std::uint32_t os_tape_set_parameters(os_tape_handle handle, std::uint32_t operation, const void* record) {
  return OnDrive(handle, [&](os_tape_drive& d) { return d.set_parameters(operation, record); });
}

std::uint32_t os_tape_get_status(os_tape_handle handle) {
  return OnDrive(handle, [&](os_tape_drive& d) { return d.get_status(); });
}

std::uint32_t os_tape_get_position(os_tape_handle handle, std::uint32_t type, std::uint32_t* partition,
                                   std::uint32_t* offsetLow, std::uint32_t* offsetHigh) {
  return OnDrive(handle, [&](os_tape_drive& d) { return d.get_position(type, partition, offsetLow, offsetHigh); });
}

std::uint32_t os_tape_set_position(os_tape_handle handle, std::uint32_t method, std::uint32_t partition,
                                   std::uint32_t offsetLow, std::uint32_t offsetHigh, bool immediate) {
  return OnDrive(handle, [&](os_tape_drive& d) {
    return d.set_position(method, partition, offsetLow, offsetHigh, immediate);
  });
}

std::uint32_t os_tape_prepare(os_tape_handle handle, std::uint32_t operation, bool immediate) {
  return OnDrive(handle, [&](os_tape_drive& d) { return d.prepare(operation, immediate); });
}

std::uint32_t os_tape_erase(os_tape_handle handle, std::uint32_t type, bool immediate) {
  return OnDrive(handle, [&](os_tape_drive& d) { return d.erase(type, immediate); });
}

std::uint32_t os_tape_create_partition(os_tape_handle handle, std::uint32_t method, std::uint32_t count,
                                       std::uint32_t size) {
  return OnDrive(handle, [&](os_tape_drive& d) { return d.create_partition(method, count, size); });
}

std::uint32_t os_tape_write_tapemark(os_tape_handle handle, std::uint32_t type, std::uint32_t count,
                                     bool immediate) {
  return OnDrive(handle, [&](os_tape_drive& d) { return d.write_tapemark(type, count, immediate); });
}

bool os_tape_read(os_tape_handle handle, void* buffer, std::uint32_t length, std::uint32_t* done) {
  std::uint32_t moved = 0;
  const std::uint32_t error = OnDrive(handle, [&](os_tape_drive& d) { return d.read(buffer, length, &moved); });
  if (done) *done = moved;
  return error == 0;
}

bool os_tape_write(os_tape_handle handle, const void* buffer, std::uint32_t length, std::uint32_t* done) {
  std::uint32_t moved = 0;
  const std::uint32_t error = OnDrive(handle, [&](os_tape_drive& d) { return d.write(buffer, length, &moved); });
  if (done) *done = moved;
  return error == 0;
}

std::uint32_t os_tape_last_error() { return t_last_error; }

std::string os_tape_error_text(std::uint32_t error) { return os_tape_system_error_text(error); }
