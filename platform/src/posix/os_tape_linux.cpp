// The operating system's drive on Linux: the SCSI tape driver (st) behind
// /dev/nstN, reached through its ioctls, with the semantics of the Windows
// tape calls that the seam promises. docs/LINUX-TAPE.md maps every call and
// number onto the driver; the rules that matter most:
//
// - No tape marks, ever. The driver writes a filemark by itself when a device
//   whose last operation was a write is closed, rewound, repositioned or
//   unloaded. Before any of these, a write of zero filemarks (MTWEOF, count
//   0) flushes the drive and leaves the driver's write state, so nothing is
//   added: m_written says when that is owed.
// - Block addresses are logical (the block numbers that count from the start
//   of the tape): MT_ST_SCSI2LOGICAL is set at open, or found set in the
//   drive's sysfs options. Without it, positions are refused and the features
//   are not claimed, since a vendor address stored in a location could not
//   be read back.
// - The open never waits for a medium (O_NONBLOCK): without a cartridge the
//   calls answer "no medium" at once.
#include <linux/mtio.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <string>

#include "os_syscalls.h"
#include "os_tape.h"
#include "os_tape_drive.h"

namespace {

// Feature bits of the drive record that this backend can honour, as the
// Windows tape interface publishes them (FeaturesHigh without its top bit,
// which only tells the two words apart).
constexpr std::uint32_t kFixedBlock = 0x00000400;
constexpr std::uint32_t kVariableBlock = 0x00000800;
constexpr std::uint32_t kWriteProtect = 0x00001000;
constexpr std::uint32_t kEraseShort = 0x00000010;
constexpr std::uint32_t kEraseLong = 0x00000020;
constexpr std::uint32_t kGetLogicalBlock = 0x00200000;
constexpr std::uint32_t kEjectMedia = 0x01000000;
constexpr std::uint32_t kLoadUnload = 0x00000001;
constexpr std::uint32_t kSetBlockSize = 0x00000010;
constexpr std::uint32_t kLogicalBlock = 0x00004000;
constexpr std::uint32_t kEndOfData = 0x00010000;
constexpr std::uint32_t kWriteFilemarks = 0x02000000;

// Erase types, tapemark types and the partition method of the Windows calls.
constexpr std::uint32_t kEraseShortType = 0;
constexpr std::uint32_t kEraseLongType = 1;
constexpr std::uint32_t kFilemarksType = 1;
constexpr std::uint32_t kFixedPartitions = 0;

constexpr int kOpenFlags = O_RDWR | O_NONBLOCK | O_CLOEXEC;

// "\\.\TAPEn" names drive n; the non-rewinding node keeps the position across
// the closes that the tape logic makes after every file. Any other name is
// the device path itself.
std::string DevicePath(const std::string& name) {
  static const std::string prefix = "\\\\.\\TAPE";
  if (name.size() <= prefix.size()) return name;
  for (std::size_t i = 0; i < prefix.size(); ++i) {
    if (std::toupper(static_cast<unsigned char>(name[i])) != prefix[i]) return name;
  }
  const std::string number = name.substr(prefix.size());
  if (number.find_first_not_of("0123456789") != std::string::npos) return name;
  return "/dev/nst" + number;
}

// The number of an errno that means the same whatever the drive's state.
std::uint32_t PlainNumber(int error) {
  switch (error) {
    case ENOENT:
    case ENXIO:
    case ENODEV:
      return OS_TAPE_FILE_NOT_FOUND;
    case EACCES:  // a write, filemark or erase on a protected medium
      return OS_TAPE_WRITE_PROTECT;
    case EBUSY:  // the driver allows one open
      return OS_TAPE_SHARING_VIOLATION;
    case EINVAL:
      return OS_TAPE_INVALID_PARAMETER;
    case ENOTTY:  // not a tape device
      return OS_TAPE_NOT_SUPPORTED;
    case ENOMEM:  // a block longer than the read buffer
      return OS_TAPE_INVALID_BLOCK_LENGTH;
    case ENOSPC:  // in the early-warning zone, nothing written
      return OS_TAPE_END_OF_MEDIA;
    case ENOMEDIUM:
      return OS_TAPE_NO_MEDIA_IN_DRIVE;
    default:
      return OS_TAPE_IO_DEVICE;
  }
}

// At open, EACCES is the device node's permission, not a protected medium.
std::uint32_t OpenNumber(int error) {
  return error == EACCES || error == EPERM ? OS_TAPE_ACCESS_DENIED : PlainNumber(error);
}

bool NoMedium(const mtget& status) { return GMT_DR_OPEN(status.mt_gstat) || !GMT_ONLINE(status.mt_gstat); }

class st_drive final : public os_tape_drive {
 public:
  st_drive(std::string path, int fd) : m_path(std::move(path)), m_fd(fd) { m_logical = MakeAddressesLogical(); }
  ~st_drive() override {
    if (m_fd < 0) return;
    Settle();
    os_sys.close(m_fd);
  }
  st_drive(const st_drive&) = delete;
  st_drive& operator=(const st_drive&) = delete;

