#pragma once
// Expectations on the toolkit's exceptions and the platform's error numbers.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#ifdef _WIN32
#include <windows.h>
#else
#include <cerrno>
#endif

// What native() and os_last_error() give: GetLastError codes or errno values.
namespace native_error {
#ifdef _WIN32
inline constexpr std::uint32_t kFileNotFound = ERROR_FILE_NOT_FOUND;
inline constexpr std::uint32_t kPathNotFound = ERROR_PATH_NOT_FOUND;
inline constexpr std::uint32_t kFileExists = ERROR_FILE_EXISTS;
inline constexpr std::uint32_t kDirectoryExists = ERROR_ALREADY_EXISTS;
inline constexpr std::uint32_t kDirectoryNotEmpty = ERROR_DIR_NOT_EMPTY;
inline constexpr std::uint32_t kNegativeSeek = ERROR_NEGATIVE_SEEK;
inline constexpr std::uint32_t kLockRefused = ERROR_LOCK_VIOLATION;
inline constexpr std::uint32_t kInvalidName = ERROR_INVALID_NAME;
inline constexpr std::uint32_t kInvalidArgument = ERROR_INVALID_PARAMETER;
#else
inline constexpr std::uint32_t kFileNotFound = ENOENT;
inline constexpr std::uint32_t kPathNotFound = ENOENT;
inline constexpr std::uint32_t kFileExists = EEXIST;
inline constexpr std::uint32_t kDirectoryExists = EEXIST;
inline constexpr std::uint32_t kDirectoryNotEmpty = ENOTEMPTY;
inline constexpr std::uint32_t kNegativeSeek = EINVAL;
inline constexpr std::uint32_t kLockRefused = EAGAIN;
inline constexpr std::uint32_t kInvalidName = EINVAL;
inline constexpr std::uint32_t kInvalidArgument = EINVAL;
#endif
}  // namespace native_error

// `call` must throw Error (not a sibling) whose text names `where`; gives its
// platform number, 0 when nothing or something else was thrown.
template <typename Error, typename Call>
std::uint32_t ExpectToolkitError(Call&& call, const std::string& where) {
  try {
    call();
  } catch (const Error& error) {
    EXPECT_NE(std::string(error.what()).find(where), std::string::npos) << where << ": " << error.what();
    EXPECT_NE(error.native(), 0u) << error.what();
    return error.native();
  } catch (const std::exception& other) {
    ADD_FAILURE() << "another exception: " << other.what();
    return 0;
  }
  ADD_FAILURE() << "the call returned";
  return 0;
}
