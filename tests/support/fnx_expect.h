#pragma once
// Runs a call that must fail with an FNXError of the given id, code and class,
// whose text begins with the id. Returns the text for further checks.
#include <gtest/gtest.h>

#include <string>

#include "fnx_error.h"

template <typename Call>
std::string ExpectFnxError(Call&& call, const char* id, int code, int errorClass) {
  try {
    call();
  } catch (const FNXError& error) {
    EXPECT_EQ(error.Text().rfind(id, 0), 0u) << "text: " << error.Text();
    EXPECT_EQ(error.Code(), code) << error.Text();
    EXPECT_EQ(error.Class(), errorClass) << error.Text();
    return error.Text();
  } catch (const std::exception& other) {
    ADD_FAILURE() << "expected " << id << ", got another exception: " << other.what();
    return {};
  }
  ADD_FAILURE() << "expected " << id << ", but the call returned";
  return {};
}
