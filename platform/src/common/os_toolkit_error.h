#pragma once
// Inside the platform layer: the one way a failed file call becomes an
// exception, so that every platform words it alike, and the check of a path
// before it reaches the platform's calls.
#include <cstdint>
#include <string>

#include "os_file.h"

// "<context> '<path>': <platform text>", carrying the platform's number: the
// error of a file call, and of a status call.
os_file_toolkit_error os_file_error(const char* context, const std::string& path, std::uint32_t error);
os_io_toolkit_error os_io_error(const char* context, const std::string& path, std::uint32_t error);

// The platform's numbers for faults that this layer finds itself; defined
// by each backend.
extern const std::uint32_t os_error_invalid_name;  // EINVAL, ERROR_INVALID_NAME
extern const std::uint32_t os_error_overflow;      // EOVERFLOW, ERROR_ARITHMETIC_OVERFLOW

// False for a path that names no entry: an empty one, or one with a NUL
// inside, which the platform's calls would cut short and take for another
// entry ("a\0b" would be "a").
bool os_path_usable(const std::string& path);

// path.c_str() for the platform's calls; an unusable path throws
// os_file_toolkit_error (invalid name) instead of reaching another entry.
const char* os_file_path(const char* context, const std::string& path);
