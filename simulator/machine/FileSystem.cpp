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

Location FileSystem::MustResolve(std::u16string_view path) {
  const Location location = Resolve(SystemContext(), path);
  if (!location.device.empty() ||
      (location.error != 0 && location.error != PathNotFound && location.error != FileNotFound)) {
    throw std::invalid_argument(ToUtf8(path) + ": cannot be the path of a file");
  }
  return location;
}

FileNode& FileSystem::MakeFolder(std::u16string_view path) {
  const std::u16string full = FullPath(path, SystemContext().currentDirectory);
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
  const std::u16string full = FullPath(path, SystemContext().currentDirectory);
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
  return Resolve(SystemContext(), path).node.get();
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
  const std::shared_ptr<FileNode> node = Resolve(SystemContext(), path).node;
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

bool FileSystem::IsDenied(const FileNode& node) const {
  return !m_denied.empty() && m_denied.contains(node.Path());
}

bool FileSystem::IsDenied(const FileNode& folder, std::u16string_view name) const {
  return !m_denied.empty() && m_denied.contains(ChildPath(folder, name));
}

/// The system itself reads paths from the root of its drive.
PathContext FileSystem::SystemContext() const {
  return {m_machine.settings.windowsDirectory.substr(0, 3), false};
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
