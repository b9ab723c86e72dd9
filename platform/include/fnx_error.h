#pragma once
// FNXError: the exception base of the system. Thrown by value, caught by
// reference. Derived classes add no data; they may set text and code after
// construction (the tape call wrapper does).
#include <cstdint>
#include <exception>
#include <string>

#include "fnx_export.h"

class FNX_API FNXError : public std::exception {
 public:
  FNXError(std::string text, std::int32_t code, std::int32_t errorClass,
           std::string sourceFile, std::int32_t line);
  FNXError(const FNXError&);
  FNXError& operator=(const FNXError&);
  ~FNXError() override;

  const char* what() const noexcept override;
  std::int32_t Code() const noexcept { return m_code; }
  std::int32_t Class() const noexcept { return m_class; }
  const std::string& Text() const noexcept { return m_text; }
  const std::string& SourceFile() const noexcept { return m_sourceFile; }
  std::int32_t Line() const noexcept { return m_line; }

 protected:
  void SetText(std::string text) { m_text = std::move(text); }
  void SetCode(std::int32_t code) { m_code = code; }

 private:
  std::string m_text;
  std::int32_t m_code;
  std::int32_t m_class;
  std::string m_sourceFile;
  std::int32_t m_line;
};
