#include "fnx_error.h"

#include <utility>

FNXError::FNXError(std::string text, std::int32_t code, std::int32_t errorClass,
                   std::string sourceFile, std::int32_t line)
    : m_text(std::move(text)),
      m_code(code),
      m_class(errorClass),
      m_sourceFile(std::move(sourceFile)),
      m_line(line) {}

FNXError::FNXError(const FNXError&) = default;
FNXError& FNXError::operator=(const FNXError&) = default;
FNXError::~FNXError() = default;

const char* FNXError::what() const noexcept { return m_text.c_str(); }
