// The st driver's documented answers (Documentation/scsi/st.rst, st(4)):
// - one open at a time (EBUSY); without O_NONBLOCK and without a medium the
//   open waits and fails, which a test must never see;
// - a filemark is written by itself on close, rewind, seek or unload when the
//   last operation was a write; a write of filemarks leaves that state;
// - MTIOCPOS and MTSEEK use logical block numbers only with
//   MT_ST_SCSI2LOGICAL, else a device-dependent address;
// - MTSETDRVBUFFER is for root only; sysfs "options" shows the option bits;
// - at the end of data a read gives 0 bytes with GMT_EOD, then EIO; a read of
//   a filemark gives 0 bytes and moves past it;
// - the write that meets the early warning is finished, the next returns
//   ENOSPC, then a trailer write proceeds, and so on; at the physical end a
//   write in fixed block mode writes what fits and returns its count, the
//   next fails with EIO and GMT_EOT;
// - a unit attention (new cartridge) fails I/O with EIO; the next open starts
//   a new session at the beginning of the tape;
// - the drive's state is what the driver saw at the open or MTLOAD: a
//   cartridge put in later shows at the next open, one pulled out makes I/O
//   fail with EIO.
#include "st_driver_sim.h"

#include <linux/mtio.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "os_syscalls.h"

namespace {

constexpr int kDriveFd = 9001;
constexpr int kOptionsFd = 9002;
constexpr long kVendorAddressBase = 0x10000;  // what a device-dependent address adds here
constexpr std::uint32_t kMaxBlockSize = 1 << 20;

StDriverSim* g_sim = nullptr;

int Fail(int error) {
  errno = error;
  return -1;
}

std::string OptionsPath() { return "/sys/dev/char/9:128/options"; }

}  // namespace

struct StDriverSim::Overrides {
  static StDriverSim& S() { return *g_sim; }

  // The driver's filemark after a write, before a move or at close.
  static void FilemarkIfWriting() {
    StDriverSim& s = S();
    if (!s.writing || !s.medium) return;
    s.tape.resize(s.position);
    const int count = (s.options & MT_ST_TWO_FM) ? 2 : 1;
    for (int i = 0; i < count; ++i) s.tape.push_back(StSimBlock{"", true});
    s.position += 1;  // before the second mark, as the driver leaves it
    s.writing = false;
  }

  static int Open(const char* path, int flags, mode_t mode) {
    StDriverSim& s = S();
    if (path == OptionsPath()) return kOptionsFd;
    if (path != s.device) {
      if (std::strncmp(path, "/dev/nst", 8) == 0 || std::strncmp(path, "/sys/dev/char/9:", 16) == 0) return Fail(ENOENT);
      return os_syscalls{}.open(path, flags, mode);
    }
    if (s.open_error) return Fail(s.open_error);
    if (s.open) return Fail(EBUSY);
    if (!(flags & O_NONBLOCK) && !s.medium) {
      s.blocking_open = true;  // the real driver would wait here for minutes
      return Fail(EIO);
    }
    s.open = true;
    s.ready = s.medium;
    if (s.unit_attention) {
      s.unit_attention = false;
      s.position = 0;
      s.at_end_of_data = s.at_filemark = false;
      s.warning = EarlyWarning::none;
    }
    return kDriveFd;
  }

  static int Close(int fd) {
    if (fd == kOptionsFd) return 0;
    if (fd != kDriveFd) return os_syscalls{}.close(fd);
    FilemarkIfWriting();
    S().open = false;
    return 0;
  }

