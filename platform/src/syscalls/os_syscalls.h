#pragma once
// The operating system calls under the platform backends, one table per
// platform. The file, lock and directory backends call the system only
// through os_sys, so that a test can replace one entry and play a fault the
// real system will not make on demand (a refused create, a short write).
//
// To add a call: one member with its default, the real call, below; a
// variadic call gets a fixed signature through a lambda (see open).
//
// Not thread-safe to change: a test replaces an entry (os_syscall_override)
// only while no other thread of the process makes that call.
#if defined(_WIN32)
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#else
#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>
#endif

#if defined(_WIN32)
struct os_syscalls {
  // Files
  HANDLE(WINAPI* CreateFileA)(LPCSTR, DWORD, DWORD, LPSECURITY_ATTRIBUTES, DWORD, DWORD, HANDLE) = &::CreateFileA;
  BOOL(WINAPI* CloseHandle)(HANDLE) = &::CloseHandle;
  BOOL(WINAPI* ReadFile)(HANDLE, LPVOID, DWORD, LPDWORD, LPOVERLAPPED) = &::ReadFile;
  BOOL(WINAPI* WriteFile)(HANDLE, LPCVOID, DWORD, LPDWORD, LPOVERLAPPED) = &::WriteFile;
  BOOL(WINAPI* SetFilePointerEx)(HANDLE, LARGE_INTEGER, PLARGE_INTEGER, DWORD) = &::SetFilePointerEx;
  BOOL(WINAPI* SetEndOfFile)(HANDLE) = &::SetEndOfFile;
  BOOL(WINAPI* GetFileSizeEx)(HANDLE, PLARGE_INTEGER) = &::GetFileSizeEx;
  // Locks
  BOOL(WINAPI* LockFileEx)(HANDLE, DWORD, DWORD, DWORD, DWORD, LPOVERLAPPED) = &::LockFileEx;
  BOOL(WINAPI* UnlockFileEx)(HANDLE, DWORD, DWORD, DWORD, LPOVERLAPPED) = &::UnlockFileEx;
  // Directories and entries
  HANDLE(WINAPI* FindFirstFileA)(LPCSTR, LPWIN32_FIND_DATAA) = &::FindFirstFileA;
  BOOL(WINAPI* FindNextFileA)(HANDLE, LPWIN32_FIND_DATAA) = &::FindNextFileA;
  BOOL(WINAPI* FindClose)(HANDLE) = &::FindClose;
  DWORD(WINAPI* GetFileAttributesA)(LPCSTR) = &::GetFileAttributesA;
  BOOL(WINAPI* GetFileAttributesExA)(LPCSTR, GET_FILEEX_INFO_LEVELS, LPVOID) = &::GetFileAttributesExA;
  BOOL(WINAPI* CreateDirectoryA)(LPCSTR, LPSECURITY_ATTRIBUTES) = &::CreateDirectoryA;
  BOOL(WINAPI* RemoveDirectoryA)(LPCSTR) = &::RemoveDirectoryA;
  BOOL(WINAPI* DeleteFileA)(LPCSTR) = &::DeleteFileA;
  BOOL(WINAPI* MoveFileExA)(LPCSTR, LPCSTR, DWORD) = &::MoveFileExA;
};
#else
struct os_syscalls {
  // Files
  int (*open)(const char* path, int flags, mode_t mode) = [](const char* path, int flags, mode_t mode) {
    return ::open(path, flags, mode);
  };
  int (*close)(int fd) = &::close;
  ssize_t (*read)(int fd, void* buffer, size_t count) = &::read;
  ssize_t (*write)(int fd, const void* buffer, size_t count) = &::write;
  off_t (*lseek)(int fd, off_t offset, int whence) = &::lseek;
  int (*ftruncate)(int fd, off_t length) = &::ftruncate;
  int (*fstat)(int fd, struct stat* status) = &::fstat;
  // Locks: fcntl with a lock command (F_OFD_SETLK, F_OFD_SETLKW)
  int (*fcntl_lock)(int fd, int command, struct flock* record) = [](int fd, int command, struct flock* record) {
    return ::fcntl(fd, command, record);
  };
  // Directories and entries
  DIR* (*opendir)(const char* path) = &::opendir;
  dirent* (*readdir)(DIR* directory) = &::readdir;
  int (*closedir)(DIR* directory) = &::closedir;
  int (*stat)(const char* path, struct stat* status) = &::stat;
  int (*lstat)(const char* path, struct stat* status) = &::lstat;
  int (*mkdir)(const char* path, mode_t mode) = &::mkdir;
  int (*rmdir)(const char* path) = &::rmdir;
  int (*unlink)(const char* path) = &::unlink;
  int (*rename)(const char* from, const char* to) = &::rename;
  // Devices: ioctl with a request that takes one record (the tape driver's)
  int (*ioctl)(int fd, unsigned long request, void* record) = [](int fd, unsigned long request, void* record) {
    return ::ioctl(fd, request, record);
  };
};
#endif

// The calls in force; the real ones until a test replaces an entry. A fake
// reaches the real call as os_syscalls{}.name.
extern os_syscalls os_sys;

// Replaces one entry of os_sys until the guard goes, then puts back what was
// there: os_syscall_override guard(os_sys.write, &ShortWrite). Tests only.
template <typename Call>
class os_syscall_override {
 public:
  os_syscall_override(Call& entry, Call replacement) : m_entry(entry), m_saved(entry) { m_entry = replacement; }
  ~os_syscall_override() { m_entry = m_saved; }
  os_syscall_override(const os_syscall_override&) = delete;
  os_syscall_override& operator=(const os_syscall_override&) = delete;

 private:
  Call& m_entry;
  Call m_saved;
};
