// The drive and media reports of the tape call wrapper: one "label:value"
// line per item, every feature of the drive record listed with "+" or "-".
// The feature texts are the drive interface's own descriptions, blanks
// included, and stay exactly as they are.
#include <cstdint>
#include <string>

#include "dal_tape_api.h"

namespace {

struct Feature {
  std::uint32_t mask;  // tested against the feature word with a plain AND
  const char* text;
};

constexpr Feature kFeaturesLow[] = {
    {0x00020000, "The device supports hardware data compression."},
    {0x02000000, " The device can report if cleaning is required. "},
    {0x00010000, "The device supports hardware error correction. "},
    {0x01000000, "The device physically ejects the tape on a software eject."},
    {0x00000040, " The device performs the erase operation from the beginning-of-partition marker only."},
    {0x00000020, "The device performs a long erase operation."},
    {0x00000080,
     "The device performs an immediate erase operation  that is, it returns when the erase operation begins."},
    {0x00000010, "The device performs a short erase operation."},
    {0x00000001, "The device creates fixed data partitions. "},
    {0x00000400, "The device supports fixed-length block mode. "},
    {0x00000004, "The device creates initiator-defined partitions. "},
    {0x00040000, "The device supports data padding."},
    {0x00100000, "The device provides the current device-specific block address."},
    {0x00200000, "The device provides the current logical block address (and logical tape partition)."},
    {0x00080000, "The device supports setmark reporting."},
    {0x00000002, "The device creates select data partitions."},
    {0x00400000, "The device supports setting the end-of-medium warning size."},
    {0x04000000, "The device must be at the beginning of a partition before it can set compression on."},
    {0x00000100, "The device returns the maximum capacity of the tape."},
    {0x00000200, "The device returns the remaining capacity of the tape."},
    {0x00000800, "The device supports variable-length block mode."},
    {0x00001000, "The device returns an error if the tape is write-enabled or write-protected."},
};

// The high masks keep the top bit that marks the high word, as the drive
// interface publishes them: with a plain AND, a word that carries that bit
// shows every high feature present.
constexpr Feature kFeaturesHigh[] = {
    {0x80002000,
     " The device moves the tape to a device-specific block address and returns as soon as the move begins. "},
    {0x80001000, "The device moves the tape to a device specific block address. "},
    {0x80010000, "The device moves the tape to the end-of-data marker in a partition."},
    {0x80040000, "The device moves the tape forward (or backward) a specified number of filemarks. "},
    {0x80000001, "The device enables and disables the device for further operations. "},
    {0x80000020, " The device supports immediate load and unload operations. "},
    {0x80000004, "The device enables and disables the tape ejection mechanism. "},
    {0x80000080, " The device supports immediate lock and unlock operations. "},
    {0x80008000,
     "The device moves the tape to a logical block address in a partition and returns as soon as the move "
     "begins. "},
    {0x80004000, "The device moves the tape to a logical block address in a partition. "},
    {0x80020000, " The device moves the tape forward (or backward) a specified number of blocks. "},
    {0x80400000, " The device moves the tape backward over blocks, filemarks, or setmarks. "},
    {0x80000008, " The device supports immediate rewind operation. "},
    {0x80080000,
     " The device moves the tape forward (or backward) to the first occurrence of a specified number of "
     "consecutive filemarks. "},
    {0x80200000,
     " The device moves the tape forward (or backward) to the first occurrence of a specified number of "
     "consecutive setmarks. "},
    {0x80000010,
     " The device supports setting the size of a fixed-length logical block or setting the variable-length "
     "block mode. "},
    {0x80000200, " The device enables and disables hardware data compression. "},
    {0x80000100, " The device enables and disables hardware error correction. "},
    {0x80000400, " The device enables and disables data padding. "},
    {0x80000800, " The device enables and disables the reporting of setmarks. "},
    {0x80100000, " The device moves the tape forward (or reverse) a specified number of setmarks. "},
    {0x80800000, " The device supports immediate spacing. "},
    {0x80000002, " The device supports tape tensioning. "},
    {0x80000040, " The device supports immediate tape tensioning. "},
    {0x82000000, " The device writes filemarks. "},
    {0x88000000, " The device writes long filemarks."},
    {0x90000000, " The device supports immediate writing of short and long filemarks. "},
    {0x81000000, " The device writes setmarks. "},
    {0x84000000, " The device writes short filemarks "},
};

void AddLine(std::string& report, const char* label, const std::string& value) {
  report += label;
  report += ':';
  report += value;
  report += '\n';
}

std::string Flag(unsigned char value) { return value != 0 ? "true" : "false"; }

template <std::size_t N>
void AddFeatures(std::string& report, const char* label, std::uint32_t word, const Feature (&table)[N]) {
  AddLine(report, label, "");
  for (const Feature& feature : table) {
    report += '\t';
    report += (word & feature.mask) != 0 ? '+' : '-';
    report += " :";
    report += feature.text;
    report += '\n';
  }
}

}  // namespace

std::string CTapeApi::GetTapeParametersString(const _TAPE_GET_DRIVE_PARAMETERS& parameters) {
  std::string report;
  AddLine(report, "Support Hardware Correction (ECC)", Flag(parameters.ECC));
  AddLine(report, "Support Hardware Compression", Flag(parameters.Compression));
  AddLine(report, "Support DataPadding", Flag(parameters.DataPadding));
  AddLine(report, "Support Report Setmarks Enabled", Flag(parameters.ReportSetmarks));
  AddLine(report, "Default Block Size", std::to_string(parameters.DefaultBlockSize));
  AddLine(report, "Maximum Block Size", std::to_string(parameters.MaximumBlockSize));
  AddLine(report, "Minimum Block Size", std::to_string(parameters.MinimumBlockSize));
  AddLine(report, "Maximum Partition Count", std::to_string(parameters.MaximumPartitionCount));
  AddLine(report, "Bytes between EOT warning and real EOT", std::to_string(parameters.EOTWarningZoneSize));
  AddFeatures(report, "Features Low", parameters.FeaturesLow, kFeaturesLow);
  AddFeatures(report, "Features High", parameters.FeaturesHigh, kFeaturesHigh);
  return report;
}

std::string CTapeApi::GetTapeMediaParametersString(const _TAPE_GET_MEDIA_PARAMETERS& parameters) {
  std::string report;
  AddLine(report, "(Capacity)Total number of bytes in Current Partition",
          std::to_string(parameters.Capacity.QuadPart));
  AddLine(report, "(Remaining)Total number of bytes between current position and End of Partition",
          std::to_string(parameters.Remaining.QuadPart));
  AddLine(report, "Block Size", std::to_string(parameters.BlockSize));
  AddLine(report, "(PartitionCount)Number of Partitions", std::to_string(parameters.PartitionCount));
  AddLine(report, "Write Protectec", Flag(parameters.WriteProtected));
  return report;
}
