#include "machine/FileSystem.h"

#include <stdexcept>

#include "machine/Machine.h"
#include "machine/Paths.h"

namespace winsim {
namespace {

constexpr std::uint32_t FileNotFound = 2;
constexpr std::uint32_t PathNotFound = 3;
constexpr std::uint32_t NotReady = 21;
constexpr std::uint32_t BadNetPath = 53;
constexpr std::uint32_t BadNetName = 67;
constexpr std::uint32_t InvalidName = 123;
constexpr std::uint32_t RemoteDrive = 4;
constexpr std::uint32_t NoRootDirectory = 1;

const std::u16string NtPrefix = u"\\??\\";

Location Nowhere(std::uint32_t error) {
  Location location;
  location.error = error;
  return location;
}

void ListBelow(const FileNode& folder, const std::u16string& path, std::vector<std::u16string>& result) {
  for (const auto& [name, child] : folder.children) {
    const std::u16string childPath = path + child->name;
    if (child->IsFolder()) {
      const std::u16string folderPath = childPath + u'\\';
      result.push_back(folderPath);
      ListBelow(*child, folderPath, result);
    } else {
      result.push_back(childPath);
    }
  }
}

std::u16string ChildPath(const FileNode& folder, std::u16string_view name) {
  std::u16string path = folder.Path();
  path += path.ends_with(u'\\') ? u"" : u"\\";
  return path += name;
}

/// Where a file is or would be, without substituted drives; `path` where that cannot be told.
std::u16string PathOnDisk(const Location& location, std::u16string_view path) {
  if (location.node != nullptr) {
    return location.node->Path();
  }
  return location.folder != nullptr ? ChildPath(*location.folder, location.name) : FullPath(path, {});
}

}  // namespace

PathContext PathContext::Of(const Thread& thread) {
  return {thread.process->currentDirectory, thread.process->wow64 && !thread.redirectionDisabled};
}

FileSystem::FileSystem(Machine& machine) : m_machine(machine) {
  AddDrive(machine.settings.windowsDirectory[0]);
}

FileSystem::~FileSystem() = default;

void FileSystem::AddDrive(char16_t letter, std::uint32_t type, bool hasMedium) {
  Drive& drive = m_drives[FoldCase(letter)];
  drive.type = type;
  drive.hasMedium = hasMedium;
  if (drive.root == nullptr) {
    drive.root =
        std::make_shared<FileNode>(std::u16string{FoldCase(letter), u':'}, FileNode::Directory, Now());
  }
}

void FileSystem::Substitute(char16_t letter, std::u16string_view folder) {
  m_substitutions[FoldCase(letter)] = NtPath(folder, {});
}

void FileSystem::AddShare(std::u16string_view share, std::u16string_view folder) {
  const auto names = SplitAtBackslashes(share);
  if (names.size() != 4 || !names[0].empty() || !names[1].empty() || !IsValidFileName(names[2]) ||
      !IsValidFileName(names[3])) {
    throw std::invalid_argument(ToUtf8(share) + ": not of the form \\\\server\\share");
  }
  std::shared_ptr<FileNode> root;
  if (folder.empty()) {
    root = std::make_shared<FileNode>(std::u16string(share), FileNode::Directory, Now());
  } else {
    MakeFolder(folder);
    root = MustResolve(folder).node;
  }
  m_shares[names[2]][names[3]] = root;
}

Location FileSystem::MustResolve(std::u16string_view path) {
  const Location location = Resolve({m_machine.settings.windowsDirectory.substr(0, 3), false}, path);
  if (!location.device.empty() ||
      (location.error != 0 && location.error != PathNotFound && location.error != FileNotFound)) {
    throw std::invalid_argument(ToUtf8(path) + ": cannot be the path of a file");
  }
  return location;
}

FileNode& FileSystem::MakeFolder(std::u16string_view path) {
  const std::u16string full = FullPath(path, m_machine.settings.windowsDirectory.substr(0, 3));
  const std::size_t rootLength = RootOfPath(full).size();
  std::shared_ptr<FileNode> folder = MustResolve(full.substr(0, rootLength)).node;
  if (folder == nullptr || !folder->IsFolder()) {
    throw std::invalid_argument(ToUtf8(path) + ": there is no such drive or share");
  }
  const auto names = SplitAtBackslashes(rootLength < full.size() ? full.substr(rootLength) : u"");
  for (const std::u16string& name : names) {
    if (name.empty()) {
      continue;
    }
    std::shared_ptr<FileNode> child = folder->Child(name);
    if (child == nullptr) {
      if (!IsValidFileName(name)) {
        throw std::invalid_argument(ToUtf8(path) + ": cannot be the path of a folder");
      }
      child = std::make_shared<FileNode>(name, FileNode::Directory, Now());
      folder->AddChild(child);
    } else if (!child->IsFolder()) {
      throw std::invalid_argument(ToUtf8(child->Path()) + ": is a file, not a folder");
    }
    folder = child;
  }
  return *folder;
}

FileNode& FileSystem::WriteFile(std::u16string_view path, Bytes contents) {
  const std::u16string full = FullPath(path, m_machine.settings.windowsDirectory.substr(0, 3));
  const std::size_t split = FilePartOffset(full);
  FileNode& folder = MakeFolder(full.substr(0, split));
  const std::u16string name = full.substr(split);
  std::shared_ptr<FileNode> node = folder.Child(name);
  if (!IsValidFileName(name) || (node != nullptr && node->IsFolder())) {
    throw std::invalid_argument(ToUtf8(path) + ": cannot be the path of a file");
  }
  if (node == nullptr) {
    node = std::make_shared<FileNode>(name, FileNode::Archive, Now());
    folder.AddChild(node);
  }
  node->SetHostFile({}, 0);
  node->WritableContents() = std::move(contents);
  node->times.lastWrite = m_machine.clock.Now();
  return *node;
}

FileNode& FileSystem::WriteFile(std::u16string_view path, std::string_view contents) {
  return WriteFile(path, Bytes(contents.begin(), contents.end()));
}

FileNode& FileSystem::AddHostFile(std::u16string_view path, std::string hostPath, std::uint64_t size) {
  FileNode& node = WriteFile(path, Bytes());
  node.SetHostFile(std::move(hostPath), size);
  return node;
}

FileNode* FileSystem::Find(std::u16string_view path) {
  return Resolve({m_machine.settings.windowsDirectory.substr(0, 3), false}, path).node.get();
}

Bytes FileSystem::Read(std::u16string_view path) {
  FileNode* const node = Find(path);
  return node == nullptr ? Bytes() : node->Contents();
}

std::uint32_t FileSystem::Attributes(std::u16string_view path) {
  const FileNode* const node = Find(path);
  return node == nullptr ? 0xFFFFFFFF : node->ReportedAttributes();
}

void FileSystem::Remove(std::u16string_view path) {
  FileNode* const node = Find(path);
  if (node != nullptr) {
    Unlink(*node);
  }
}

std::vector<std::u16string> FileSystem::List(std::u16string_view path) {
  std::vector<std::u16string> result;
  const FileNode* const node = Find(path);
  if (node != nullptr) {
    std::u16string prefix = node->Path();
    ListBelow(*node, prefix.ends_with(u'\\') ? prefix : prefix + u'\\', result);
  }
  return result;
}

void FileSystem::Deny(std::u16string_view path) {
  m_denied.insert(PathOnDisk(MustResolve(path), path));
}

void FileSystem::Allow(std::u16string_view path) {
  m_denied.erase(PathOnDisk(MustResolve(path), path));
}

std::shared_ptr<void> FileSystem::UseImage(std::u16string_view path) {
  const std::shared_ptr<FileNode> node =
      Resolve({m_machine.settings.windowsDirectory.substr(0, 3), false}, path).node;
  if (node == nullptr || node->IsFolder()) {
    return nullptr;
  }
  ++node->imageUses;
  return {node.get(), [node](void*) { --node->imageUses; }};
}

Location FileSystem::Resolve(const PathContext& context, std::u16string_view name) {
  std::u16string path = NtPath(name, context.currentDirectory);
  if (path.empty()) {
    return Nowhere(PathNotFound);
  }
  return ResolveNtPath(context.redirected ? Redirect(std::move(path)) : path);
}

/// 32-bit programs find their own system folder where the 64-bit one is, and the latter as "Sysnative".
std::u16string FileSystem::Redirect(std::u16string path) const {
  const std::u16string windows = NtPrefix + m_machine.settings.windowsDirectory + u'\\';
  if (!EqualsIgnoringCase(std::u16string_view(path).substr(0, windows.size()), windows)) {
    return path;
  }
  const std::u16string_view below = std::u16string_view(path).substr(windows.size());
  const auto isBelow = [below](std::u16string_view folder) {
    return EqualsIgnoringCase(below.substr(0, folder.size()), folder) &&
           (below.size() == folder.size() || below[folder.size()] == u'\\');
  };
  static constexpr std::u16string_view exceptions[] = {u"system32\\catroot",     u"system32\\catroot2",
                                                       u"system32\\driverstore", u"system32\\drivers\\etc",
                                                       u"system32\\logfiles",    u"system32\\spool"};
  for (const std::u16string_view exception : exceptions) {
    if (isBelow(exception)) {
      return path;
    }
  }
  static constexpr std::u16string_view moves[][2] = {
      {u"system32", u"SysWOW64"},
      {u"Sysnative", u"system32"},
      {u"lastgood\\system32", u"lastgood\\SysWOW64"},
      {u"regedit.exe", u"SysWOW64\\regedit.exe"},
  };
  for (const auto& [from, to] : moves) {
    if (isBelow(from)) {
      return windows + std::u16string(to) + std::u16string(below.substr(from.size()));
    }
  }
  return path;
}

Location FileSystem::ResolveNtPath(std::u16string_view path, unsigned int substitutions) {
  const auto names = SplitAtBackslashes(path.substr(NtPrefix.size()));
  if (names.empty() || names[0].empty()) {
    return Nowhere(InvalidName);
  }
  if (IsDrive(names[0])) {
    const char16_t letter = FoldCase(names[0][0]);
    const auto substitution = m_substitutions.find(letter);
    if (substitution != m_substitutions.end() && substitutions != 0) {
      const std::size_t afterDrive = NtPrefix.size() + 2;
      std::u16string_view target = substitution->second;
      std::u16string_view rest = path.substr(afterDrive);
      if (target.ends_with(u'\\') && rest.starts_with(u'\\')) {
        target.remove_suffix(1);
      }
      return ResolveNtPath(std::u16string(target) + std::u16string(rest), substitutions - 1);
    }
    const auto drive = m_drives.find(letter);
    if (substitution != m_substitutions.end() || drive == m_drives.end()) {
      return Nowhere(names.size() == 1 ? FileNotFound : PathNotFound);
    }
    return drive->second.hasMedium ? Walk(drive->second.root, names, 1) : Nowhere(NotReady);
  }
  if (EqualsIgnoringCase(names[0], u"UNC")) {
    const auto server = names.size() < 2 ? m_shares.end() : m_shares.find(names[1]);
    if (server == m_shares.end()) {
      return Nowhere(BadNetPath);
    }
    const auto share = names.size() < 3 ? server->second.end() : server->second.find(names[2]);
    return share == server->second.end() ? Nowhere(BadNetName) : Walk(share->second, names, 3);
  }
  if (names.size() > 1) {
    return Nowhere(PathNotFound);
  }
  Location device;
  device.device = names[0];
  return device;
}

Location FileSystem::Walk(std::shared_ptr<FileNode> root, const std::vector<std::u16string>& components,
                          std::size_t first) const {
  std::size_t end = components.size();
  Location location;
  if (end > first && components[end - 1].empty()) {
    location.trailingBackslash = true;
    --end;
  }
  location.node = std::move(root);
  for (std::size_t i = first; i < end; ++i) {
    if (!IsValidFileName(components[i])) {
      return Nowhere(InvalidName);
    }
    if (location.node == nullptr || !location.node->IsFolder()) {
      return Nowhere(PathNotFound);
    }
    location.folder = location.node;
    location.node = location.folder->Child(components[i]);
    location.name = components[i];
  }
  if (location.trailingBackslash && location.node != nullptr && !location.node->IsFolder()) {
    return Nowhere(InvalidName);
  }
  return location;
}

std::uint32_t FileSystem::DriveType(const PathContext& context, std::u16string_view root) {
  if (!IsDrive(root) && !root.ends_with(u'\\') && !root.ends_with(u'/')) {
    return NoRootDirectory;
  }
  std::u16string path =
      FullPath(std::u16string(root) + (IsDrive(root) ? u"\\" : u""), context.currentDirectory);
  std::u16string_view bare = path;
  if (bare.starts_with(u"\\\\.\\") || bare.starts_with(u"\\\\?\\")) {
    bare.remove_prefix(4);
  }
  for (unsigned int i = 0; bare.size() == 3 && IsDrive(bare.substr(0, 2)) && i < MostSubstitutions; ++i) {
    const auto substitution = m_substitutions.find(FoldCase(bare[0]));
    if (substitution == m_substitutions.end()) {
      const auto drive = m_drives.find(FoldCase(bare[0]));
      return drive == m_drives.end() ? NoRootDirectory : drive->second.type;
    }
    // The type of a substituted drive is that of the disk where its folder lies.
    if (Resolve(context, bare).node == nullptr) {
      return NoRootDirectory;
    }
    path = substitution->second.substr(NtPrefix.size());
    if (!IsDrive(path.substr(0, 2))) {
      return RemoteDrive;
    }
    path = path.substr(0, 2) + u'\\';
    bare = path;
  }
  const bool isShare = path.starts_with(u"\\\\") && RootOfPath(path) == path;
  return isShare && Resolve(context, path).node != nullptr ? RemoteDrive : NoRootDirectory;
}

std::u16string FileSystem::DosDeviceTarget(std::u16string_view name) const {
  if (IsDrive(name)) {
    const char16_t letter = FoldCase(name[0]);
    const auto substitution = m_substitutions.find(letter);
    if (substitution != m_substitutions.end()) {
      return substitution->second;
    }
    static const std::map<std::uint32_t, std::u16string> names = {{2, u"\\Device\\Floppy"},
                                                                  {3, u"\\Device\\HarddiskVolume"},
                                                                  {4, u"\\Device\\LanmanRedirector\\;"},
                                                                  {5, u"\\Device\\CdRom"},
                                                                  {6, u"\\Device\\Ramdisk"}};
    const auto drive = m_drives.find(letter);
    if (drive == m_drives.end()) {
      return {};
    }
    const std::uint32_t type = drive->second.type;
    const std::u16string device = names.contains(type) ? names.at(type) : names.at(3);
    if (type == RemoteDrive) {
      return device + drive->second.root->name;
    }
    // Disks are counted from 1, other drives from 0.
    unsigned int number = type == 2 || type == 5 ? 0 : 1;
    for (auto other = m_drives.begin(); other != drive; ++other) {
      number += other->second.type == type ? 1 : 0;
    }
    return device + FromUtf8(std::to_string(number));
  }
  return m_machine.devices.HasDevice(name) ? u"\\Device\\" + std::u16string(name) : std::u16string();
}

std::vector<std::u16string> FileSystem::DosDeviceNames() const {
  std::set<std::u16string, CaseInsensitiveLess> names;
  for (const auto& [letter, drive] : m_drives) {
    names.insert({letter, u':'});
  }
  for (const auto& [letter, target] : m_substitutions) {
    names.insert({letter, u':'});
  }
  for (const std::u16string& device : m_machine.devices.DeviceNames()) {
    names.insert(device);
  }
  return {names.begin(), names.end()};
}

bool FileSystem::IsDenied(const FileNode& node) const {
  return !m_denied.empty() && m_denied.contains(node.Path());
}

bool FileSystem::IsDenied(const FileNode& folder, std::u16string_view name) const {
  return !m_denied.empty() && m_denied.contains(ChildPath(folder, name));
}

FileTimes FileSystem::Now() const {
  const std::uint64_t now = m_machine.clock.Now();
  return {now, now, now};
}

void FileSystem::Unlink(FileNode& node) {
  if (node.parent != nullptr) {
    node.parent->RemoveChild(node);
  }
}

}  // namespace winsim