  static ssize_t Read(int fd, void* buffer, size_t count) {
    StDriverSim& s = S();
    if (fd == kOptionsFd) {
      char text[32];
      const int n = std::snprintf(text, sizeof text, "0x%08lx\n", s.options);
      std::memcpy(buffer, text, std::min<size_t>(count, static_cast<size_t>(n)));
      return std::min<ssize_t>(static_cast<ssize_t>(count), n);
    }
    if (fd != kDriveFd) return os_syscalls{}.read(fd, buffer, count);
    if (!s.medium) return Fail(s.ready ? EIO : ENOMEDIUM);
    if (s.unit_attention) return Fail(EIO);
    s.writing = false;
    s.at_filemark = false;
    if (s.at_end_of_data && s.position >= s.tape.size()) return Fail(EIO);
    char* out = static_cast<char*>(buffer);
    size_t done = 0;
    while (done < count) {
      if (s.position >= s.tape.size()) {
        s.at_end_of_data = true;
        break;
      }
      const StSimBlock& block = s.tape[s.position];
      if (block.filemark) {
        if (done == 0) {
          ++s.position;
          s.at_filemark = true;
        }
        break;
      }
      if (s.block_size == 0) {  // variable: one block per read
        ++s.position;
        if (block.data.size() > count) return Fail(ENOMEM);
        std::memcpy(out, block.data.data(), block.data.size());
        return static_cast<ssize_t>(block.data.size());
      }
      if (block.data.size() != s.block_size) return done ? static_cast<ssize_t>(done) : Fail(EIO);
      if (count - done < s.block_size) break;
      std::memcpy(out + done, block.data.data(), s.block_size);
      done += s.block_size;
      ++s.position;
    }
    return static_cast<ssize_t>(done);
  }

  static ssize_t Write(int fd, const void* buffer, size_t count) {
    StDriverSim& s = S();
    if (fd != kDriveFd) return os_syscalls{}.write(fd, buffer, count);
    if (!s.medium) return Fail(s.ready ? EIO : ENOMEDIUM);
    if (s.write_protected) return Fail(EACCES);
    if (s.unit_attention) return Fail(EIO);
    if (s.block_size != 0 && count % s.block_size != 0) return Fail(EINVAL);
    s.writing = true;
    s.at_end_of_data = s.at_filemark = false;
    if (s.warning == EarlyWarning::pending) {
      s.warning = EarlyWarning::trailer;
      return Fail(ENOSPC);
    }
    const size_t size = s.block_size ? s.block_size : count;
    auto blocks = static_cast<std::uint32_t>(count / size);
    if (s.position + blocks > s.physical_end) {  // what fits is written, the count tells
      s.physical_end_hit = true;
      if (s.position >= s.physical_end) return Fail(EIO);
      blocks = s.physical_end - s.position;
      count = blocks * size;
    }
    s.tape.resize(s.position);
    const char* in = static_cast<const char*>(buffer);
    for (std::uint32_t i = 0; i < blocks; ++i) s.tape.push_back(StSimBlock{std::string(in + i * size, size), false});
    s.position += blocks;
    if (s.position > s.early_warning) s.warning = EarlyWarning::pending;
    return static_cast<ssize_t>(count);
  }

  static int Status(mtget* status) {
    StDriverSim& s = S();
    *status = mtget{};
    status->mt_type = MT_ISSCSI2;
    status->mt_dsreg = static_cast<long>(s.block_size) << MT_ST_BLKSIZE_SHIFT;
    status->mt_resid = 0;  // the partition
    long flags = 0;
    if (!s.ready) {
      flags |= GMT_DR_OPEN(-1L);
    } else {
      flags |= GMT_ONLINE(-1L);
      if (s.write_protected) flags |= GMT_WR_PROT(-1L);
      if (s.position == 0) flags |= GMT_BOT(-1L);
      if (s.physical_end_hit || s.warning != EarlyWarning::none) flags |= GMT_EOT(-1L);
      else if (s.at_end_of_data) flags |= GMT_EOD(-1L);
      if (s.at_filemark) flags |= GMT_EOF(-1L);
    }
    status->mt_gstat = flags;
    return 0;
  }

