// The drive and media reports, line for line: the record's values, then every
// feature row of the drive interface's tables with "+" or "-".
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "dal_tape_api.h"

namespace {

struct FeatureRow {
  bool high;  // a row of the FeaturesHigh table
  std::uint32_t mask;
  const char* text;
};

// The drive interface's feature tables in their order, low then high.
constexpr FeatureRow kFeatureRows[] = {
    {false, 0x00020000, "The device supports hardware data compression."},
    {false, 0x02000000, " The device can report if cleaning is required. "},
    {false, 0x00010000, "The device supports hardware error correction. "},
    {false, 0x01000000, "The device physically ejects the tape on a software eject."},
    {false, 0x00000040, " The device performs the erase operation from the beginning-of-partition marker only."},
    {false, 0x00000020, "The device performs a long erase operation."},
    {false, 0x00000080, "The device performs an immediate erase operation  that is, it returns when the erase operation begins."},
    {false, 0x00000010, "The device performs a short erase operation."},
    {false, 0x00000001, "The device creates fixed data partitions. "},
    {false, 0x00000400, "The device supports fixed-length block mode. "},
    {false, 0x00000004, "The device creates initiator-defined partitions. "},
    {false, 0x00040000, "The device supports data padding."},
    {false, 0x00100000, "The device provides the current device-specific block address."},
    {false, 0x00200000, "The device provides the current logical block address (and logical tape partition)."},
    {false, 0x00080000, "The device supports setmark reporting."},
    {false, 0x00000002, "The device creates select data partitions."},
    {false, 0x00400000, "The device supports setting the end-of-medium warning size."},
    {false, 0x04000000, "The device must be at the beginning of a partition before it can set compression on."},
    {false, 0x00000100, "The device returns the maximum capacity of the tape."},
    {false, 0x00000200, "The device returns the remaining capacity of the tape."},
    {false, 0x00000800, "The device supports variable-length block mode."},
    {false, 0x00001000, "The device returns an error if the tape is write-enabled or write-protected."},
    {true, 0x80002000, " The device moves the tape to a device-specific block address and returns as soon as the move begins. "},
    {true, 0x80001000, "The device moves the tape to a device specific block address. "},
    {true, 0x80010000, "The device moves the tape to the end-of-data marker in a partition."},
    {true, 0x80040000, "The device moves the tape forward (or backward) a specified number of filemarks. "},
    {true, 0x80000001, "The device enables and disables the device for further operations. "},
    {true, 0x80000020, " The device supports immediate load and unload operations. "},
    {true, 0x80000004, "The device enables and disables the tape ejection mechanism. "},
    {true, 0x80000080, " The device supports immediate lock and unlock operations. "},
    {true, 0x80008000, "The device moves the tape to a logical block address in a partition and returns as soon as the move begins. "},
    {true, 0x80004000, "The device moves the tape to a logical block address in a partition. "},
    {true, 0x80020000, " The device moves the tape forward (or backward) a specified number of blocks. "},
    {true, 0x80400000, " The device moves the tape backward over blocks, filemarks, or setmarks. "},
    {true, 0x80000008, " The device supports immediate rewind operation. "},
    {true, 0x80080000, " The device moves the tape forward (or backward) to the first occurrence of a specified number of consecutive filemarks. "},
    {true, 0x80200000, " The device moves the tape forward (or backward) to the first occurrence of a specified number of consecutive setmarks. "},
    {true, 0x80000010, " The device supports setting the size of a fixed-length logical block or setting the variable-length block mode. "},
    {true, 0x80000200, " The device enables and disables hardware data compression. "},
    {true, 0x80000100, " The device enables and disables hardware error correction. "},
    {true, 0x80000400, " The device enables and disables data padding. "},
    {true, 0x80000800, " The device enables and disables the reporting of setmarks. "},
    {true, 0x80100000, " The device moves the tape forward (or reverse) a specified number of setmarks. "},
    {true, 0x80800000, " The device supports immediate spacing. "},
    {true, 0x80000002, " The device supports tape tensioning. "},
    {true, 0x80000040, " The device supports immediate tape tensioning. "},
    {true, 0x82000000, " The device writes filemarks. "},
    {true, 0x88000000, " The device writes long filemarks."},
    {true, 0x90000000, " The device supports immediate writing of short and long filemarks. "},
    {true, 0x81000000, " The device writes setmarks. "},
    {true, 0x84000000, " The device writes short filemarks "},
};

// The report of a record with no values and the given feature words.
std::string DriveReport(std::uint32_t low, std::uint32_t high) {
  std::string report =
      "Support Hardware Correction (ECC):false\nSupport Hardware Compression:false\nSupport DataPadding:false\n"
      "Support Report Setmarks Enabled:false\nDefault Block Size:0\nMaximum Block Size:0\nMinimum Block Size:0\n"
      "Maximum Partition Count:0\nBytes between EOT warning and real EOT:0\nFeatures Low:\n";
  for (const FeatureRow& row : kFeatureRows) {
    if (&row == &kFeatureRows[22]) report += "Features High:\n";
    const bool present = ((row.high ? high : low) & row.mask) != 0;
    report += std::string("\t") + (present ? "+" : "-") + " :" + row.text + "\n";
  }
  return report;
}

}  // namespace

TEST(TapeApiReport, DriveAndMediaRecordsLineForLine) {
  CTapeApi api("never opened");
  _TAPE_GET_DRIVE_PARAMETERS drive{};
  // The high word's marker bit shows every high feature; each row by its own bit alone.
  drive.FeaturesHigh = 0x80000000;
  EXPECT_EQ(api.GetTapeParametersString(drive), DriveReport(0, 0x80000000));
  for (const FeatureRow& row : kFeatureRows) {
    drive.FeaturesLow = row.high ? 0 : row.mask;
    drive.FeaturesHigh = row.high ? row.mask & 0x7FFFFFFFu : 0;
    EXPECT_EQ(api.GetTapeParametersString(drive), DriveReport(drive.FeaturesLow, drive.FeaturesHigh)) << row.text;
  }
  drive = {1, 1, 1, 1, 4294967295u, 65536, 512, 1, 0, 0, 1048576};
  const std::string report = api.GetTapeParametersString(drive);
  EXPECT_EQ(report.substr(0, report.find("Features Low:")),
            "Support Hardware Correction (ECC):true\nSupport Hardware Compression:true\nSupport DataPadding:true\n"
            "Support Report Setmarks Enabled:true\nDefault Block Size:4294967295\nMaximum Block Size:65536\n"
            "Minimum Block Size:512\nMaximum Partition Count:1\nBytes between EOT warning and real EOT:1048576\n");
  _TAPE_GET_MEDIA_PARAMETERS media{};
  media.Capacity.QuadPart = 5000000000LL;
  media.Remaining.QuadPart = 4294967296LL;
  media.BlockSize = 65536;
  media.PartitionCount = 1;
  media.WriteProtected = 1;
  EXPECT_EQ(api.GetTapeMediaParametersString(media),
            "(Capacity)Total number of bytes in Current Partition:5000000000\n"
            "(Remaining)Total number of bytes between current position and End of Partition:4294967296\n"
            "Block Size:65536\n(PartitionCount)Number of Partitions:1\nWrite Protectec:true\n");
  EXPECT_EQ(api.GetHandle(), 0);
}
