#include <algorithm>

#include "machine/FileSystem.h"
#include "machine/Machine.h"
#include "machine/Paths.h"

// What the file functions do with a file once it is found.

namespace winsim {
namespace {

constexpr std::uint32_t InvalidFunction = 1;
constexpr std::uint32_t FileNotFound = 2;
constexpr std::uint32_t PathNotFound = 3;
constexpr std::uint32_t AccessDenied = 5;
constexpr std::uint32_t NotSameDevice = 17;
constexpr std::uint32_t SharingViolation = 32;
constexpr std::uint32_t FileExists = 80;
constexpr std::uint32_t InvalidParameter = 87;
constexpr std::uint32_t InvalidName = 123;
constexpr std::uint32_t AlreadyExists = 183;
constexpr std::uint32_t NotADirectory = 267;
constexpr std::uint32_t UserMappedFile = 1224;

constexpr std::uint32_t CreateNewDisposition = 1;
constexpr std::uint32_t CreateAlways = 2;
constexpr std::uint32_t OpenExistingDisposition = 3;
constexpr std::uint32_t TruncateExisting = 5;
constexpr std::uint32_t BackupSemantics = 0x02000000;
constexpr std::uint32_t GenericWrite = 0x40000000;
constexpr std::uint32_t DeleteAccess = 0x10000;
constexpr std::uint32_t ShareEverything = 7;

constexpr std::uint32_t MoveReplaceExisting = 1;
constexpr std::uint32_t MoveCopyAllowed = 2;
constexpr std::uint32_t MoveDelayUntilReboot = 4;

constexpr std::uint32_t Temporary = 0x100;
/// The attributes that programs can set, temporary, offline and not indexed among them.
constexpr std::uint32_t SettableAttributes = FileNode::ReadOnly | FileNode::Hidden | FileNode::System |
                                             FileNode::Archive | Temporary | 0x1000 | 0x2000;

bool IsRefusedByOpens(const FileNode& node, const FileAccess& access, std::uint32_t share) {
  return std::any_of(node.opens.begin(), node.opens.end(),
                     [&](const FileObject* open) { return !open->Allows(access, share); });
}

const FileNode& RootOf(const FileNode& node) {
  const FileNode* root = &node;
  while (root->parent != nullptr) {
    root = root->parent;
  }
  return *root;
}

}  // namespace

std::uint32_t FileSystem::Open(const PathContext& context, std::u16string_view name,
                               const OpenRequest& request, std::shared_ptr<KernelObject>& result,
                               bool& existed) {
  if (request.disposition < CreateNewDisposition || request.disposition > TruncateExisting ||
      (request.disposition == TruncateExisting && (request.access & GenericWrite) == 0)) {
    return InvalidParameter;
  }
  const Location location = Resolve(context, name);
  if (location.error != 0) {
    return location.error;
  }
  existed = location.node != nullptr || !location.device.empty();
  if (!location.device.empty()) {
    return m_machine.devices.Open(location.device, request, result);
  }
  return existed ? OpenExisting(location, request, result) : CreateNew(location, request, result);
}

std::uint32_t FileSystem::OpenExisting(const Location& location, const OpenRequest& request,
                                       std::shared_ptr<KernelObject>& result) {
  FileNode& node = *location.node;
  const FileAccess access(request.access);
  const bool overwrites = request.disposition == CreateAlways;
  const bool empties = overwrites || request.disposition == TruncateExisting;
  if (node.deletePending) {
    return AccessDenied;
  }
  if (node.IsFolder() && (request.flagsAndAttributes & BackupSemantics) == 0) {
    return location.trailingBackslash ? PathNotFound : AccessDenied;
  }
  if (request.disposition == CreateNewDisposition) {
    return FileExists;
  }
  if (node.IsFolder() && empties) {
    return AccessDenied;
  }
  if (IsDenied(node)) {
    return AccessDenied;
  }
  const std::uint32_t mustBeGiven = node.attributes & (FileNode::Hidden | FileNode::System);
  if (!node.IsFolder() && (((access.write || empties) && (node.attributes & FileNode::ReadOnly) != 0) ||
                           (overwrites && (request.flagsAndAttributes & mustBeGiven) != mustBeGiven))) {
    return AccessDenied;
  }
  if (IsRefusedByOpens(node, access, request.share) || (node.imageUses != 0 && (access.write || empties))) {
    return SharingViolation;
  }
  if (empties && node.mappings != 0) {
    return UserMappedFile;
  }
  if (empties) {
    node.WritableContents().clear();
    node.times.lastWrite = m_machine.clock.Now();
  }
  if (overwrites) {
    node.attributes = (request.flagsAndAttributes & SettableAttributes) | FileNode::Archive;
  }
  result = std::make_shared<FileObject>(m_machine, location.node, request);
  return 0;
}

std::uint32_t FileSystem::CreateNew(const Location& location, const OpenRequest& request,
                                    std::shared_ptr<KernelObject>& result) {
  if (request.disposition == OpenExistingDisposition || request.disposition == TruncateExisting) {
    return FileNotFound;
  }
  if (location.trailingBackslash) {
    return InvalidName;
  }
  if (IsDenied(*location.folder) || IsDenied(*location.folder, location.name)) {
    return AccessDenied;
  }
  const std::uint32_t attributes = (request.flagsAndAttributes & SettableAttributes) | FileNode::Archive;
  const auto node = std::make_shared<FileNode>(location.name, attributes, Now());
  location.folder->AddChild(node);
  result = std::make_shared<FileObject>(m_machine, node, request);
  return 0;
}

std::uint32_t FileSystem::Look(const PathContext& context, std::u16string_view name,
                               std::shared_ptr<FileNode>& result) {
  const Location location = Resolve(context, name);
  if (!location.device.empty()) {
    return m_machine.devices.HasDevice(location.device) ? InvalidFunction : FileNotFound;
  }
  if (const std::uint32_t error = location.MissingError(); error != 0) {
    return error;
  }
  if (location.node->deletePending || IsDenied(*location.node)) {
    return AccessDenied;
  }
  result = location.node;
  return 0;
}

std::uint32_t FileSystem::SetAttributes(const PathContext& context, std::u16string_view name,
                                        std::uint32_t attributes) {
  std::shared_ptr<FileNode> node;
  if (const std::uint32_t error = Look(context, name, node); error != 0) {
    return error;
  }
  if (node->IsFolder() && (attributes & Temporary) != 0) {
    return InvalidParameter;
  }
  node->attributes = (attributes & SettableAttributes) | (node->attributes & FileNode::Directory);
  return 0;
}

/// Why a file that nobody's sharing mode protects cannot go: 5, or 0 when it can.
std::uint32_t FileSystem::DeletionError(const FileNode& node) const {
  const bool refuses = node.IsFolder() || (node.attributes & FileNode::ReadOnly) != 0 ||
                       node.imageUses != 0 || node.mappings != 0 || node.deletePending || IsDenied(node);
  return refuses ? AccessDenied : 0;
}

std::uint32_t FileSystem::Delete(const PathContext& context, std::u16string_view name) {
  std::shared_ptr<FileNode> node;
  if (const std::uint32_t error = Look(context, name, node); error != 0) {
    return error;
  }
  if (!node->IsFolder() && IsRefusedByOpens(*node, FileAccess(DeleteAccess), ShareEverything)) {
    return SharingViolation;
  }
  if (const std::uint32_t error = DeletionError(*node); error != 0) {
    return error;
  }
  if (node->opens.empty()) {
    Unlink(*node);
  } else {
    node->deletePending = true;
  }
  return 0;
}

std::uint32_t FileSystem::Move(const PathContext& context, std::u16string_view source,
                               const std::optional<std::u16string>& target, std::uint32_t flags) {
  if ((flags & MoveDelayUntilReboot) != 0) {
    return DelayMove(context, source, target, flags);
  }
  const Location from = Resolve(context, source);
  const Location to = target.has_value() ? Resolve(context, *target) : Location{};
  if (!from.device.empty()) {
    return InvalidFunction;
  }
  if (const std::uint32_t error = from.MissingError(); error != 0) {
    return error;
  }
  if (to.error != 0) {
    return to.error;
  }
  if (to.folder == nullptr || from.folder == nullptr) {
    return target.has_value() ? AccessDenied : PathNotFound;
  }
  const bool sameDisk = &RootOf(*from.folder) == &RootOf(*to.folder);
  if (!sameDisk && (from.node->IsFolder() || (flags & MoveCopyAllowed) == 0)) {
    return NotSameDevice;
  }
  return Rename(from, to, (flags & MoveReplaceExisting) != 0);
}

std::uint32_t FileSystem::Rename(const Location& from, const Location& to, bool replace) {
  FileNode& node = *from.node;
  if (node.deletePending || IsDenied(node) || IsDenied(*to.folder) || IsDenied(*to.folder, to.name)) {
    return AccessDenied;
  }
  if (IsRefusedByOpens(node, FileAccess(DeleteAccess), ShareEverything)) {
    return SharingViolation;
  }
  for (const FileNode* above = to.folder.get(); above != nullptr; above = above->parent) {
    if (above == &node) {
      return AccessDenied;
    }
  }
  if (to.node != nullptr && to.node != from.node) {
    if (!replace) {
      return AlreadyExists;
    }
    if (!to.node->opens.empty() || DeletionError(*to.node) != 0) {
      return AccessDenied;
    }
    Unlink(*to.node);
  }
  Unlink(node);
  node.name = to.name;
  to.folder->AddChild(from.node);
  return 0;
}

std::uint32_t FileSystem::FindFirst(const PathContext& context, std::u16string_view pattern,
                                    std::shared_ptr<FileNode>& result, std::u16string& name) {
  const std::u16string path = NtPath(pattern, context.currentDirectory);
  if (path.empty()) {
    return PathNotFound;
  }
  const std::size_t backslash = path.rfind(u'\\');
  std::u16string folderPath = path.substr(0, backslash);
  const std::u16string names = path.substr(backslash + 1);
  if (folderPath.size() <= 4) {
    return FileNotFound;
  }
  // Redirection looks at the folder that is opened, not at the name searched there.
  const Location location = ResolveNtPath(context.redirected ? Redirect(std::move(folderPath)) : folderPath);
  if (location.error != 0 || location.node == nullptr) {
    return location.error == 0 || location.error == FileNotFound ? PathNotFound : location.error;
  }
  if (!location.node->IsFolder()) {
    return NotADirectory;
  }
  if (IsDenied(*location.node)) {
    return AccessDenied;
  }
  if (const std::u16string_view device = DosDeviceName(pattern); !device.empty()) {
    name = device;
    result = std::make_shared<FileNode>(name, FileNode::Archive, FileTimes());
    return 0;
  }
  if (names.empty()) {
    return FileNotFound;
  }
  const auto isInvalid = [](char16_t unit) {
    return unit < 0x20 || unit == u':' || unit == u'|' || unit == u'/';
  };
  if (std::any_of(names.begin(), names.end(), isInvalid)) {
    return InvalidName;
  }
  const std::u16string searched = SearchPattern(names, pattern.ends_with(u'.'));
  if (location.node->parent != nullptr && MatchesPattern(u".", searched)) {
    result = location.node;
    name = u".";
    return 0;
  }
  for (const auto& [childName, child] : location.node->children) {
    if (MatchesPattern(childName, searched)) {
      result = child;
      name = childName;
      return 0;
    }
  }
  return FileNotFound;
}

}  // namespace winsim