  std::uint32_t get_parameters(std::uint32_t operation, std::uint32_t* size, void* record) override {
    if (const std::uint32_t error = Usable()) return error;
    mtget status{};
    if (const std::uint32_t error = Status(&status)) return error;
    const auto blockSize = static_cast<std::uint32_t>(status.mt_dsreg & MT_ST_BLKSIZE_MASK);
    if (operation == OS_TAPE_GET_MEDIA_INFORMATION) {
      if (size == nullptr || *size < sizeof(TAPE_GET_MEDIA_PARAMETERS)) return OS_TAPE_INVALID_PARAMETER;
      if (NoMedium(status)) return OS_TAPE_NO_MEDIA_IN_DRIVE;
      TAPE_GET_MEDIA_PARAMETERS media{};  // capacity and remaining: unknown to the driver, 0
      media.BlockSize = blockSize;
      media.PartitionCount = 1;
      media.WriteProtected = GMT_WR_PROT(status.mt_gstat) ? 1 : 0;
      *static_cast<TAPE_GET_MEDIA_PARAMETERS*>(record) = media;
      *size = sizeof media;
      return OS_TAPE_NO_ERROR;
    }
    if (operation == OS_TAPE_GET_DRIVE_INFORMATION) {
      if (size == nullptr || *size < sizeof(TAPE_GET_DRIVE_PARAMETERS)) return OS_TAPE_INVALID_PARAMETER;
      TAPE_GET_DRIVE_PARAMETERS drive{};  // block limits: not reported by the driver, 0
      drive.DefaultBlockSize = blockSize;  // what the drive is set to keeps a fresh volume in it
      drive.MaximumPartitionCount = 1;
      drive.FeaturesLow = kFixedBlock | kVariableBlock | kWriteProtect | kEraseShort | kEraseLong | kEjectMedia;
      drive.FeaturesHigh = kLoadUnload | kSetBlockSize | kEndOfData | kWriteFilemarks;
      if (m_logical) {
        drive.FeaturesLow |= kGetLogicalBlock;
        drive.FeaturesHigh |= kLogicalBlock;
      }
      *static_cast<TAPE_GET_DRIVE_PARAMETERS*>(record) = drive;
      *size = sizeof drive;
      return OS_TAPE_NO_ERROR;
    }
    return OS_TAPE_INVALID_PARAMETER;
  }

  std::uint32_t set_parameters(std::uint32_t operation, const void* record) override {
    if (const std::uint32_t error = Usable()) return error;
    if (operation != OS_TAPE_GET_MEDIA_INFORMATION) return OS_TAPE_NOT_SUPPORTED;  // no drive settings claimed
    const std::uint32_t blockSize = static_cast<const TAPE_SET_MEDIA_PARAMETERS*>(record)->BlockSize;
    if (blockSize > MT_ST_BLKSIZE_MASK) return OS_TAPE_INVALID_PARAMETER;
    return Operate(MTSETBLK, static_cast<int>(blockSize));
  }

  std::uint32_t get_status() override {
    if (const std::uint32_t error = Usable()) return error;
    if (m_changed) {
      m_changed = false;
      return OS_TAPE_MEDIA_CHANGED;
    }
    mtget status{};
    if (const std::uint32_t error = Status(&status)) return error;
    if (!NoMedium(status)) return OS_TAPE_NO_ERROR;
    // The driver learns of a cartridge put in after the open only at the next open.
    if (const std::uint32_t error = Reopen()) return error;
    if (const std::uint32_t error = Status(&status)) return error;
    return NoMedium(status) ? OS_TAPE_NO_MEDIA_IN_DRIVE : OS_TAPE_MEDIA_CHANGED;
  }

