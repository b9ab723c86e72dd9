// The operating system's tape drive on Windows: the KERNEL32 tape calls on a
// handle opened by name, answering as the drive answers.
#include "win32_error.h"  // first: <windows.h> lean and without min and max

#include "os_tape.h"
#include "os_tape_drive.h"

namespace {

// Read and write; no sharing, so that a second opener of the drive fails.
constexpr DWORD kAccess = 0xC0000000;
// Write-through and unbuffered: a block reaches the drive within its call.
constexpr DWORD kFlags = 0xA0000000;

// The number of a failed ReadFile or WriteFile, never 0.
std::uint32_t LastFailure() {
  const DWORD error = ::GetLastError();
  return error != 0 ? error : ERROR_GEN_FAILURE;
}

class Win32TapeDrive final : public os_tape_drive {
 public:
  explicit Win32TapeDrive(HANDLE handle) : m_handle(handle) {}
  ~Win32TapeDrive() override { ::CloseHandle(m_handle); }
  Win32TapeDrive(const Win32TapeDrive&) = delete;
  Win32TapeDrive& operator=(const Win32TapeDrive&) = delete;

  std::uint32_t get_parameters(std::uint32_t operation, std::uint32_t* size, void* record) override {
    DWORD bytes = *size;
    const DWORD result = ::GetTapeParameters(m_handle, operation, &bytes, record);
    *size = bytes;
    return result;
  }
  std::uint32_t set_parameters(std::uint32_t operation, const void* record) override {
    // The call reads the record only; its prototype predates const.
    return ::SetTapeParameters(m_handle, operation, const_cast<void*>(record));
  }
  std::uint32_t get_status() override { return ::GetTapeStatus(m_handle); }
  std::uint32_t get_position(std::uint32_t type, std::uint32_t* partition, std::uint32_t* offsetLow,
                             std::uint32_t* offsetHigh) override {
    DWORD part = *partition;
    DWORD low = *offsetLow;
    DWORD high = *offsetHigh;
    const DWORD result = ::GetTapePosition(m_handle, type, &part, &low, &high);
    *partition = part;
    *offsetLow = low;
    *offsetHigh = high;
    return result;
  }
  std::uint32_t set_position(std::uint32_t method, std::uint32_t partition, std::uint32_t offsetLow,
                             std::uint32_t offsetHigh, bool immediate) override {
    return ::SetTapePosition(m_handle, method, partition, offsetLow, offsetHigh, immediate);
  }
  std::uint32_t prepare(std::uint32_t operation, bool immediate) override {
    return ::PrepareTape(m_handle, operation, immediate);
  }
  std::uint32_t erase(std::uint32_t type, bool immediate) override {
    return ::EraseTape(m_handle, type, immediate);
  }
  std::uint32_t create_partition(std::uint32_t method, std::uint32_t count, std::uint32_t size) override {
    return ::CreateTapePartition(m_handle, method, count, size);
  }
  std::uint32_t write_tapemark(std::uint32_t type, std::uint32_t count, bool immediate) override {
    return ::WriteTapemark(m_handle, type, count, immediate);
  }
  std::uint32_t read(void* buffer, std::uint32_t length, std::uint32_t* done) override {
    DWORD bytes = 0;
    const BOOL ok = ::ReadFile(m_handle, buffer, length, &bytes, nullptr);
    *done = bytes;
    return ok ? 0 : LastFailure();
  }
  std::uint32_t write(const void* buffer, std::uint32_t length, std::uint32_t* done) override {
    DWORD bytes = 0;
    const BOOL ok = ::WriteFile(m_handle, buffer, length, &bytes, nullptr);
    *done = bytes;
    return ok ? 0 : LastFailure();
  }

 private:
  HANDLE m_handle;  // open for the object's life
};

}  // namespace

std::unique_ptr<os_tape_drive> os_tape_open_system(const std::string& name, std::uint32_t* error) {
  const HANDLE handle =
      ::CreateFileA(name.c_str(), kAccess, /*share=*/0, nullptr, OPEN_EXISTING, kFlags, nullptr);
  if (handle == INVALID_HANDLE_VALUE) {
    *error = LastFailure();
    return nullptr;
  }
  return std::make_unique<Win32TapeDrive>(handle);
}

std::string os_tape_system_error_text(std::uint32_t error) {
  char* text = nullptr;
  const DWORD length =
      ::FormatMessageA(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM, nullptr, error,
                       /*language=*/0, reinterpret_cast<LPSTR>(&text), /*minimum=*/100, nullptr);
  std::string result = length != 0 && text != nullptr ? std::string(text, length) : std::string();
  ::LocalFree(text);
  return result;
}
