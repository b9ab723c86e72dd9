// POSIX files: descriptors, open-file-description locks, 64-bit positions.
#include <cerrno>
#include <cstring>

#include "os_file.h"
#include "os_syscalls.h"
#include "os_toolkit_error.h"

// POSIX keeps nothing of an open file besides its descriptor: the kernel
// knows its locks.
struct os_file_native_state {};

namespace {

int Fd(os_native_handle handle) { return static_cast<int>(handle); }

// The whole-file or ranged request of an os_file_lock as an OFD lock record.
struct flock ToFlock(const os_file_lock& lock, short type) {
  struct flock record{};
  record.l_type = type;
  record.l_whence = static_cast<short>(lock.whence() == 1 ? SEEK_CUR : lock.whence() == 2 ? SEEK_END : SEEK_SET);
  record.l_start = lock.start();
  record.l_len = lock.length();
  record.l_pid = 0;  // must be 0 for open-file-description locks
  return record;
}

// Closing a descriptor that a forked child shares leaves its locks with the
// child: they are released first, as the Win32 close does. Failures are
// ignored, since the close that follows is what the caller asked for.
void ReleaseLocks(int fd) {
  struct flock record = ToFlock(os_file_lock(1, 0, 0, 0), F_UNLCK);
  const int saved = errno;
  os_sys.fcntl_lock(fd, F_OFD_SETLK, &record);
  errno = saved;
}

// False, with errno set, for a transfer that cannot start: no open file, a
// negative length or no buffer.
bool Transferable(bool open, const void* buffer, int length) {
  if (open && length >= 0 && (buffer || length == 0)) return true;
  errno = open ? EINVAL : EBADF;
  return false;
}

// Repeats call(done), a read or write of the rest, until length bytes are
// moved or a call moves none (the end of the file); a failure after some
// bytes ends the transfer short, one before any answers -1.
template <typename Call>
int Transfer(int length, Call call) {
  int done = 0;
  while (done < length) {
    const ssize_t n = call(done);
    if (n < 0) {
      if (errno == EINTR) continue;
      return done > 0 ? done : -1;
    }
    if (n == 0) break;
    done += static_cast<int>(n);
  }
  return done;
}

}  // namespace

void os_file_native_state_delete::operator()(os_file_native_state* state) const { delete state; }

void os_file::close() {
  if (!is_open()) return;
  ReleaseLocks(Fd(m_handle));
  // POSIX leaves the descriptor closed even when close reports an error; the
  // error still reaches the caller, as a lost write would.
  const int result = os_sys.close(Fd(m_handle));
  const int error = errno;
  m_handle = os_invalid_handle;
  if (result != 0 && error != EINTR) throw os_file_error("close", m_path, error);
}

int os_file::read(void* buffer, int length) {
  if (!Transferable(is_open(), buffer, length)) return -1;
  return Transfer(length, [&](int done) {
    return os_sys.read(Fd(m_handle), static_cast<char*>(buffer) + done, static_cast<size_t>(length - done));
  });
}

int os_file::write(const void* buffer, int length) {
  if (!Transferable(is_open(), buffer, length)) return -1;
  return Transfer(length, [&](int done) {
    return os_sys.write(Fd(m_handle), static_cast<const char*>(buffer) + done, static_cast<size_t>(length - done));
  });
}

bool os_file::add_lock(const os_file_lock& lock, bool wait) {
  if (!is_open()) throw os_file_error("lock", m_path, EBADF);
  struct flock record = ToFlock(lock, lock.type() == 1 ? F_WRLCK : F_RDLCK);
  for (;;) {
    if (os_sys.fcntl_lock(Fd(m_handle), wait ? F_OFD_SETLKW : F_OFD_SETLK, &record) == 0) return true;
    const int error = errno;
    if (error == EINTR) continue;
    if (error == EAGAIN || error == EACCES || error == EDEADLK) return false;
    throw os_file_error("lock", m_path, error);
  }
}

void os_file::remove_all_locks() {
  if (!is_open()) throw os_file_error("unlock", m_path, EBADF);
  struct flock record = ToFlock(os_file_lock(1, 0, 0, 0), F_UNLCK);
  if (os_sys.fcntl_lock(Fd(m_handle), F_OFD_SETLK, &record) != 0) throw os_file_error("unlock", m_path, errno);
}

void Osl_File::open(const std::string& path, int flags, int access, unsigned long /*reserved*/) {
  if (is_open()) close();
  int mode = access == OSL_ACCESS_READ_WRITE ? O_RDWR : access == OSL_ACCESS_WRITE ? O_WRONLY : O_RDONLY;
  if (flags & OSL_FILE_CREATE) mode |= O_CREAT;
  if ((flags & OSL_FILE_CREATE) && (flags & OSL_FILE_EXCLUSIVE)) mode |= O_EXCL;
  m_path = path;
  int fd;
  do {
    fd = os_sys.open(os_file_path("open", path), mode | O_CLOEXEC, 0666);
  } while (fd < 0 && errno == EINTR);
  if (fd < 0) throw os_file_error("open", path, errno);
  // A directory opens read-only on POSIX (a writing open fails by itself
  // with EISDIR); as on Win32 it is no file. Only that open pays the fstat.
  struct stat status{};
  if ((mode & O_ACCMODE) == O_RDONLY && os_sys.fstat(fd, &status) == 0 && S_ISDIR(status.st_mode)) {
    os_sys.close(fd);
    throw os_file_error("open", path, EISDIR);
  }
  m_handle = fd;
}

bool os_set_file_pointer(os_native_handle handle, std::int64_t offset, int origin, std::int64_t* newPosition) {
  const int whence = origin == 1 ? SEEK_CUR : origin == 2 ? SEEK_END : SEEK_SET;
  const off_t position = os_sys.lseek(Fd(handle), static_cast<off_t>(offset), whence);
  if (position < 0) return false;
  if (newPosition) *newPosition = position;
  return true;
}

bool os_set_end_of_file(os_native_handle handle) {
  const off_t position = os_sys.lseek(Fd(handle), 0, SEEK_CUR);
  if (position < 0) return false;
  int result;
  do {
    result = os_sys.ftruncate(Fd(handle), position);
  } while (result != 0 && errno == EINTR);
  return result == 0;
}

const std::uint32_t os_error_invalid_name = EINVAL;
const std::uint32_t os_error_overflow = EOVERFLOW;

std::uint32_t os_last_error() { return static_cast<std::uint32_t>(errno); }

std::string os_error_text(std::uint32_t error) { return std::strerror(static_cast<int>(error)); }
