#pragma once
// The tape device over the tape call wrapper: the fourteen drive operations of
// CFnx_Dal_TapeDev made into CTapeApi calls, and the drive's error numbers
// made into the exceptions the tape logic expects:
//
//   ReadBlocks       38 (end of file)                 end_of_tape_error
//   WriteBlocks      1100, 1129 (end of the medium)   end_of_tape_error
//   Verify_Tape_In_Drive, Verify_Tape_Not_WriteProtected
//                    1112 (no medium)                 no_tape_in_drive_error
//                    any other number, status step    ignored
//   anything else                                     exception_GetLastError as raised
//
// The listing alone looks at one number itself: 1104 from ReadBlocks, the end
// of the recorded data. Nothing here closes the device on a failure. It is the
// one device class on every platform: the device name decides which drive
// stands behind it (a virtual drive "vtape:<directory>" or the system's).
//
// A device object is used by one thread at a time. Its drive opens with
// exclusive use at the first operation, so a second object of the same drive
// fails there while the first is alive.
#include "dal_tape_api.h"
#include "dal_tape_dev.h"

class FNX_API CFnx_Dal_TapeDevWin32 : public CFnx_Dal_TapeDev {
 public:
  // Takes the device name from the configuration; touches no drive.
  explicit CFnx_Dal_TapeDevWin32(CFnx_Dal_ConfigurationTape& config);
  // Closes the drive when it is open.
  ~CFnx_Dal_TapeDevWin32() override;

 protected:
  // Load, check the status, drop partitions, and set the drive's default
  // block size when the drive can set one.
  void PrepareNewTape() override;
  void LoadTape() override;
  void UnloadTape() override;
  void CloseHandle() override;
  int GetHandle() override;
  // tape_features_support_error unless the drive has all five features the
  // tape logic needs (fixed blocks, logical positions, write-protect report,
  // end of data, logical block seek).
  void TapeDriveFeaturesCheck() override;

 public:
  void GotoPosition(const CFnx_Dal_Tape_Position& position) override;
  void GotoEndOfData(const CFnx_Dal_Tape_Position& position) override;
  void GetCurrentPosition(CFnx_Dal_Tape_Position& position) override;
  // Reads the medium's block size and keeps it for ReadBlocks and
  // WriteBlocks; 0 (variable block mode) keeps them refused.
  void GetBlockSize(unsigned long long& block_size) override;
  bool Verify_Tape_Not_WriteProtected() override;

 protected:
  // Both raise tape_single_blocksize_error, touching no drive, until
  // GetBlockSize has read a fixed block size.
  void ReadBlocks(char* buffer, unsigned long long count) override;
  void WriteBlocks(char* buffer, unsigned long long count, unsigned long long& written) override;
  void Verify_Tape_In_Drive() override;

 private:
  CTapeApi m_tape_api;                       // holds the drive's handle
  unsigned long long m_media_block_size;     // as GetBlockSize read it; 0 not read or variable
};