  static int Operate(const mtop& op) {
    StDriverSim& s = S();
    if (op.mt_op == MTSETDRVBUFFER) {
      if (!s.root) return Fail(EPERM);
      const unsigned long bits = static_cast<unsigned long>(op.mt_count) & ~static_cast<unsigned long>(MT_ST_OPTIONS);
      switch (static_cast<unsigned long>(op.mt_count) & MT_ST_OPTIONS) {
        case MT_ST_SETBOOLEANS: s.options |= bits; return 0;
        case MT_ST_CLEARBOOLEANS: s.options &= ~bits; return 0;
        case MT_ST_BOOLEANS: s.options = bits; return 0;
        default: return Fail(EINVAL);
      }
    }
    if (op.mt_op == MTSETBLK) {
      if (op.mt_count < 0 || static_cast<std::uint32_t>(op.mt_count) > kMaxBlockSize) return Fail(EINVAL);
      s.block_size = static_cast<std::uint32_t>(op.mt_count);
      return 0;
    }
    if (op.mt_op == MTNOP) return 0;
    if (!s.medium) return Fail(EIO);  // the caller sees GMT_DR_OPEN
    if (s.unit_attention) return Fail(EIO);
    s.at_filemark = false;
    switch (op.mt_op) {
      case MTWEOF:
      case MTWEOFI:
        if (s.write_protected) return Fail(EACCES);
        s.tape.resize(s.position);
        for (int i = 0; i < op.mt_count; ++i) s.tape.push_back(StSimBlock{"", true});
        s.position += static_cast<std::uint32_t>(op.mt_count);
        s.writing = false;
        return 0;
      case MTREW:
        FilemarkIfWriting();
        s.position = 0;
        s.at_end_of_data = false;
        s.warning = EarlyWarning::none;
        return 0;
      case MTSEEK: {
        FilemarkIfWriting();
        long block = op.mt_count;
        if (!(s.options & MT_ST_SCSI2LOGICAL)) block -= kVendorAddressBase;
        s.warning = EarlyWarning::none;
        if (block < 0 || static_cast<std::size_t>(block) > s.tape.size()) {
          s.position = static_cast<std::uint32_t>(s.tape.size());
          s.at_end_of_data = true;
          return Fail(EIO);
        }
        s.position = static_cast<std::uint32_t>(block);
        s.at_end_of_data = false;
        return 0;
      }
      case MTEOM:
        s.writing = false;  // a flush, no filemark
        s.position = static_cast<std::uint32_t>(s.tape.size());
        s.at_end_of_data = true;
        return 0;
      case MTLOAD:
        s.ready = true;
        s.position = 0;
        s.at_end_of_data = false;
        return 0;
      case MTUNLOAD:
      case MTOFFL:
        FilemarkIfWriting();
        s.medium = s.ready = false;
        s.position = 0;
        return 0;
      case MTERASE:
        if (s.write_protected) return Fail(EACCES);
        s.tape.resize(s.position);
        return 0;
      default:
        return Fail(EINVAL);
    }
  }

  static int Ioctl(int fd, unsigned long request, void* record) {
    StDriverSim& s = S();
    if (fd != kDriveFd) return os_syscalls{}.ioctl(fd, request, record);
    if (request == MTIOCGET) return Status(static_cast<mtget*>(record));
    if (request == MTIOCTOP) return Operate(*static_cast<mtop*>(record));
    if (request == MTIOCPOS) {
      if (!s.medium || s.unit_attention) return Fail(EIO);
      const long vendor = (s.options & MT_ST_SCSI2LOGICAL) ? 0 : kVendorAddressBase;
      static_cast<mtpos*>(record)->mt_blkno = static_cast<long>(s.position) + vendor;
      return 0;
    }
    return Fail(ENOTTY);
  }

  static int Fstat(int fd, struct stat* status) {
    if (fd != kDriveFd) return os_syscalls{}.fstat(fd, status);
    *status = {};
    status->st_mode = S_IFCHR | 0660;
    status->st_rdev = makedev(9, 128);  // the non-rewinding node of tape 0
    return 0;
  }

  os_syscall_override<decltype(os_sys.open)> open{os_sys.open, &Open};
  os_syscall_override<decltype(os_sys.close)> close{os_sys.close, &Close};
  os_syscall_override<decltype(os_sys.read)> read{os_sys.read, &Read};
  os_syscall_override<decltype(os_sys.write)> write{os_sys.write, &Write};
  os_syscall_override<decltype(os_sys.ioctl)> ioctl{os_sys.ioctl, &Ioctl};
  os_syscall_override<decltype(os_sys.fstat)> fstat{os_sys.fstat, &Fstat};
};

StDriverSim::StDriverSim(std::string device_) : device(std::move(device_)) {
  g_sim = this;
  m_overrides = std::make_unique<Overrides>();
}

StDriverSim::~StDriverSim() {
  m_overrides.reset();
  g_sim = nullptr;
}

int StDriverSim::Filemarks() const {
  return static_cast<int>(std::count_if(tape.begin(), tape.end(), [](const StSimBlock& b) { return b.filemark; }));
}
