#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "machine/FileNode.h"
#include "machine/FileObject.h"
#include "machine/Text.h"

namespace winsim {

class Machine;
class Thread;

/// How the text of a path is understood: by a thread of a program, or by the system itself.
struct PathContext {
  std::u16string currentDirectory;
  /// File-system redirection applies: system32 is SysWOW64 for this caller.
  bool redirected = false;

  static PathContext Of(const Thread& thread);
};

/// A drive: a letter with a disk behind it.
struct Drive {
  /// Number of the drive type: 2 removable, 3 fixed, 4 remote, 5 CD-ROM, 6 RAM disk.
  std::uint32_t type = 3;
  /// Everything on a drive without one fails with 21.
  bool hasMedium = true;
  std::shared_ptr<FileNode> root;
};

/// What a path leads to.
struct Location {
  /// Why it leads nowhere: 3, 21, 53, 67 or 123; 0 otherwise.
  std::uint32_t error = 0;
  /// The folder that has, or could have, the file; null for a root.
  std::shared_ptr<FileNode> folder;
  /// Null when there is none.
  std::shared_ptr<FileNode> node;
  /// Last component as the caller spelled it.
  std::u16string name;
  bool trailingBackslash = false;
  /// For a device: its name.
  std::u16string device;

  /// `error`, or 2 when the file does not exist.
  std::uint32_t MissingError() const {
    return error != 0 ? error : node == nullptr && device.empty() ? 2 : 0;
  }
};

/// The machine's disks: drives, substituted drives and shares, the files on them, and the rules of opening
/// them. Error codes are those of the Windows functions (0 for success). `Deny` stands for all refusals.
class FileSystem {
 public:
  /// Has one fixed drive, the one that Windows is on.
  explicit FileSystem(Machine& machine);
  ~FileSystem();
  FileSystem(const FileSystem&) = delete;
  FileSystem& operator=(const FileSystem&) = delete;

  // --- for the owner of the machine: drives ---

  /// Adds a drive, or changes the one of that letter and keeps its files.
  void AddDrive(char16_t letter, std::uint32_t type = 3, bool hasMedium = true);
  /// Makes a letter stand for a folder ("C:\base", "\\server\share\x"), as subst does.
  void Substitute(char16_t letter, std::u16string_view folder);
  /// Shares a folder as "\\server\share": one of this machine's disks ("D:\data"), or one of its own when
  /// empty.
  void AddShare(std::u16string_view share, std::u16string_view folder = {});

  const std::map<char16_t, Drive>& Drives() const { return m_drives; }
  /// Letters with their targets as QueryDosDevice gives them ("\??\C:\base").
  const std::map<char16_t, std::u16string>& Substitutions() const { return m_substitutions; }

  // --- for the owner of the machine: files, by full path; refusals and open handles do not matter ---

  /// Makes the folder and those above it. Throws std::invalid_argument for a path that can be none.
  FileNode& MakeFolder(std::u16string_view path);
  /// Writes the file, a new one with the archive attribute, and makes the folders above it.
  FileNode& WriteFile(std::u16string_view path, Bytes contents);
  FileNode& WriteFile(std::u16string_view path, std::string_view contents);
  /// The same with the contents of a file of the host, read when they are needed.
  FileNode& AddHostFile(std::u16string_view path, std::string hostPath, std::uint64_t size);
  /// Null when there is no such file or folder.
  FileNode* Find(std::u16string_view path);
  bool Exists(std::u16string_view path) { return Find(path) != nullptr; }
  /// Empty when there is no such file.
  Bytes Read(std::u16string_view path);
  /// 0xFFFFFFFF when there is no such file or folder.
  std::uint32_t Attributes(std::u16string_view path);
  /// Removes a file or a folder with all that is in it; nothing happens when there is none.
  void Remove(std::u16string_view path);
  /// Full paths of all files and folders below `path`, the folders with a trailing backslash, in the order of
  /// names.
  std::vector<std::u16string> List(std::u16string_view path);
  /// Opening, listing, changing and deleting that file or folder fails with 5, and so does creating it.
  void Deny(std::u16string_view path);
  void Allow(std::u16string_view path);

