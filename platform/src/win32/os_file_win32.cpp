// Win32 files: handles, per-handle byte-range locks, 64-bit positions.
#include <algorithm>
#include <cstdint>
#include <memory>
#include <vector>

#include "os_file.h"
#include "win32_error.h"

// The ranges this handle holds locked: UnlockFileEx releases only a range
// given exactly as it was locked.
struct os_file_native_state {
  struct locked_range {
    std::uint64_t start;
    std::uint64_t length;
    bool exclusive;
  };
  std::vector<locked_range> locks;
};

namespace {

using locked_range = os_file_native_state::locked_range;

// The 64-bit offset of a lock range in the form LockFileEx wants it.
OVERLAPPED RangeStart(std::uint64_t start) {
  OVERLAPPED place{};
  place.Offset = static_cast<DWORD>(start);
  place.OffsetHigh = static_cast<DWORD>(start >> 32);
  return place;
}

bool UnlockRange(HANDLE handle, std::uint64_t start, std::uint64_t length) {
  OVERLAPPED place = RangeStart(start);
  return os_sys.UnlockFileEx(handle, 0, static_cast<DWORD>(length), static_cast<DWORD>(length >> 32), &place) != 0;
}

// Releases every range the handle holds and forgets them all; the error of
// the first release that failed, or ERROR_SUCCESS.
DWORD UnlockAll(HANDLE handle, std::unique_ptr<os_file_native_state, os_file_native_state_delete>& state) {
  DWORD failure = ERROR_SUCCESS;
  if (state) {
    for (const locked_range& range : state->locks) {
      if (!UnlockRange(handle, range.start, range.length) && failure == ERROR_SUCCESS) failure = ::GetLastError();
    }
  }
  state.reset();
  return failure;
}

// False, with the last error set, for a transfer that cannot start: no open
// file, a negative length or no buffer.
bool Transferable(bool open, const void* buffer, int length) {
  if (open && length >= 0 && (buffer || length == 0)) return true;
  ::SetLastError(open ? ERROR_INVALID_PARAMETER : ERROR_INVALID_HANDLE);
  return false;
}

// Repeats call(done, &count), a ReadFile or WriteFile of the rest, until
// length bytes are moved or a call moves none (the end of the file); a
// failure after some bytes ends the transfer short, one before any answers -1.
template <typename Call>
int Transfer(int length, Call call) {
  int done = 0;
  while (done < length) {
    DWORD count = 0;
    if (!call(done, &count)) return done > 0 ? done : -1;
    if (count == 0) break;
    done += static_cast<int>(count);
  }
  return done;
}

}  // namespace

void os_file_native_state_delete::operator()(os_file_native_state* state) const { delete state; }

void os_file::close() {
  if (!is_open()) return;
  // Windows frees the locks of a closed handle only at some later time:
  // release them first, so that a waiting process gets them at once.
  UnlockAll(Win32Handle(m_handle), m_native);
  // A handle whose close failed is not usable any more: it counts as closed,
  // and the error still reaches the caller, as a lost write would.
  const BOOL closed = os_sys.CloseHandle(Win32Handle(m_handle));
  const DWORD error = ::GetLastError();
  m_handle = os_invalid_handle;
  if (!closed) throw os_file_error("close", m_path, error);
}

int os_file::read(void* buffer, int length) {
  if (!Transferable(is_open(), buffer, length)) return -1;
  return Transfer(length, [&](int done, DWORD* count) {
    return os_sys.ReadFile(Win32Handle(m_handle), static_cast<char*>(buffer) + done,
                           static_cast<DWORD>(length - done), count, nullptr);
  });
}

int os_file::write(const void* buffer, int length) {
  if (!Transferable(is_open(), buffer, length)) return -1;
  return Transfer(length, [&](int done, DWORD* count) {
    return os_sys.WriteFile(Win32Handle(m_handle), static_cast<const char*>(buffer) + done,
                            static_cast<DWORD>(length - done), count, nullptr);
  });
}

