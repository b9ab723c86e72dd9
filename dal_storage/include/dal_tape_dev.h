#pragma once
// The logic of a tape drive that holds labelled volumes: which tape may be
// written, labelling, the questions to the operator, the framing of files into
// blocks (dal_tape_format.h) and finding them again.
//
// A device knows the drive only through its fourteen pure virtual operations;
// the platform device implements them. A device object lives for one call or
// one file, so the state of a backup run travels in the caller's
// CFnx_Dal_ConfigurationTape: the device copies it at construction and writes
// its own values back (a push) at fixed points.
//
// States of a run, as the caller's configuration holds them:
//
//     no volume ----BackupStart (labels)----> open <----FileWriteEnd----+
//     known volume --BackupStart (same tape)-> open ---FileWriteStart--> writing a file
//     open --BackupEnd or ReadStart--> known volume
//
// A device belongs to the one thread that calls it and takes no lock. A
// question blocks that thread in the process-wide operator table until the
// console answers; nothing here adds a time limit.
#include <cstdint>
#include <iosfwd>
#include <list>
#include <string>
#include <vector>

#include "dal_configuration_tape.h"
#include "dal_tape_format.h"
#include "fnx_error.h"
#include "fnx_export.h"

// Exceptions of the tape path: the text is the class name, code and class 0.
class FNX_API tape_user_abort : public FNXError {  // the operator chose "Cancel"
 public:
  tape_user_abort(const char* source_file, std::int32_t line);
};

class FNX_API end_of_tape_error : public FNXError {  // end of the medium or of the recorded data
 public:
  // past_end: the physical end of the medium, where no block fits any more,
  // rather than the early warning, where a block still does.
  end_of_tape_error(const char* source_file, std::int32_t line, bool past_end = false);
  bool PastEnd() const { return m_pastEnd; }

 private:
  bool m_pastEnd;
};

class FNX_API tape_features_support_error : public FNXError {  // the drive lacks a needed feature
 public:
  tape_features_support_error(const char* source_file, std::int32_t line);
};

class FNX_API tape_single_blocksize_error : public FNXError {  // the block size is 0
 public:
  tape_single_blocksize_error(const char* source_file, std::int32_t line);
};

class FNX_API no_tape_in_drive_error : public FNXError {  // no medium in the drive
 public:
  no_tape_in_drive_error(const char* source_file, std::int32_t line);
};

class FNX_API CFnx_Dal_TapeDev {
 public:
  // Copies the caller's configuration and keeps a reference to it, the
  // target of every push; it must outlive the device. Touches no drive.
  explicit CFnx_Dal_TapeDev(CFnx_Dal_ConfigurationTape& config);
  CFnx_Dal_TapeDev(const CFnx_Dal_TapeDev&) = delete;
  CFnx_Dal_TapeDev& operator=(const CFnx_Dal_TapeDev&) = delete;

  // The drive operations, in their slot order. Access as the platform device
  // exports them.
  virtual ~CFnx_Dal_TapeDev();

 protected:
  // Afterwards the drive writes the next block as block 0 of a fresh volume.
  virtual void PrepareNewTape() = 0;
  // Loads the tape, standing at block 0.
  virtual void LoadTape() = 0;
  virtual void UnloadTape() = 0;
  // Closes the drive; the next drive call opens it again.
  virtual void CloseHandle() = 0;
  // Zero when the drive is not open.
  virtual int GetHandle() = 0;
  // Raises tape_features_support_error when the drive lacks what this logic needs.
  virtual void TapeDriveFeaturesCheck() = 0;

 public:
  virtual void GotoPosition(const CFnx_Dal_Tape_Position& position) = 0;
  virtual void GotoEndOfData(const CFnx_Dal_Tape_Position& position) = 0;
  virtual void GetCurrentPosition(CFnx_Dal_Tape_Position& position) = 0;
  // The media block size; 0 means variable block mode.
  virtual void GetBlockSize(unsigned long long& block_size) = 0;
  // True when the tape can be written; no_tape_in_drive_error without a medium.
  virtual bool Verify_Tape_Not_WriteProtected() = 0;

 protected:
  // Reads count blocks; end_of_tape_error at the end of the recorded data.
  virtual void ReadBlocks(char* buffer, unsigned long long count) = 0;
  // Writes count blocks; end_of_tape_error at the end of the medium.
  virtual void WriteBlocks(char* buffer, unsigned long long count, unsigned long long& written) = 0;
  // no_tape_in_drive_error without a medium.
  virtual void Verify_Tape_In_Drive() = 0;

 public:
  // The backup run (dal_tape_dev.cpp). BackupStart accepts the tape in the
  // drive as the run's volume, or labels one, asking the operator if need be;
  // BackupEnd closes the run and pushes it; the end block stays behind the
  // last file, wherever the drive stands.
  void BackupStart();
  void BackupEnd();

  // Writing one file (dal_tape_dev_write.cpp): start label, data records, end
  // label, and the location of the file. At the end of the medium FileWrite
  // gives up the file in work and asks for a new volume: true with written 0
  // once it is labelled, false with written 0 when the answer named no
  // option, end_of_tape_error on "Cancel". The file is then written anew
  // from FileWriteStart on; FileWrite refuses more bytes until then.
  // FileWriteEnd past the physical end gives the file up in the same way and
  // raises end_of_tape_error, at every close of that device.
  void FileWriteStart();
  bool FileWrite(char* data, std::uint32_t length, std::uint32_t& written);
  void FileWriteEnd(CFnx_Dal_Tape_Location& location);
  // Bytes taken for the file in work; 0 on a restoring device.
  std::int64_t GetFileSize() const;

