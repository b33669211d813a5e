#pragma once

#include <cstdint>

#include "foundation/Buffer.h"
#include "foundation/Object.h"
#include "foundation/PtrRef.h"
#include "foundation/UnicodeString.h"
#include "foundation/UnicodeStringArray.h"
#include "system/Handle.h"

namespace LCommon::System {

/// An open file or device, and the home of the rules for names and paths.
///
/// A failing platform call throws the class that the operation states for its error code, `Exception` for
/// every code not stated; the exception carries the code and the object stays as it was. The codes with
/// classes of their own are 2 (`FileNotFoundException`), 3 (`PathNotFoundException`), 5
/// (`AccessDeniedException`) and 32 (`SharingViolationException`). Nothing is tried again except with a
/// larger buffer. An object may be used from any thread.
class File : public LRefObject {
 public:
  class Exception : public WindowsErrorException {
   public:
    using WindowsErrorException::WindowsErrorException;
  };
  class InvalidNameException : public Exception {
   public:
    using Exception::Exception;
  };
  class InvalidPathNameException : public InvalidNameException {
   public:
    using InvalidNameException::InvalidNameException;
  };
  class NotFoundException : public Exception {
   public:
    using Exception::Exception;
  };
  class FileNotFoundException : public NotFoundException {
   public:
    using NotFoundException::NotFoundException;
  };
  class PathNotFoundException : public NotFoundException {
   public:
    using NotFoundException::NotFoundException;
  };
  class SharingViolationException : public Exception {
   public:
    using Exception::Exception;
  };
  class AccessDeniedException : public Exception {
   public:
    using Exception::Exception;
  };
  class MoreDataException : public Exception {
   public:
    using Exception::Exception;
  };
  class NotSupportedException : public Exception {
   public:
    using Exception::Exception;
  };

  enum AccessType : unsigned int {
    accessRead = 0,
    accessReadWrite = 1,
    accessReadExecute = 2,
    accessReadWriteExecute = 3
  };
  /// The platform's drive types; the number for "no root directory" never occurs.
  enum VolumeType : unsigned int {
    volumeUnknown = 0,
    volumeRemovable = 2,
    volumeFixed = 3,
    volumeRemote = 4,
    volumeCdRom = 5,
    volumeRamDisk = 6
  };

  /// Opens or creates what `name` names. `access` is an `AccessType` (anything else is the assertion
  /// "Unreachable point"); share mode, flags and disposition are the platform's. Classes for 2, 3, 5 and 32.
  File(LUnicodeString name, unsigned int access, unsigned int share, unsigned int flagsAndAttributes,
       unsigned int disposition);

  /// The share mode that goes with an access: reading is shared with readers, writing with nobody.
  static unsigned int TypicalShare(unsigned int access);

  LPtrRef<Handle> GetHandle() const { return m_handle; }
  /// Bytes.
  std::uint64_t GetSize() const;
  /// Writes at the file's position and returns the bytes written. Class for 5.
  unsigned int Write(const void* data, unsigned int size);
  unsigned int Write(LBuffer data);
  /// Times are counts of 100 nanoseconds since 1601 (UTC). Classes for 2, 3 and 5.
  void SetTime(std::uint64_t creation, std::uint64_t lastAccess, std::uint64_t lastWrite);

  /// A device request with room for `outputSize` bytes of output; returns the output. Error 234 (more data)
  /// throws `MoreDataException`, or with `growOnMoreData` repeats the request with twice the room (64 bytes
  /// after none). Class for 5.
  LBuffer Control(unsigned int code, LBuffer input, unsigned int outputSize, unsigned int growOnMoreData);
  /// The same without input.
  LBuffer Control(unsigned int code, unsigned int outputSize, unsigned int growOnMoreData);
  /// A request whose output, if any, does not matter: `MoreDataException` counts as success.
  void Control(unsigned int code, LBuffer input);

  /// Whether something has the name; in a missing directory nothing has. Class for 5.
  static bool IsExist(LUnicodeString name);
  /// The platform's attribute bits. Classes for 2, 3 and 5.
  static unsigned int GetAttributes(LUnicodeString name);
  /// Classes for 2, 3 and 5.
  static void SetAttributes(LUnicodeString name, unsigned int attributes);
  /// Classes for 2, 3, 5 and 32.
  static void Delete(LUnicodeString name);
  /// Moves `source` at the next restart; an empty `target` deletes it then. Class for 5.
  static void MoveAfterReboot(LUnicodeString source, LUnicodeString target);
  static void DeleteAfterReboot(LUnicodeString name);

  /// The absolute path, normalized. Always `Exception`.
  static LUnicodeString GetFullPath(LUnicodeString name);
  /// The root of the volume that holds the path, normalized: asked of the platform, or by the path's spelling
  /// where the platform cannot tell.
  static LUnicodeString GetVolumePath(LUnicodeString name);
  /// As the platform tells; `NotSupportedException` (120) where it cannot.
  static LUnicodeString GetVolumePath_New(LUnicodeString name);
  /// By the spelling of the full path: the drive (C:) or the share (\\server\share). Other paths throw
  /// `InvalidPathNameException` (123).
  static LUnicodeString GetVolumePath_Legacy(LUnicodeString name);
  /// The type of the volume whose root is `name`; a name that is no root throws `InvalidPathNameException`
  /// (123).
  static VolumeType GetVolumeType(LUnicodeString name);
  /// The target of a device name such as C:, the newest one if there are several.
  static LUnicodeString GetDeviceMapping(LUnicodeString name);
  /// The normalized path with substituted drives replaced by what they stand for, through a substitution of a
  /// substitution too. A drive mapped to less than two characters and substitutions that run in a circle
  /// throw `InvalidPathNameException` (123).
  static LUnicodeString ResolveSubstDriveInFullPath(LUnicodeString name);

  // Pure functions of a path's spelling. A slash is either of / and \.

  static LUnicodeString SlashesToBackslashes(LUnicodeString path);
  /// One slash in place of several in a row; a pair at the start stays.
  static LUnicodeString CollapseSlashes(LUnicodeString path);
  static LUnicodeString TrimLeadingSlashes(LUnicodeString path);
  static LUnicodeString TrimTrailingSlashes(LUnicodeString path);
  /// Exactly one backslash at the end in place of any slashes there.
  static LUnicodeString WithTrailingBackslash(LUnicodeString path);
  /// One spelling for each path: backslashes, none repeated but the leading pair, none at the end (so a
  /// drive's root is C:), no prefix in front of a drive or a share (\\?\C:\x is C:\x, \\?\UNC\server\share is
  /// \\server\share), \\.\ in front of other device names.
  static LUnicodeString NormalizePath(LUnicodeString path);
  /// Whether the normalized path begins with two backslashes and goes on.
  static bool IsNetworkPath(LUnicodeString path);
  /// The drive (C:) of the normalized path and what follows it without leading slashes; without a drive
  /// letter an empty drive and the whole path.
  static void SplitDrive(LUnicodeString path, LUnicodeString& drive, LUnicodeString& rest);
  /// The non-empty pieces between slashes.
  static LUnicodeStringArray SplitPathComponents(LUnicodeString path);

 private:
  static bool HasDrive(const LUnicodeString& path);

  LPtrRef<Handle> m_handle;
};

}  // namespace LCommon::System