bool os_file::add_lock(const os_file_lock& lock, bool wait) {
  if (!is_open()) throw os_file_error("lock", m_path, ERROR_INVALID_HANDLE);
  const HANDLE handle = Win32Handle(m_handle);

  std::int64_t base = 0;
  if (lock.whence() == 1 && !os_set_file_pointer(m_handle, 0, 1, &base)) {
    throw os_file_error("lock", m_path, ::GetLastError());
  }
  if (lock.whence() == 2) {
    LARGE_INTEGER size{};
    if (!os_sys.GetFileSizeEx(handle, &size)) throw os_file_error("lock", m_path, ::GetLastError());
    base = size.QuadPart;
  }
  std::int64_t start = base + lock.start();
  std::int64_t length = lock.length();
  if (length < 0) {  // a negative length reaches back from start, as with fcntl
    start += length;
    length = -length;
  }
  if (start < 0) throw os_file_error("lock", m_path, ERROR_NEGATIVE_SEEK);
  const std::uint64_t first = static_cast<std::uint64_t>(start);
  // Length 0: to the end of the file and beyond, the largest range there is.
  const std::uint64_t count = length == 0 ? UINT64_MAX - first : static_cast<std::uint64_t>(length);

  // This handle holds the range already: granted again, as a lock of the same
  // open file is on POSIX (Windows would refuse, or wait on itself forever).
  const bool exclusive = lock.type() == 1;
  if (!m_native) m_native.reset(new os_file_native_state());
  std::vector<locked_range>& locks = m_native->locks;
  const bool held = std::any_of(locks.begin(), locks.end(), [&](const locked_range& range) {
    return range.start == first && range.length == count && (range.exclusive || !exclusive);
  });
  if (held) return true;

  DWORD flags = exclusive ? LOCKFILE_EXCLUSIVE_LOCK : 0;
  if (!wait) flags |= LOCKFILE_FAIL_IMMEDIATELY;
  OVERLAPPED place = RangeStart(first);
  if (os_sys.LockFileEx(handle, flags, 0, static_cast<DWORD>(count), static_cast<DWORD>(count >> 32), &place)) {
    locks.push_back({first, count, exclusive});
    return true;
  }
  const DWORD error = ::GetLastError();
  if (error == ERROR_LOCK_VIOLATION || error == ERROR_SHARING_VIOLATION || error == ERROR_IO_PENDING) {
    ::SetLastError(error);
    return false;
  }
  throw os_file_error("lock", m_path, error);
}

void os_file::remove_all_locks() {
  if (!is_open()) throw os_file_error("unlock", m_path, ERROR_INVALID_HANDLE);
  const DWORD failure = UnlockAll(Win32Handle(m_handle), m_native);
  if (failure != ERROR_SUCCESS) throw os_file_error("unlock", m_path, failure);
}

void Osl_File::open(const std::string& path, int flags, int access, unsigned long /*reserved*/) {
  if (is_open()) close();
  const DWORD desired = access == OSL_ACCESS_READ_WRITE ? GENERIC_READ | GENERIC_WRITE
                        : access == OSL_ACCESS_WRITE    ? GENERIC_WRITE
                                                        : GENERIC_READ;
  DWORD disposition = OPEN_EXISTING;
  if (flags & OSL_FILE_CREATE) disposition = (flags & OSL_FILE_EXCLUSIVE) ? CREATE_NEW : OPEN_ALWAYS;
  m_path = path;
  // Others may read, write and delete meanwhile, as on POSIX; the document
  // locks, not sharing modes, keep writers apart.
  const HANDLE handle =
      os_sys.CreateFileA(os_file_path("open", path), desired, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                         nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (handle == INVALID_HANDLE_VALUE) throw os_file_error("open", path, ::GetLastError());
  m_handle = reinterpret_cast<os_native_handle>(handle);
}

bool os_set_file_pointer(os_native_handle handle, std::int64_t offset, int origin, std::int64_t* newPosition) {
  const DWORD method = origin == 1 ? FILE_CURRENT : origin == 2 ? FILE_END : FILE_BEGIN;
  LARGE_INTEGER distance{};
  distance.QuadPart = offset;
  LARGE_INTEGER position{};
  if (!os_sys.SetFilePointerEx(Win32Handle(handle), distance, &position, method)) return false;
  if (newPosition) *newPosition = position.QuadPart;
  return true;
}

bool os_set_end_of_file(os_native_handle handle) { return os_sys.SetEndOfFile(Win32Handle(handle)) != 0; }

const std::uint32_t os_error_invalid_name = ERROR_INVALID_NAME;
const std::uint32_t os_error_overflow = ERROR_ARITHMETIC_OVERFLOW;

std::uint32_t os_last_error() { return ::GetLastError(); }

std::string os_error_text(std::uint32_t error) {
  char text[512];
  DWORD length = ::FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error,
                                  MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT), text, sizeof text, nullptr);
  while (length > 0 && (text[length - 1] == '\r' || text[length - 1] == '\n' || text[length - 1] == ' ')) --length;
  if (length == 0) return "error " + std::to_string(error);
  return std::string(text, length);
}
