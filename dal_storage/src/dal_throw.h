#pragma once
// The one way this library raises its failures: an FNXError with the text of
// a message id and the values streamed behind it, the id's code and class
// from the message table, and the place.
//
//   DAL_THROW("QRSDAL0504E", "DAFileSystem:OpenForReading: ", path);
//   DAL_THROW(DalCode{1281}, "QRSDAL0512E", ...);  // a code of this site's own
//
// A file that throws names itself in kSourceFile.
#include <string>

#include "dal_message.h"
#include "fnx_error.h"

// A code that replaces the table's usual one at one site.
struct DalCode {
  std::int32_t value;
};

template <typename... Values>
FNXError DalError(const char* sourceFile, int line, DalCode code, DalMessageId id, const Values&... values) {
  Message message("");
  (message[id.entry().id] << ... << values);
  return FNXError(std::string(message), code.value, id.entry().errorClass, sourceFile, line);
}

template <typename... Values>
FNXError DalError(const char* sourceFile, int line, DalMessageId id, const Values&... values) {
  return DalError(sourceFile, line, DalCode{id.entry().code}, id, values...);
}

#define DAL_THROW(...) throw DalError(kSourceFile, __LINE__, __VA_ARGS__)