  // Restoring one file (dal_tape_dev_read.cpp). read comes back smaller than
  // length at the end of the file.
  void ReadStart(CFnx_Dal_Tape_Location& location);
  void ReadRead(char* buffer, std::uint32_t length, std::uint32_t& read);
  void ReadEnd();

  // Listing a volume from its labels alone (dal_tape_dev_list.cpp).
  // GetVolumeLabel rewinds, reads block 0 into label, whatever it holds, and
  // readies GetNextEndLabel, which scans on in reads of 65536 bytes and gives
  // the end labels in tape order: 1 with a label, 0 once the data is over.
  // PrintLabelsList dumps every label with the block counts between them.
  // A block size of 0 ends each of them in tape_single_blocksize_error.
  void GetVolumeLabel(tape_volume_label& label);
  int GetNextEndLabel(tape_file_label_basic& label);
  void PrintLabelsList(std::ostream& out);

  // The device's own copy of the configuration, with its working values.
  CFnx_Dal_ConfigurationTape* get_config_tape();
  // Goes to the end block of the configuration, where a run goes on; an
  // end block of 0 is taken from the volume info instead.
  void GotoEndOfDataUnixCompatible();

 protected:
  // Asks the operator question with m_options and leaves the option chosen
  // in m_answer; the empty string when the answer names no option.
  void AskOper(std::string question);
  // Returns when the tape in the drive may be labelled.
  void TapeCheckIsNew();
  // True when the tape in the drive is the run's volume; id_found receives
  // the 35-byte id read from it.
  bool TapeCheckIsSame(std::string& id_found);
  void WriteTapeLabel();
  // Status refresh from the drive's position into the own volume info and
  // end block; only where the drive stands at the end of the data.
  void set_config_values();
  // set_config_values, the status line, and the push.
  void UpdateConfigValues();

 private:
  std::string get_option_value(int index) const;
  bool aux_Verify_Tape_In_Drive();
  void create_new_volume_info();
  std::string create_BackupVolumeStatus_string();
  bool test_if_label(char* buffer, char*& volume_id);
  void WriteBuf(char* data, int length, int mode);
  void set_file_label(tape_file_label& label);
  bool check_tape_vol_id(const std::string& expected_id, std::string& id_found);
  // Raises QRSDAL0544E unless the start block holds the start label of the
  // file wanted describes (its end label when the start block cannot be
  // read). block holds the start block already when start_read.
  void RequireFileAt(const tape_file_label_basic& wanted, std::uint32_t start_block, std::vector<char>& block,
                     bool start_read);

  // A question of the common pattern: "Retry", "Cancel" and, with offer_use,
  // m_opt_use; returns the option chosen.
  const std::string& AskRetryCancel(const std::string& question, bool offer_use);
  // Gives the file in work up at the end of the medium, frees the drive for
  // the tape change and asks for a new volume; returns the option chosen.
  const std::string& GiveUpFileAtEnd();
  void AskWrongVolume(const std::string& expected, const std::string& id_found);
  // Returns once the tape in the drive may be written, asking the operator to
  // remove the write protection for as long as it is on; tape_user_abort on
  // "Cancel", and an answer that names no option goes on untested.
  void RequireWritableTape();
  // After the operator's "Retry" at the end of the medium or at a foreign
  // tape: a new tape, labelled, and pushed as the run's volume.
  void TakeNewVolume();
  // GetBlockSize into m_block_size, refused unless the format can use it.
  void ReadBlockSize();
  // Raises unless m_block_size is one the format can use: 0 gives
  // tape_single_blocksize_error, any other such size QRSDAL0540E.
  void RequireUsableBlockSize() const;
  CFnx_Dal_ConfigValues OwnValues();
  void SetOwnValues(const CFnx_Dal_ConfigValues& values);
  void Push();
  void SetOperatorStatus(const std::string& text);
  // The volume status record into the own volume info, without a refresh.
  void ShareVolumeStatus();
  // The status line into the own values, then the push.
  void PushStatusLine();

  CFnx_Dal_ConfigurationTape m_config;        // own copy: the working values
  CFnx_Dal_ConfigurationTape& m_config_ref;   // the caller's: target of every push
  tape_volume_status m_vol_status;
  tape_volume_label m_vol_label;              // made by create_new_volume_info
  CFnx_Dal_Tape_Position m_position;          // as last read or set
  tape_file_label m_file_label;               // label of the file in work
  std::int32_t m_file_count = 0;              // files on the volume
  std::int64_t m_file_bytes = 0;              // bytes taken for the file in work
  bool m_file_open = false;                   // FileWrite may add to the file in work
  bool m_file_past_end = false;               // its end label found no room: it has no location
  // Assembles a data record (length word at 0, data from 4 to m_buf_pos) and
  // receives every block read.
  char m_buffer[kTapeRecordSize];
  std::int32_t m_buf_pos = 0;                 // writing: next data byte; reading: next byte to deliver, 0 none loaded
  std::int32_t m_blocks_per_record = 0;       // 65536 / m_block_size; listing: next block of m_buffer to scan
  std::int32_t m_read_length = 0;             // restore: the file's length
  std::int32_t m_read_last = 0;               // restore: index of the last data byte of the record
  std::int32_t m_read_done = 0;               // restore: bytes delivered
  std::uint64_t m_block_size = 0;             // as last read from the drive
  std::list<std::string> m_options;           // offered by the current question
  std::string m_answer;                       // the option the operator chose
  std::string m_opt_retry;
  std::string m_opt_cancel;
  std::string m_opt_use;
  bool m_list_end = false;                    // listing: the drive has no more to give
};
