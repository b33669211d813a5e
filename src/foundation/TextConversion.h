#pragma once

/// Text of the process's default 8-bit code page to and from UTF-16. The system layer provides the one
/// instance, because only the platform knows its code pages. Lengths count characters (bytes or units)
/// without any terminator, both ways.
class LTextConversion {
 public:
  virtual ~LTextConversion() = default;
  /// Converts `length` bytes to at most `capacity` units; with `capacity` 0 only measures. Returns the number
  /// of units, 0 on failure.
  virtual unsigned int ToWide(const char* source, unsigned int length, wchar_t* target,
                              unsigned int capacity) = 0;
  /// Converts `length` units to at most `capacity` bytes; with `capacity` 0 only measures. Returns the number
  /// of bytes, 0 on failure.
  virtual unsigned int ToNarrow(const wchar_t* source, unsigned int length, char* target,
                                unsigned int capacity) = 0;
};

/// Makes `conversion` the one that strings use; it stays the caller's. Null takes it away; converting then
/// fails the assertion "newLength == length".
void LInstallTextConversion(LTextConversion* conversion);
/// The installed conversion, or null.
LTextConversion* LInstalledTextConversion();
