#pragma once
// Inside the platform layer: the one way a failed file call becomes an
// exception, so that every platform words it alike.
#include <cstdint>
#include <string>

#include "os_file.h"

// "<context> '<path>': <platform text>", carrying the platform's number.
os_file_toolkit_error os_file_error(const char* context, const std::string& path, std::uint32_t error);
