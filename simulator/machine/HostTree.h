#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "machine/FileSystem.h"

namespace winsim {

/// What is in a folder of the host, in the order of names. Throws MachineFolderError.
std::vector<std::filesystem::path> SortedEntries(const std::filesystem::path& folder);

/// Adds what is in a folder of the host to the machine's folder `path`; the contents of files are read later.
/// Throws MachineFolderError.
void LoadHostTree(const std::filesystem::path& hostFolder, FileSystem& files, const std::u16string& path);

/// Writes what is in `folder` to a folder of the host, which exists; `beforeEach` is called before each file.
/// Throws std::filesystem::filesystem_error or std::runtime_error, and what `beforeEach` throws.
void SaveHostTree(FileNode& folder, const std::filesystem::path& hostFolder,
                  const std::function<void()>& beforeEach);

}  // namespace winsim
