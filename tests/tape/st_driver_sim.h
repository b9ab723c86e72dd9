#pragma once
// A simulated Linux SCSI tape driver behind /dev/nst0, played through the
// platform's table of system calls; other paths and descriptors reach the
// real calls. One at a time, while no other thread makes those calls.
//
// What the st driver documents and the drive backend relies on: a filemark
// written by itself at a close, rewind, seek or unload after a write (a write
// of filemarks leaves that state); a filemark read as 0 bytes and passed; at
// the end of data 0 bytes with GMT_EOD; the write past the early warning is
// finished and the next gets ENOSPC; at the physical end what fits is
// written, then EIO with GMT_EOT; a cartridge put in after the open shows at
// the next open; the open does not wait for a medium with O_NONBLOCK.
#include <linux/mtio.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "os_syscalls.h"

struct StDriverSim {
  StDriverSim() { s_sim = this; }
  ~StDriverSim() { s_sim = nullptr; }
  int Filemarks() const { return static_cast<int>(std::count(tape.begin(), tape.end(), std::string())); }

  std::vector<std::string> tape;  // the blocks; an empty one is a filemark
  bool medium = true;
  bool write_protected = false;
  bool root = false;                       // MTSETDRVBUFFER is allowed
  unsigned long options = 0;               // the driver options, as sysfs shows them
  std::uint32_t block_size = 0;            // 0: variable block mode
  std::uint32_t position = 0;              // the next block
  std::uint32_t early_warning = UINT_MAX;  // the write that ends past this block is the last before ENOSPC
  std::uint32_t physical_end = UINT_MAX;   // no block is written at or past it
  bool unit_attention = false;             // a new cartridge: I/O fails with EIO until the next open
  int open_error = 0;                      // an open fails with it (EACCES: the node's permission)
  bool open = false;                       // a second open gets EBUSY
  bool ready = false;                      // the driver's view: a medium was there at the open or MTLOAD
  bool writing = false;                    // the last operation was a write: a filemark is owed
  bool warning_owed = false;               // the next write gets ENOSPC
  bool physical_end_hit = false;           // GMT_EOT

 private:
  static constexpr int kDriveFd = 9001;
  static constexpr int kOptionsFd = 9002;
  static constexpr const char* kOptionsPath = "/sys/dev/char/9:128/options";

  static inline StDriverSim* s_sim = nullptr;  // the one simulated now

  static int Fail(int error) {
    errno = error;
    return error ? -1 : 0;
  }

  // Why the drive refuses I/O, or 0.
  static int Refusal() {
    if (!s_sim->medium) return s_sim->ready ? EIO : ENOMEDIUM;
    return s_sim->unit_attention ? EIO : 0;
  }

  static void FilemarkIfWriting() {
    StDriverSim& s = *s_sim;
    if (!s.writing || !s.medium) return;
    s.tape.resize(s.position++);
    s.tape.emplace_back();
    s.writing = false;
  }

  static int Open(const char* path, int flags, mode_t mode) {
    StDriverSim& s = *s_sim;
    if (std::strcmp(path, kOptionsPath) == 0) return kOptionsFd;
    if (std::strcmp(path, "/dev/nst0") != 0) {
      return std::strncmp(path, "/dev/nst", 8) == 0 ? Fail(ENOENT) : os_syscalls{}.open(path, flags, mode);
    }
    if (s.open_error || s.open) return Fail(s.open ? EBUSY : s.open_error);
    if (!(flags & O_NONBLOCK) && !s.medium) return Fail(EIO);  // after a wait of minutes
    s.open = true;
    s.ready = s.medium;
    s.position = std::exchange(s.unit_attention, false) ? 0 : s.position;
    return kDriveFd;
  }

  static int Close(int fd) {
    if (fd != kDriveFd) return fd == kOptionsFd ? 0 : os_syscalls{}.close(fd);
    FilemarkIfWriting();
    s_sim->open = false;
    return 0;
  }

  static ssize_t Read(int fd, void* buffer, size_t count) {
    StDriverSim& s = *s_sim;
    if (fd == kOptionsFd) return std::snprintf(static_cast<char*>(buffer), count, "0x%08lx\n", s.options);
    if (fd != kDriveFd) return os_syscalls{}.read(fd, buffer, count);
    if (Refusal()) return Fail(Refusal());
    s.writing = false;
    size_t done = 0;
    while (done < count && s.position < s.tape.size()) {
      const std::string& block = s.tape[s.position];
      if (block.empty()) {  // a filemark
        s.position += done == 0 ? 1 : 0;
        break;
      }
      if (s.block_size == 0 && block.size() > count) return Fail(ENOMEM);
      if (s.block_size != 0 && block.size() != s.block_size) return done ? static_cast<ssize_t>(done) : Fail(EIO);
      if (count - done < block.size()) break;
      std::memcpy(static_cast<char*>(buffer) + done, block.data(), block.size());
      done += block.size();
      ++s.position;
      if (s.block_size == 0) break;  // variable: one block per read
    }
    return static_cast<ssize_t>(done);
  }