  std::uint32_t get_position(std::uint32_t type, std::uint32_t* partition, std::uint32_t* offsetLow,
                             std::uint32_t* offsetHigh) override {
    if (const std::uint32_t error = Usable()) return error;
    if (type != OS_TAPE_LOGICAL_POSITION || !m_logical) return OS_TAPE_NOT_SUPPORTED;
    mtpos position{};
    if (os_sys.ioctl(m_fd, MTIOCPOS, &position) != 0) return Number(errno);
    if (position.mt_blkno < 0 || position.mt_blkno > UINT32_MAX) return OS_TAPE_IO_DEVICE;
    // The tape is one partition: the driver's partitions stay off (MT_ST_CAN_PARTITIONS).
    *partition = 0;
    *offsetLow = static_cast<std::uint32_t>(position.mt_blkno);
    *offsetHigh = 0;
    return OS_TAPE_NO_ERROR;
  }

  std::uint32_t set_position(std::uint32_t method, std::uint32_t partition, std::uint32_t offsetLow,
                             std::uint32_t offsetHigh, bool /*immediate*/) override {
    if (const std::uint32_t error = Usable()) return error;
    if (method == OS_TAPE_LOGICAL_BLOCK) {
      if (!m_logical) return OS_TAPE_NOT_SUPPORTED;
      // One partition: 0 is the current one, 1 the first.
      if (partition > 1 || offsetHigh != 0 || offsetLow > INT_MAX) return OS_TAPE_INVALID_PARAMETER;
      return SettleAndOperate(MTSEEK, static_cast<int>(offsetLow));
    }
    if (method == OS_TAPE_REWIND) return SettleAndOperate(MTREW, 1);
    if (method == OS_TAPE_SPACE_END_OF_DATA) return SettleAndOperate(MTEOM, 1);
    return OS_TAPE_NOT_SUPPORTED;
  }

  std::uint32_t prepare(std::uint32_t operation, bool /*immediate*/) override {
    if (const std::uint32_t error = Usable()) return error;
    if (operation == OS_TAPE_LOAD) {
      const std::uint32_t error = SettleAndOperate(MTLOAD, 1);
      m_changed = error == OS_TAPE_NO_ERROR;
      return error;
    }
    if (operation == OS_TAPE_UNLOAD) return SettleAndOperate(MTUNLOAD, 1);
    return OS_TAPE_NOT_SUPPORTED;
  }

  std::uint32_t erase(std::uint32_t type, bool /*immediate*/) override {
    if (const std::uint32_t error = Usable()) return error;
    if (type != kEraseShortType && type != kEraseLongType) return OS_TAPE_INVALID_PARAMETER;
    return SettleAndOperate(MTERASE, type == kEraseLongType ? 1 : 0);
  }

  // The tape has one partition, the whole of it: "fixed partitions" of any
  // count up to one leave it so, at its start, as a format would.
  std::uint32_t create_partition(std::uint32_t method, std::uint32_t count, std::uint32_t /*size*/) override {
    if (const std::uint32_t error = Usable()) return error;
    if (method != kFixedPartitions || count > 1) return OS_TAPE_NOT_SUPPORTED;
    return SettleAndOperate(MTREW, 1);
  }

  std::uint32_t write_tapemark(std::uint32_t type, std::uint32_t count, bool immediate) override {
    if (const std::uint32_t error = Usable()) return error;
    if (type != kFilemarksType) return OS_TAPE_NOT_SUPPORTED;
    if (count > INT_MAX) return OS_TAPE_INVALID_PARAMETER;
    const std::uint32_t error = Operate(immediate ? MTWEOFI : MTWEOF, static_cast<int>(count));
    if (error == OS_TAPE_NO_ERROR) m_written = false;
    return error;
  }

  std::uint32_t read(void* buffer, std::uint32_t length, std::uint32_t* done) override {
    *done = 0;
    if (const std::uint32_t error = Usable()) return error;
    if (length == 0) return OS_TAPE_NO_ERROR;
    const ssize_t n = os_sys.read(m_fd, buffer, length);
    if (n < 0) return Number(errno);
    m_written = false;  // the driver has left its write state
    if (n > 0) {
      *done = static_cast<std::uint32_t>(n);
      return OS_TAPE_NO_ERROR;
    }
    // Nothing read: the end of the data, or a tape mark, which no volume of ours holds.
    mtget status{};
    if (const std::uint32_t error = Status(&status)) return error;
    return GMT_EOD(status.mt_gstat) ? OS_TAPE_NO_DATA_DETECTED : OS_TAPE_FILEMARK_DETECTED;
  }

