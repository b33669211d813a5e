#include "machine/HostTree.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <map>
#include <stdexcept>
#include <vector>

#include "machine/MachineFolderError.h"
#include "machine/Paths.h"

namespace winsim {
namespace {

namespace fs = std::filesystem;

/// The machine's name for an entry of the host.
std::u16string NameOf(const fs::path& entry) {
  const std::string hostName = entry.filename().string();
  const std::u16string name = FromUtf8(hostName);
  if (ToUtf8(name) != hostName || !IsValidFileName(name) || name.back() == u'.' || name.back() == u' ') {
    throw MachineFolderError(entry, 0, "has a name that no file on Windows can have");
  }
  return name;
}

}  // namespace

std::vector<fs::path> SortedEntries(const fs::path& folder) {
  std::vector<fs::path> entries;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
    entries.push_back(entry->path());
  }
  if (error) {
    throw MachineFolderError(folder, 0, "cannot be read: " + error.message());
  }
  std::sort(entries.begin(), entries.end());
  return entries;
}

void LoadHostTree(const fs::path& hostFolder, FileSystem& files, const std::u16string& path) {
  std::map<std::u16string, fs::path, CaseInsensitiveLess> names;
  for (const fs::path& entry : SortedEntries(hostFolder)) {
    const std::u16string name = NameOf(entry);
    if (const auto [other, isNew] = names.emplace(name, entry); !isNew) {
      throw MachineFolderError(entry, 0,
                               "has the name of " + other->second.filename().string() +
                                   " but for the case of letters; expected one of the two");
    }
    const std::u16string fullPath = path + u'\\' + name;
    const fs::file_status status = fs::symlink_status(entry);
    if (fs::is_directory(status)) {
      files.MakeFolder(fullPath);
      LoadHostTree(entry, files, fullPath);
    } else if (!fs::is_regular_file(status)) {
      throw MachineFolderError(entry, 0,
                               std::string("is a ") +
                                   (fs::is_symlink(status) ? "symbolic link" : "special file") +
                                   "; expected files and folders only");
    } else if (access(entry.c_str(), R_OK) != 0) {
      throw MachineFolderError(entry, 0, "cannot be read: " + std::generic_category().message(errno));
    } else {
      files.AddHostFile(fullPath, entry.string(), fs::file_size(entry));
    }
  }
}

void SaveHostTree(FileNode& folder, const fs::path& hostFolder, const std::function<void()>& beforeEach) {
  for (const auto& [name, node] : folder.children) {
    beforeEach();
    const fs::path target = hostFolder / ToUtf8(node->name);
    if (node->IsFolder()) {
      fs::create_directory(target);
      SaveHostTree(*node, target, beforeEach);
    } else if (!node->HostPath().empty()) {
      fs::copy_file(node->HostPath(), target);
      if (fs::file_size(target) != node->Size()) {
        throw std::runtime_error(node->HostPath() + " has changed since the machine was loaded");
      }
    } else {
      const Bytes& contents = node->Contents();
      std::ofstream stream(target, std::ios::binary);
      stream.write(reinterpret_cast<const char*>(contents.data()),
                   static_cast<std::streamsize>(contents.size()));
      if (!stream.flush()) {
        throw std::runtime_error(target.string() +
                                 " cannot be written: " + std::generic_category().message(errno));
      }
    }
  }
}

}  // namespace winsim
