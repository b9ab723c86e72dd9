#pragma once
// The four parameter records of the tape interface, as the Windows tape calls
// publish them. On Windows they come from the system headers; elsewhere they
// are declared here with the same names, fields and layout, so that a record
// filled on one platform reads the same on the other.
#if defined(_WIN32)
#include <windows.h>
#else
#include <cstdint>

// The system's 64-bit count of a record; only QuadPart is read here.
union os_tape_large_integer {
  struct {
    std::uint32_t LowPart;
    std::int32_t HighPart;
  } u;
  std::int64_t QuadPart;
};

typedef struct _TAPE_GET_DRIVE_PARAMETERS {
  unsigned char ECC;
  unsigned char Compression;
  unsigned char DataPadding;
  unsigned char ReportSetmarks;
  std::uint32_t DefaultBlockSize;
  std::uint32_t MaximumBlockSize;
  std::uint32_t MinimumBlockSize;
  std::uint32_t MaximumPartitionCount;
  std::uint32_t FeaturesLow;
  std::uint32_t FeaturesHigh;
  std::uint32_t EOTWarningZoneSize;
} TAPE_GET_DRIVE_PARAMETERS;

typedef struct _TAPE_SET_DRIVE_PARAMETERS {
  unsigned char ECC;
  unsigned char Compression;
  unsigned char DataPadding;
  unsigned char ReportSetmarks;
  std::uint32_t EOTWarningZoneSize;
} TAPE_SET_DRIVE_PARAMETERS;

typedef struct _TAPE_GET_MEDIA_PARAMETERS {
  os_tape_large_integer Capacity;
  os_tape_large_integer Remaining;
  std::uint32_t BlockSize;
  std::uint32_t PartitionCount;
  unsigned char WriteProtected;
} TAPE_GET_MEDIA_PARAMETERS;

typedef struct _TAPE_SET_MEDIA_PARAMETERS {
  std::uint32_t BlockSize;
} TAPE_SET_MEDIA_PARAMETERS;

static_assert(sizeof(_TAPE_GET_DRIVE_PARAMETERS) == 32, "drive record as published");
static_assert(sizeof(_TAPE_GET_MEDIA_PARAMETERS) == 32, "media record as published");
#endif
