// The faults of os_faults.h, per platform: each replaces the calls that the
// fault touches and passes everything else on to the real call.
#include "os_faults.h"

#include <algorithm>
#include <cerrno>

#include "os_syscalls.h"

namespace {

std::string g_directory;  // of RefuseCreatesIn, while one lives
std::int64_t g_limit = 0;  // of FileSizeLimit, while one lives
std::size_t g_most = 0;    // of ShortTransfers, while one lives

// True when path names an entry directly inside g_directory.
bool InDirectory(const std::string& path) {
  if (path.size() <= g_directory.size() + 1 || path.compare(0, g_directory.size(), g_directory) != 0) return false;
  const std::string rest = path.substr(g_directory.size() + 1);
  const auto separator = [](char c) { return c == '/' || c == '\\'; };
  return separator(path[g_directory.size()]) && std::none_of(rest.begin(), rest.end(), separator);
}

// How many of count bytes fit before the limit from position; 0 when none do.
std::int64_t Room(std::int64_t position, std::int64_t count) {
  return std::clamp(g_limit - position, std::int64_t{0}, count);
}

}  // namespace

#if defined(_WIN32)

struct RefuseCreatesIn::Overrides {
  static HANDLE WINAPI Open(LPCSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                            DWORD disposition, DWORD attributes, HANDLE templateFile) {
    const bool creates = disposition != OPEN_EXISTING && disposition != TRUNCATE_EXISTING &&
                         os_syscalls{}.GetFileAttributesA(path) == INVALID_FILE_ATTRIBUTES;
    if (creates && InDirectory(path)) {
      ::SetLastError(ERROR_ACCESS_DENIED);
      return INVALID_HANDLE_VALUE;
    }
    return os_syscalls{}.CreateFileA(path, access, share, security, disposition, attributes, templateFile);
  }
  static BOOL WINAPI MakeDirectory(LPCSTR path, LPSECURITY_ATTRIBUTES security) {
    if (!InDirectory(path)) return os_syscalls{}.CreateDirectoryA(path, security);
    ::SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
  }
  os_syscall_override<decltype(os_sys.CreateFileA)> file{os_sys.CreateFileA, &Open};
  os_syscall_override<decltype(os_sys.CreateDirectoryA)> directory{os_sys.CreateDirectoryA, &MakeDirectory};
};

struct FileSizeLimit::Overrides {
  static BOOL WINAPI Write(HANDLE file, LPCVOID buffer, DWORD count, LPDWORD written, LPOVERLAPPED overlapped) {
    LARGE_INTEGER position{};
    if (!os_syscalls{}.SetFilePointerEx(file, LARGE_INTEGER{}, &position, FILE_CURRENT)) {
      return os_syscalls{}.WriteFile(file, buffer, count, written, overlapped);
    }
    const auto room = static_cast<DWORD>(Room(position.QuadPart, count));
    if (count > 0 && room == 0) {
      if (written) *written = 0;
      ::SetLastError(ERROR_DISK_FULL);
      return FALSE;
    }
    return os_syscalls{}.WriteFile(file, buffer, room, written, overlapped);
  }
  os_syscall_override<decltype(os_sys.WriteFile)> write{os_sys.WriteFile, &Write};
};

struct WritesTakeNothing::Overrides {
  static BOOL WINAPI Write(HANDLE, LPCVOID, DWORD, LPDWORD written, LPOVERLAPPED) {
    if (written) *written = 0;
    return TRUE;
  }
  os_syscall_override<decltype(os_sys.WriteFile)> write{os_sys.WriteFile, &Write};
};

struct ShortTransfers::Overrides {
  static BOOL WINAPI Read(HANDLE file, LPVOID buffer, DWORD count, LPDWORD done, LPOVERLAPPED overlapped) {
    return os_syscalls{}.ReadFile(file, buffer, std::min(count, static_cast<DWORD>(g_most)), done, overlapped);
  }
  static BOOL WINAPI Write(HANDLE file, LPCVOID buffer, DWORD count, LPDWORD done, LPOVERLAPPED overlapped) {
    return os_syscalls{}.WriteFile(file, buffer, std::min(count, static_cast<DWORD>(g_most)), done, overlapped);
  }
  os_syscall_override<decltype(os_sys.ReadFile)> read{os_sys.ReadFile, &Read};
  os_syscall_override<decltype(os_sys.WriteFile)> write{os_sys.WriteFile, &Write};
};

#else

struct RefuseCreatesIn::Overrides {
  static int Open(const char* path, int flags, mode_t mode) {
    struct stat status{};
    if ((flags & O_CREAT) && InDirectory(path) && os_syscalls{}.lstat(path, &status) != 0) {
      errno = EACCES;
      return -1;
    }
    return os_syscalls{}.open(path, flags, mode);
  }
  static int MakeDirectory(const char* path, mode_t mode) {
    if (!InDirectory(path)) return os_syscalls{}.mkdir(path, mode);
    errno = EACCES;
    return -1;
  }
  os_syscall_override<decltype(os_sys.open)> file{os_sys.open, &Open};
  os_syscall_override<decltype(os_sys.mkdir)> directory{os_sys.mkdir, &MakeDirectory};
};

struct FileSizeLimit::Overrides {
  static ssize_t Write(int fd, const void* buffer, size_t count) {
    const off_t position = os_syscalls{}.lseek(fd, 0, SEEK_CUR);
    if (position < 0) return os_syscalls{}.write(fd, buffer, count);
    const auto room = static_cast<size_t>(Room(position, static_cast<std::int64_t>(count)));
    if (count > 0 && room == 0) {
      errno = EFBIG;
      return -1;
    }
    return os_syscalls{}.write(fd, buffer, room);
  }
  os_syscall_override<decltype(os_sys.write)> write{os_sys.write, &Write};
};

struct WritesTakeNothing::Overrides {
  static ssize_t Write(int, const void*, size_t) { return 0; }
  os_syscall_override<decltype(os_sys.write)> write{os_sys.write, &Write};
};

struct ShortTransfers::Overrides {
  static ssize_t Read(int fd, void* buffer, size_t count) { return os_syscalls{}.read(fd, buffer, std::min(count, g_most)); }
  static ssize_t Write(int fd, const void* buffer, size_t count) {
    return os_syscalls{}.write(fd, buffer, std::min(count, g_most));
  }
  os_syscall_override<decltype(os_sys.read)> read{os_sys.read, &Read};
  os_syscall_override<decltype(os_sys.write)> write{os_sys.write, &Write};
};

#endif

RefuseCreatesIn::RefuseCreatesIn(const std::string& directory) {
  g_directory = directory;
  m_overrides = std::make_unique<Overrides>();
}
RefuseCreatesIn::~RefuseCreatesIn() = default;

FileSizeLimit::FileSizeLimit(std::int64_t bytes) {
  g_limit = bytes;
  m_overrides = std::make_unique<Overrides>();
}
FileSizeLimit::~FileSizeLimit() = default;

WritesTakeNothing::WritesTakeNothing() : m_overrides(std::make_unique<Overrides>()) {}
WritesTakeNothing::~WritesTakeNothing() = default;

ShortTransfers::ShortTransfers(std::size_t bytes) {
  g_most = bytes;
  m_overrides = std::make_unique<Overrides>();
}
ShortTransfers::~ShortTransfers() = default;