  static ssize_t Write(int fd, const void* buffer, size_t count) {
    StDriverSim& s = *s_sim;
    if (fd != kDriveFd) return os_syscalls{}.write(fd, buffer, count);
    if (Refusal()) return Fail(Refusal());
    if (s.write_protected) return Fail(EACCES);
    if (s.block_size != 0 && count % s.block_size != 0) return Fail(EINVAL);
    s.writing = true;
    if (std::exchange(s.warning_owed, false)) return Fail(ENOSPC);
    const size_t size = s.block_size ? s.block_size : count;
    size_t blocks = count / size;
    if (s.position + blocks > s.physical_end) {
      s.physical_end_hit = true;
      if (s.position >= s.physical_end) return Fail(EIO);
      blocks = s.physical_end - s.position;
    }
    s.tape.resize(s.position);
    for (size_t i = 0; i < blocks; ++i) s.tape.emplace_back(static_cast<const char*>(buffer) + i * size, size);
    s.warning_owed = s.position <= s.early_warning && s.position + blocks > s.early_warning;
    s.position += static_cast<std::uint32_t>(blocks);
    return static_cast<ssize_t>(blocks * size);
  }

  static int Status(mtget* status) {
    const StDriverSim& s = *s_sim;
    *status = mtget{};
    status->mt_dsreg = static_cast<long>(s.block_size) << MT_ST_BLKSIZE_SHIFT;
    status->mt_gstat = !s.ready ? GMT_DR_OPEN(-1L)
                                : GMT_ONLINE(-1L) | (s.write_protected ? GMT_WR_PROT(-1L) : 0) |
                                      (s.position == 0 ? GMT_BOT(-1L) : 0) | (s.physical_end_hit ? GMT_EOT(-1L) : 0) |
                                      (s.position >= s.tape.size() ? GMT_EOD(-1L) : 0);
    return 0;
  }

  static int Operate(const mtop& op) {
    StDriverSim& s = *s_sim;
    const auto count = static_cast<std::uint32_t>(op.mt_count);
    const auto end = static_cast<std::uint32_t>(s.tape.size());
    if (op.mt_op == MTSETDRVBUFFER) {
      s.options |= s.root ? count & ~static_cast<std::uint32_t>(MT_ST_OPTIONS) : 0;
      return Fail(s.root ? 0 : EPERM);
    }
    if (op.mt_op == MTSETBLK) {
      if (count > (1u << 20)) return Fail(EINVAL);
      s.block_size = count;
      return 0;
    }
    if (!s.medium || s.unit_attention) return Fail(EIO);
    switch (op.mt_op) {
      case MTWEOF:
      case MTWEOFI:
      case MTERASE:
        if (s.write_protected) return Fail(EACCES);
        s.tape.resize(s.position);  // what followed is gone
        if (op.mt_op != MTERASE) s.tape.resize(s.position += count);  // the filemarks asked for
        s.writing = false;
        return 0;
      case MTSEEK:
        FilemarkIfWriting();
        s.position = std::min(count, end);
        return Fail(count > end ? EIO : 0);
      case MTUNLOAD:
        FilemarkIfWriting();
        s.medium = false;
        [[fallthrough]];
      case MTREW:
      case MTLOAD:
        FilemarkIfWriting();
        s.ready = s.medium;
        s.position = 0;
        return 0;
      case MTEOM:
        s.writing = false;  // a flush, no filemark
        s.position = end;
        return 0;
      default:
        return Fail(EINVAL);
    }
  }

  static int Ioctl(int fd, unsigned long request, void* record) {
    if (fd != kDriveFd) return os_syscalls{}.ioctl(fd, request, record);
    if (request == MTIOCGET) return Status(static_cast<mtget*>(record));
    if (request == MTIOCTOP) return Operate(*static_cast<mtop*>(record));
    if (request != MTIOCPOS) return Fail(ENOTTY);
    static_cast<mtpos*>(record)->mt_blkno = static_cast<long>(s_sim->position);
    return Fail(s_sim->medium && !s_sim->unit_attention ? 0 : EIO);
  }

  static int Fstat(int fd, struct stat* status) {
    if (fd != kDriveFd) return os_syscalls{}.fstat(fd, status);
    *status = {};
    status->st_mode = S_IFCHR | 0660;
    status->st_rdev = makedev(9, 128);  // the non-rewinding node of tape 0
    return 0;
  }

  os_syscall_override<decltype(os_sys.open)> m_open{os_sys.open, &Open};
  os_syscall_override<decltype(os_sys.close)> m_close{os_sys.close, &Close};
  os_syscall_override<decltype(os_sys.read)> m_read{os_sys.read, &Read};
  os_syscall_override<decltype(os_sys.write)> m_write{os_sys.write, &Write};
  os_syscall_override<decltype(os_sys.ioctl)> m_ioctl{os_sys.ioctl, &Ioctl};
  os_syscall_override<decltype(os_sys.fstat)> m_fstat{os_sys.fstat, &Fstat};
};