  std::uint32_t write(const void* buffer, std::uint32_t length, std::uint32_t* done) override {
    *done = 0;
    if (const std::uint32_t error = Usable()) return error;
    if (length == 0) return OS_TAPE_NO_ERROR;
    const ssize_t n = os_sys.write(m_fd, buffer, length);
    const int error = errno;
    if (n > 0 || error == ENOSPC || error == EIO) m_written = true;
    if (n < 0) return Number(error);
    *done = static_cast<std::uint32_t>(n);
    // A write cut short has met the early warning; what it wrote stays counted.
    return static_cast<std::uint32_t>(n) < length ? OS_TAPE_END_OF_MEDIA : OS_TAPE_NO_ERROR;
  }

 private:
  // 0 while the drive is held; the number of the failed reopen otherwise.
  std::uint32_t Usable() const { return m_fd >= 0 ? OS_TAPE_NO_ERROR : m_lost; }

  std::uint32_t Status(mtget* status) {
    return os_sys.ioctl(m_fd, MTIOCGET, status) == 0 ? OS_TAPE_NO_ERROR : Number(errno);
  }

  std::uint32_t Operate(short operation, int count) {
    mtop op{};
    op.mt_op = operation;
    op.mt_count = count;
    return os_sys.ioctl(m_fd, MTIOCTOP, &op) == 0 ? OS_TAPE_NO_ERROR : Number(errno);
  }

  // After a write, zero filemarks leave the driver's write state: the
  // rewind, seek, unload or close that follows adds no filemark. On a
  // protected medium nothing was written, so there is nothing to owe.
  std::uint32_t Settle() {
    if (!m_written) return OS_TAPE_NO_ERROR;
    const std::uint32_t error = Operate(MTWEOF, 0);
    if (error == OS_TAPE_NO_ERROR || error == OS_TAPE_WRITE_PROTECT) m_written = false;
    return error == OS_TAPE_WRITE_PROTECT ? OS_TAPE_NO_ERROR : error;
  }

  // A move that would follow an unsettled write is not made: it would write a filemark.
  std::uint32_t SettleAndOperate(short operation, int count) {
    if (const std::uint32_t error = Settle()) return error;
    return Operate(operation, count);
  }

  std::uint32_t Reopen() {
    Settle();
    os_sys.close(m_fd);
    m_fd = os_sys.open(m_path.c_str(), kOpenFlags, 0);
    if (m_fd >= 0) return OS_TAPE_NO_ERROR;
    m_lost = OpenNumber(errno);
    return m_lost;
  }

  // The number of a failed call, with the driver's state where errno alone
  // does not tell (EIO stands for several conditions).
  std::uint32_t Number(int error) {
    if (error != EIO) return PlainNumber(error);
    mtget status{};
    if (os_sys.ioctl(m_fd, MTIOCGET, &status) != 0) return OS_TAPE_IO_DEVICE;
    if (NoMedium(status)) return OS_TAPE_NO_MEDIA_IN_DRIVE;
    if (GMT_EOT(status.mt_gstat)) return OS_TAPE_EOM_OVERFLOW;
    if (GMT_EOD(status.mt_gstat)) return OS_TAPE_NO_DATA_DETECTED;
    // A unit attention (new cartridge, reset) surfaces as EIO; a reopen shows
    // a new cartridge at its beginning, which is evidence only when the tape
    // stood elsewhere before. Not after a write: the close could add a filemark.
    const bool wasAtStart = GMT_BOT(status.mt_gstat);
    if (m_written || Reopen() != OS_TAPE_NO_ERROR) return OS_TAPE_IO_DEVICE;
    if (os_sys.ioctl(m_fd, MTIOCGET, &status) != 0) return OS_TAPE_IO_DEVICE;
    if (NoMedium(status)) return OS_TAPE_NO_MEDIA_IN_DRIVE;
    return !wasAtStart && GMT_BOT(status.mt_gstat) ? OS_TAPE_MEDIA_CHANGED : OS_TAPE_IO_DEVICE;
  }

