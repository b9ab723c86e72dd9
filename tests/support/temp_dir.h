#pragma once
// A fresh directory per test, removed with everything in it at the end.
#include <string>

class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  // The directory, in the platform's path form, without a trailing separator.
  const std::string& path() const { return m_path; }
  // path() joined with a relative name (either separator accepted).
  std::string Join(const std::string& relative) const;

 private:
  std::string m_path;
};

// Whole-file helpers for fixtures.
void WriteFile(const std::string& path, const std::string& content);
std::string ReadFile(const std::string& path);
