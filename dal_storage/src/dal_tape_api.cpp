// The tape call wrapper over the tape platform seam: opening on demand, the
// success values of each call, and the ReadFile retry after a media change.
#include "dal_tape_api.h"

#include <cstring>

#include "fnx_log.h"
#include "os_tape.h"

namespace {

// Reads made by ReadFile after the first one when the medium has changed.
constexpr int kMediaChangedRetries = 2;

void Log(const char* text) { CLogMsg(nullptr, nullptr, 1) << LogSeverity{1} << text << flush; }

void LogHandle(const char* text, std::int64_t handle) {
  CLogMsg(nullptr, nullptr, 1) << LogSeverity{1} << text << static_cast<long long>(static_cast<int>(handle))
                               << flush;
}

bool IsSuccess(std::uint32_t result) {
  return result == OS_TAPE_NO_ERROR || result == OS_TAPE_MEDIA_CHANGED;
}

// A drive that answers a call with a change of the medium has not carried
// it out: a positioning after a reload would leave the tape at block 0, where
// the next write destroys the volume. The call is made once more; a second
// 1110 passes as success.
template <typename Call>
std::uint32_t AgainAfterChange(Call&& call) {
  const std::uint32_t result = call();
  return result == OS_TAPE_MEDIA_CHANGED ? call() : result;
}

// A call of the plain kind: its number is also the thread's last error.
void Require(std::uint32_t result, const char* name) {
  if (!IsSuccess(result)) throw exception_GetLastError(name);
}

}  // namespace

exception_GetLastError::exception_GetLastError(const std::string& name) : FNXError("", 0, 0, "", 0) {
  const std::uint32_t code = os_tape_last_error();
  SetCode(static_cast<std::int32_t>(code));
  std::string description = "Err(" + std::to_string(static_cast<std::int32_t>(code)) + ")";
  if (code != OS_TAPE_NO_ERROR) {
    const std::string text = os_tape_error_text(code);
    if (!text.empty()) description += " " + text;
  }
  SetText(name + ":" + description);
}

CTapeApi::CTapeApi(const std::string& device_name) : m_hDev(0), m_deviceName(device_name) {}

CTapeApi::~CTapeApi() { CloseHandle(); }

void CTapeApi::ValidateDeviceHandle() {
  if (m_hDev != 0) return;
  m_hDev = os_tape_open(m_deviceName);
  if (m_hDev == os_tape_invalid_handle) {
    m_hDev = 0;
    throw exception_GetLastError("CreateFile");
  }
  LogHandle("CTapeApi::ValidateDeviceHandle created m_hDev=", m_hDev);
}

void CTapeApi::CloseHandle() {
  if (m_hDev == 0) return;
  LogHandle("CTapeApi::CloseHandle m_hDev=", m_hDev);
  os_tape_close(m_hDev);
  m_hDev = 0;
}

int CTapeApi::GetHandle() { return static_cast<int>(static_cast<std::uint32_t>(m_hDev)); }

void CTapeApi::GetTapeParameters(_TAPE_GET_DRIVE_PARAMETERS& parameters) {
  ValidateDeviceHandle();
  Require(AgainAfterChange([&] {
            std::memset(&parameters, 0, sizeof parameters);
            std::uint32_t size = sizeof parameters;
            return os_tape_get_parameters(m_hDev, OS_TAPE_GET_DRIVE_INFORMATION, &size, &parameters);
          }),
          "GetTapeParameters");
}

void CTapeApi::GetTapeMediaParameters(_TAPE_GET_MEDIA_PARAMETERS& parameters) {
  ValidateDeviceHandle();
  Require(AgainAfterChange([&] {
            std::memset(&parameters, 0, sizeof parameters);
            std::uint32_t size = sizeof parameters;
            return os_tape_get_parameters(m_hDev, OS_TAPE_GET_MEDIA_INFORMATION, &size, &parameters);
          }),
          "GetTapeMediaParameters");
}