  // Sets MT_ST_SCSI2LOGICAL (root only), else looks whether the
  // administrator has set it: the drive's options in sysfs.
  bool MakeAddressesLogical() {
    if (Operate(MTSETDRVBUFFER, MT_ST_SETBOOLEANS | MT_ST_SCSI2LOGICAL) == OS_TAPE_NO_ERROR) return true;
    struct stat device {};
    if (os_sys.fstat(m_fd, &device) != 0) return false;
    const std::string options =
        "/sys/dev/char/" + std::to_string(major(device.st_rdev)) + ":" + std::to_string(minor(device.st_rdev)) + "/options";
    const int fd = os_sys.open(options.c_str(), O_RDONLY | O_CLOEXEC, 0);
    if (fd < 0) return false;
    char text[32] = {};
    const ssize_t n = os_sys.read(fd, text, sizeof text - 1);
    os_sys.close(fd);
    return n > 0 && (std::strtoul(text, nullptr, 0) & MT_ST_SCSI2LOGICAL) != 0;
  }

  const std::string m_path;
  int m_fd;                             // -1 after a failed reopen
  std::uint32_t m_lost = OS_TAPE_NO_ERROR;  // why m_fd is -1
  bool m_logical = false;               // MTIOCPOS and MTSEEK give logical block numbers
  bool m_written = false;               // the driver is in its write state: a filemark is owed on a move
  bool m_changed = false;               // a load not yet reported by get_status
};

}  // namespace

std::unique_ptr<os_tape_drive> os_tape_open_system(const std::string& name, std::uint32_t* error) {
  const std::string path = DevicePath(name);
  const int fd = os_sys.open(path.c_str(), kOpenFlags, 0);
  if (fd < 0) {
    *error = OpenNumber(errno);
    return nullptr;
  }
  mtget status{};
  if (os_sys.ioctl(fd, MTIOCGET, &status) != 0) {  // not a tape device
    *error = errno == EIO ? OS_TAPE_IO_DEVICE : OS_TAPE_NOT_SUPPORTED;
    os_sys.close(fd);
    return nullptr;
  }
  *error = OS_TAPE_NO_ERROR;
  return std::make_unique<st_drive>(path, fd);
}

// Linux has no texts for these numbers; ours say what each means on a drive.
std::string os_tape_system_error_text(std::uint32_t error) {
  switch (error) {
    case OS_TAPE_NO_ERROR: return "The operation completed successfully.";
    case OS_TAPE_FILE_NOT_FOUND: return "No such tape drive or virtual tape library.";
    case OS_TAPE_PATH_NOT_FOUND: return "The path of the tape drive does not exist.";
    case OS_TAPE_ACCESS_DENIED: return "Access to the tape drive is denied.";
    case OS_TAPE_INVALID_HANDLE: return "The tape drive handle is not open.";
    case OS_TAPE_WRITE_PROTECT: return "The tape is write-protected.";
    case OS_TAPE_CRC: return "A block of the tape cannot be read.";
    case OS_TAPE_SHARING_VIOLATION: return "The tape drive is in use by another process.";
    case OS_TAPE_HANDLE_EOF: return "Reached the end of the tape.";
    case OS_TAPE_NOT_SUPPORTED: return "The tape drive does not support this request.";
    case OS_TAPE_INVALID_PARAMETER: return "A parameter of the tape request is not valid.";
    case OS_TAPE_END_OF_MEDIA: return "The early-warning end of the tape was reached.";
    case OS_TAPE_FILEMARK_DETECTED: return "A tape mark was read where the volume has none.";
    case OS_TAPE_NO_DATA_DETECTED: return "No more data is on the tape.";
    case OS_TAPE_INVALID_BLOCK_LENGTH: return "The tape's block size does not match the request.";
    case OS_TAPE_MEDIA_CHANGED: return "The tape in the drive may have changed.";
    case OS_TAPE_NO_MEDIA_IN_DRIVE: return "No tape is in the drive.";
    case OS_TAPE_IO_DEVICE: return "The tape drive reported an I/O error.";
    case OS_TAPE_EOM_OVERFLOW: return "The physical end of the tape was reached.";
    case OS_TAPE_FILE_CORRUPT: return "The tape cartridge image is damaged.";
    default: return "";
  }
}
