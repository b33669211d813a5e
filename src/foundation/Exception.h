#pragma once

#include "foundation/Toolchain.h"

/// Where an exception was thrown: the full signature text of the function (a string literal, never owned) and
/// the source line.
struct LLocation {
  const char* function;
  unsigned int line;
};

/// The location of the expression it stands in.
#define L_HERE           \
  LLocation {            \
    L_FUNCTION, __LINE__ \
  }

/// The root of every exception. Exceptions carry only fixed-size data, so that throwing one never allocates
/// text; they are thrown by value of their most derived class and caught by reference to any base.
class LBaseException {
 public:
  explicit LBaseException(LLocation location) : m_location(location) {}
  LBaseException(const LBaseException&) = default;
  LBaseException& operator=(const LBaseException&) = default;
  virtual ~LBaseException() = default;

  /// Signature text of the throwing function.
  const char* Function() const { return m_location.function; }
  /// Source line of the throw.
  unsigned int Line() const { return m_location.line; }

 private:
  LLocation m_location;
};

/// An exception with a text for people: broken invariants and failed text conversions.
class LMessageException : public LBaseException {
 public:
  static constexpr unsigned int MaximalLength = 255;

  /// Keeps the first `MaximalLength` characters of `message`.
  LMessageException(LLocation location, const char* message);

  const char* Message() const { return m_message; }

 private:
  char m_message[MaximalLength + 1];
};

namespace LCommon::System {

/// A failure of the operating system.
class SystemErrorException : public LBaseException {
 public:
  SystemErrorException(LLocation location, unsigned int code) : LBaseException(location), m_code(code) {}

  /// The failure as a system status: non-zero for every failure.
  virtual unsigned int GetSystemErrorCode() const { return m_code; }

 protected:
  unsigned int StoredCode() const { return m_code; }

 private:
  unsigned int m_code;
};

/// A failure reported as a Windows error code (as from `GetLastError` or a registry function). The families
/// of the system wrappers derive from it; each carries the code that selected its class.
class WindowsErrorException : public SystemErrorException {
 public:
  using SystemErrorException::SystemErrorException;

  /// 0xC0000001 (unsuccessful) for every non-zero Windows error, 0 for success.
  unsigned int GetSystemErrorCode() const override;
  virtual unsigned int GetWindowsErrorCode() const { return StoredCode(); }
};

}  // namespace LCommon::System