  // --- images ---

  /// While the result lives the file is the image of a loaded driver or running program: deleting it fails
  /// with 5, opening it for writing with 32. Null when there is no such file.
  std::shared_ptr<void> UseImage(std::u16string_view path);

  // --- the functions' work ---

  Location Resolve(const PathContext& context, std::u16string_view name);

  /// Opens or creates a file, a folder or a device. `result` is null unless it returns 0; `existed` tells
  /// whether a file was there.
  std::uint32_t Open(const PathContext& context, std::u16string_view name, const OpenRequest& request,
                     std::shared_ptr<KernelObject>& result, bool& existed);
  /// The node behind a path, for a function that looks at attributes.
  std::uint32_t Look(const PathContext& context, std::u16string_view name, std::shared_ptr<FileNode>& result);
  std::uint32_t SetAttributes(const PathContext& context, std::u16string_view name, std::uint32_t attributes);
  std::uint32_t Delete(const PathContext& context, std::u16string_view name);
  /// `flags` are those of MoveFileEx; a null `target` is possible only for an operation that is to be
  /// delayed.
  std::uint32_t Move(const PathContext& context, std::u16string_view source,
                     const std::optional<std::u16string>& target, std::uint32_t flags);
  /// The first file that matches, with the name to report: that of the file, or "." for the folder itself.
  std::uint32_t FindFirst(const PathContext& context, std::u16string_view pattern,
                          std::shared_ptr<FileNode>& result, std::u16string& name);

  /// The drive type number of a root folder ("C:\", "\\server\share\"); 1 for anything else.
  std::uint32_t DriveType(const PathContext& context, std::u16string_view root);
  /// What a DOS device name ("C:", "PhysicalDrive0") stands for; empty when there is none.
  std::u16string DosDeviceTarget(std::u16string_view name) const;
  std::vector<std::u16string> DosDeviceNames() const;

  /// Carries out what MOVEFILE_DELAY_UNTIL_REBOOT left to the next start of the machine, in that order; what
  /// is not possible is skipped.
  void RunPendingOperations();

 private:
  friend class FileObject;

  /// A substitution that leads back to itself ends here.
  static constexpr unsigned int MostSubstitutions = 32;

  Location Walk(std::shared_ptr<FileNode> root, const std::vector<std::u16string>& components,
                std::size_t first) const;
  Location ResolveNtPath(std::u16string_view path, unsigned int substitutions = MostSubstitutions);
  std::u16string Redirect(std::u16string path) const;
  bool IsDenied(const FileNode& node) const;
  bool IsDenied(const FileNode& folder, std::u16string_view name) const;
  std::uint32_t OpenExisting(const Location& location, const OpenRequest& request,
                             std::shared_ptr<KernelObject>& result);
  std::uint32_t CreateNew(const Location& location, const OpenRequest& request,
                          std::shared_ptr<KernelObject>& result);
  std::uint32_t DeletionError(const FileNode& node) const;
  std::uint32_t Rename(const Location& from, const Location& to, bool replace);
  std::uint32_t DelayMove(const PathContext& context, std::u16string_view source,
                          const std::optional<std::u16string>& target, std::uint32_t flags);
  void RunPendingOperation(const std::u16string& source, std::u16string target);
  PathContext SystemContext() const;
  FileTimes Now() const;
  void Unlink(FileNode& node);
  Location MustResolve(std::u16string_view path);

  Machine& m_machine;
  std::map<char16_t, Drive> m_drives;
  std::map<char16_t, std::u16string> m_substitutions;
  /// By server, then by share.
  std::map<std::u16string, std::map<std::u16string, std::shared_ptr<FileNode>, CaseInsensitiveLess>,
           CaseInsensitiveLess>
      m_shares;
  std::set<std::u16string, CaseInsensitiveLess> m_denied;
};

}  // namespace winsim
