#include <stdexcept>

#include "machine/FileSystem.h"
#include "machine/Machine.h"
#include "machine/Paths.h"

// Drives, substituted drives and shares, and what they tell about themselves.

namespace winsim {
namespace {

constexpr std::uint32_t NoRootDirectory = 1;
constexpr std::uint32_t RemovableDrive = 2;
constexpr std::uint32_t FixedDrive = 3;
constexpr std::uint32_t RemoteDrive = 4;
constexpr std::uint32_t CdRomDrive = 5;
constexpr std::uint32_t RamDisk = 6;

const std::u16string NtPrefix = u"\\??\\";

}  // namespace

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
    static const std::map<std::uint32_t, std::u16string> names = {
        {RemovableDrive, u"\\Device\\Floppy"},
        {FixedDrive, u"\\Device\\HarddiskVolume"},
        {RemoteDrive, u"\\Device\\LanmanRedirector\\;"},
        {CdRomDrive, u"\\Device\\CdRom"},
        {RamDisk, u"\\Device\\Ramdisk"}};
    const auto drive = m_drives.find(letter);
    if (drive == m_drives.end()) {
      return {};
    }
    const std::uint32_t type = drive->second.type;
    const std::u16string device = names.contains(type) ? names.at(type) : names.at(FixedDrive);
    if (type == RemoteDrive) {
      return device + drive->second.root->name;
    }
    // Disks are counted from 1, other drives from 0.
    unsigned int number = type == RemovableDrive || type == CdRomDrive ? 0 : 1;
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

}  // namespace winsim
