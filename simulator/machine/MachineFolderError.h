#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>

namespace winsim {

/// A machine folder that cannot be read. The message has one line: the file, the line in it when that is
/// known, and what is wrong and what is expected there.
class MachineFolderError : public std::runtime_error {
 public:
  MachineFolderError(const std::filesystem::path& file, std::size_t line, const std::string& text)
      : std::runtime_error(file.string() + (line == 0 ? "" : ":" + std::to_string(line)) + ": " + text),
        m_file(file.string()),
        m_line(line),
        m_text(text) {}

  const std::string& File() const { return m_file; }
  /// Counted from 1; 0 when the fault has no line.
  std::size_t Line() const { return m_line; }
  /// What is wrong and what is expected.
  const std::string& Text() const { return m_text; }

 private:
  std::string m_file;
  std::size_t m_line;
  std::string m_text;
};

/// A machine that cannot be saved; one line.
struct SaveError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

}  // namespace winsim
