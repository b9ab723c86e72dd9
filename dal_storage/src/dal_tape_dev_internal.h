#pragma once
// What the source files of the tape device share.
#include <cstdint>

#include "dal_configuration.h"
#include "dal_operator.h"

// The source file that the device's errors name, from any of its sources.
constexpr const char kSourceFile[] = "dal_storage/src/dal_tape_dev";

// The number with which a drive reports the end of the recorded data to a
// read or a positioning: on a blank tape, already at block 0.
constexpr std::int32_t kNoDataDetected = 1104;

// The key of a device in the operator table: type, name and DAS name of its
// configuration.
inline CFnx_Dal_OperatorItemID TapeOperatorId(const CFnx_Dal_ConfigValues& values) {
  return CFnx_Dal_OperatorItemID(values.m_type, values.m_name, values.m_dasName);
}
