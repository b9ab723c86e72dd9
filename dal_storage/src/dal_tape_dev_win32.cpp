// The tape device over the tape call wrapper: each drive operation as its
// CTapeApi calls, and the drive's numbers turned into the tape exceptions.
#include "dal_tape_dev_win32.h"

#include "os_tape.h"

namespace {

constexpr const char kSourceFile[] = "dal_storage/src/dal_tape_dev_win32";

// The one feature that lets PrepareNewTape set the media block size.
constexpr std::uint32_t kSetBlockSizeFeature = 0x80000010;

struct RequiredFeature {
  bool high;          // tested against FeaturesHigh, else FeaturesLow
  std::uint32_t mask;  // as published, the high word's marker bit included
};

// Fixed-length blocks, logical block address, write-protect report; end of
// data and logical block seek in a partition.
constexpr RequiredFeature kRequiredFeatures[] = {
    {false, 0x00000400}, {false, 0x00200000}, {false, 0x00001000},
    {true, 0x80010000},  {true, 0x80004000},
};

std::string DeviceNameOf(CFnx_Dal_ConfigurationTape& config) {
  CFnx_Dal_ConfigValues values;
  config.GetValues(values);
  return values.m_deviceName;
}

// The byte count of a transfer of whole blocks; the logic never asks for more
// than one 65536-byte record, so 32 bits hold it.
std::uint32_t TransferLength(unsigned long long count, unsigned long long block_size) {
  return static_cast<std::uint32_t>(count * block_size);
}

// The status answers only whether a medium is there; every other failure,
// the open included, is for the next operation to raise.
void RequireMedium(CTapeApi& tape_api) {
  try {
    tape_api.CheckTapeStatus();
  } catch (const exception_GetLastError& error) {
    if (error.Code() == static_cast<std::int32_t>(OS_TAPE_NO_MEDIA_IN_DRIVE))
      throw no_tape_in_drive_error(kSourceFile, __LINE__);
  }
}

}  // namespace

CFnx_Dal_TapeDevWin32::CFnx_Dal_TapeDevWin32(CFnx_Dal_ConfigurationTape& config)
    : CFnx_Dal_TapeDev(config), m_tape_api(DeviceNameOf(config)), m_media_block_size(0) {}

CFnx_Dal_TapeDevWin32::~CFnx_Dal_TapeDevWin32() = default;

void CFnx_Dal_TapeDevWin32::PrepareNewTape() {
  m_tape_api.PrepareTape(OS_TAPE_LOAD, /*immediate=*/0);
  m_tape_api.CheckTapeStatus();
  _TAPE_GET_DRIVE_PARAMETERS drive;
  m_tape_api.GetTapeParameters(drive);
  m_tape_api.CreateTapePartition(/*TAPE_FIXED_PARTITIONS*/ 0, /*count=*/0, /*size=*/0);
  if ((drive.FeaturesHigh & kSetBlockSizeFeature) != 0) {
    _TAPE_SET_MEDIA_PARAMETERS media;
    media.BlockSize = drive.DefaultBlockSize;
    m_tape_api.SetTapeMediaParameters(media);
  }
}

void CFnx_Dal_TapeDevWin32::LoadTape() { m_tape_api.PrepareTape(OS_TAPE_LOAD, /*immediate=*/0); }

void CFnx_Dal_TapeDevWin32::UnloadTape() { m_tape_api.PrepareTape(OS_TAPE_UNLOAD, /*immediate=*/0); }

void CFnx_Dal_TapeDevWin32::CloseHandle() { m_tape_api.CloseHandle(); }

int CFnx_Dal_TapeDevWin32::GetHandle() { return m_tape_api.GetHandle(); }

void CFnx_Dal_TapeDevWin32::TapeDriveFeaturesCheck() {
  _TAPE_GET_DRIVE_PARAMETERS drive;
  m_tape_api.GetTapeParameters(drive);
  bool usable = true;
  for (const RequiredFeature& feature : kRequiredFeatures) {
    const std::uint32_t word = feature.high ? drive.FeaturesHigh : drive.FeaturesLow;
    if ((word & feature.mask) == 0) usable = false;
  }
  if (!usable) throw tape_features_support_error(kSourceFile, __LINE__);
}

void CFnx_Dal_TapeDevWin32::GotoPosition(const CFnx_Dal_Tape_Position& position) {
  m_tape_api.SetTapePosition(OS_TAPE_LOGICAL_BLOCK, position.partition(), position.offset_low(),
                             position.offset_high(), /*immediate=*/0);
}

void CFnx_Dal_TapeDevWin32::GotoEndOfData(const CFnx_Dal_Tape_Position& position) {
  m_tape_api.SetTapePosition(OS_TAPE_SPACE_END_OF_DATA, position.partition(), position.offset_low(),
                             position.offset_high(), /*immediate=*/0);
}

void CFnx_Dal_TapeDevWin32::GetCurrentPosition(CFnx_Dal_Tape_Position& position) {
  std::uint32_t partition = 0;
  std::uint32_t low = 0;
  std::uint32_t high = 0;
  m_tape_api.GetTapePosition(OS_TAPE_LOGICAL_POSITION, &partition, &low, &high);
  position = CFnx_Dal_Tape_Position(partition, low, high);
}

void CFnx_Dal_TapeDevWin32::GetBlockSize(unsigned long long& block_size) {
  _TAPE_GET_MEDIA_PARAMETERS media;
  m_tape_api.GetTapeMediaParameters(media);
  block_size = media.BlockSize;
  m_media_block_size = media.BlockSize;
}

bool CFnx_Dal_TapeDevWin32::Verify_Tape_Not_WriteProtected() {
  RequireMedium(m_tape_api);
  _TAPE_GET_MEDIA_PARAMETERS media;
  m_tape_api.GetTapeMediaParameters(media);
  return media.WriteProtected == 0;
}

void CFnx_Dal_TapeDevWin32::ReadBlocks(char* buffer, unsigned long long count) {
  if (m_media_block_size == 0) throw tape_single_blocksize_error(kSourceFile, __LINE__);
  // A short read is not seen here: the framing of the records finds it.
  std::uint32_t read = 0;
  try {
    m_tape_api.ReadFile(buffer, TransferLength(count, m_media_block_size), &read);
  } catch (const exception_GetLastError& error) {
    if (error.Code() == static_cast<std::int32_t>(OS_TAPE_HANDLE_EOF))
      throw end_of_tape_error(kSourceFile, __LINE__);
    throw;
  }
}

void CFnx_Dal_TapeDevWin32::WriteBlocks(char* buffer, unsigned long long count, unsigned long long& written) {
  if (m_media_block_size == 0) throw tape_single_blocksize_error(kSourceFile, __LINE__);
  try {
    m_tape_api.WriteFile(buffer, TransferLength(count, m_media_block_size), &written);
  } catch (const exception_GetLastError& error) {
    if (error.Code() == static_cast<std::int32_t>(OS_TAPE_END_OF_MEDIA))
      throw end_of_tape_error(kSourceFile, __LINE__);
    if (error.Code() == static_cast<std::int32_t>(OS_TAPE_EOM_OVERFLOW))
      throw end_of_tape_error(kSourceFile, __LINE__, true);
    throw;
  }
}

void CFnx_Dal_TapeDevWin32::Verify_Tape_In_Drive() { RequireMedium(m_tape_api); }