void CTapeApi::SetTapeParameters(const _TAPE_SET_DRIVE_PARAMETERS& parameters) {
  ValidateDeviceHandle();
  Require(AgainAfterChange([&] { return os_tape_set_parameters(m_hDev, OS_TAPE_GET_DRIVE_INFORMATION, &parameters); }),
          "SetTapeParameters");
}

void CTapeApi::SetTapeMediaParameters(const _TAPE_SET_MEDIA_PARAMETERS& parameters) {
  ValidateDeviceHandle();
  Require(AgainAfterChange([&] { return os_tape_set_parameters(m_hDev, OS_TAPE_GET_MEDIA_INFORMATION, &parameters); }),
          "SetTapeMediaParameters");
}

void CTapeApi::CreateTapePartition(std::uint32_t method, std::uint32_t count, std::uint32_t size) {
  ValidateDeviceHandle();
  Require(AgainAfterChange([&] { return os_tape_create_partition(m_hDev, method, count, size); }),
          "CreateTapePartition");
}

void CTapeApi::PrepareTape(std::uint32_t operation, int immediate) {
  ValidateDeviceHandle();
  Require(AgainAfterChange([&] { return os_tape_prepare(m_hDev, operation, immediate != 0); }), "PrepareTape");
}

void CTapeApi::EraseTape(std::uint32_t type, int immediate) {
  ValidateDeviceHandle();
  Require(AgainAfterChange([&] { return os_tape_erase(m_hDev, type, immediate != 0); }), "EraseTape");
}

void CTapeApi::SetTapePosition(std::uint32_t method, std::uint32_t partition, std::uint32_t offset_low,
                               std::uint32_t offset_high, int immediate) {
  ValidateDeviceHandle();
  const std::uint32_t result = AgainAfterChange(
      [&] { return os_tape_set_position(m_hDev, method, partition, offset_low, offset_high, immediate != 0); });
  // Arriving at the end of the data is where a positioning there should be.
  if (result == OS_TAPE_NO_DATA_DETECTED) return;
  Require(result, "SetTapePosition");
}

void CTapeApi::GetTapePosition(std::uint32_t type, std::uint32_t* partition, std::uint32_t* offset_low,
                               std::uint32_t* offset_high) {
  ValidateDeviceHandle();
  Require(AgainAfterChange([&] { return os_tape_get_position(m_hDev, type, partition, offset_low, offset_high); }),
          "GetTapePosition");
}

void CTapeApi::WriteTapemark(std::uint32_t type, std::uint32_t count, int immediate) {
  ValidateDeviceHandle();
  Require(AgainAfterChange([&] { return os_tape_write_tapemark(m_hDev, type, count, immediate != 0); }),
          "WriteTapemark");
}

std::uint32_t CTapeApi::CheckTapeStatus() {
  ValidateDeviceHandle();
  const std::uint32_t status = os_tape_get_status(m_hDev);
  Require(status, "CheckTapeStatus");
  return status;
}

void CTapeApi::WriteFile(const void* buffer, std::uint32_t length, unsigned long long* written) {
  ValidateDeviceHandle();
  std::uint32_t done = 0;
  if (!os_tape_write(m_hDev, buffer, length, &done)) throw exception_GetLastError("WriteFile");
  // A write of whole blocks moves all or nothing.
  *written = length;
}

void CTapeApi::ReadFile(void* buffer, std::uint32_t length, std::uint32_t* read) {
  for (int retries = kMediaChangedRetries;; --retries) {
    ValidateDeviceHandle();
    *read = 0;
    if (os_tape_read(m_hDev, buffer, length, read)) return;
    if (os_tape_last_error() != OS_TAPE_MEDIA_CHANGED) throw exception_GetLastError("ReadFile");
    if (retries == 0) {
      if (*read > 0) return;
      throw exception_GetLastError("ReadFile");
    }
    // The position stays where the drive has it; a fresh handle reads on.
    Log("ReadFile::Media changed");
    CloseHandle();
  }
}
