#pragma once
// The one way this library raises its failures: the catalogue's text for the
// id with the streamed values, the code, the class and the place.
#include "fnx_error.h"
#include "fnx_message.h"

#define DAL_THROW(message, code, errorClass) \
  throw FNXError(std::string(message), (code), (errorClass), kSourceFile, __LINE__)
