#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <vector>

#include "machine/Machine.h"
#include "machine/MachineDescription.h"
#include "machine/MachineFolderError.h"
#include "machine/RegFile.h"

namespace winsim {

/// A machine kept in a folder of the host: `registry.reg`, a folder for each drive named by its letter, and
/// an optional `machine.json`. The folder that a machine was loaded from is only read, but must stay as it is
/// while the machine lives: the contents of its files are read when they are needed.
///
/// Not kept: HKEY_CURRENT_USER, the times of files, and contents of the folder that are none of the above.
class MachineFolder {
 public:
  /// Loads a machine that is turned off, with its clock at `startTime`. Throws MachineFolderError for
  /// anything that cannot be taken as it is: unreadable files, symbolic links, names that Windows could not
  /// have or that differ only in case.
  static std::unique_ptr<MachineFolder> Load(const std::filesystem::path& folder, std::uint64_t startTime,
                                             const RegFileProgress& progress = {});

  Machine& GetMachine() const { return *m_machine; }
  /// What the user should know about how the folder was read, a line each that begins with the file.
  const std::vector<std::string>& Notes() const { return m_notes; }

  /// Starts the machine, with the locks that machine.json says another program holds.
  void StartMachine(Machine::AutoStart autoStart);

  /// Throws SaveError unless `target` is a new or empty folder, outside the folder that the machine came
  /// from, in a folder that exists.
  void CheckTarget(const std::filesystem::path& target) const;
  /// Saves the machine's disk to `target`, all of it or, with a SaveError, nothing. What `beforeEach` throws,
  /// which is called before each file, ends it in the same way. It is written to ".kvsim-saving-" and the
  /// target's name beside it first; what a save that was killed left there is taken over.
  void Save(
      const std::filesystem::path& target, const std::function<void()>& beforeEach = [] {}) const;

 private:
  MachineFolder(std::filesystem::path folder, std::filesystem::path json, std::uint64_t startTime);

  void LoadRegistry(const std::filesystem::path& file, const RegFileProgress& progress);
  void LoadDrives();
  void LoadShares();
  void Describe();

  std::filesystem::path m_folder;
  std::filesystem::path m_json;
  std::vector<std::string> m_notes;
  MachineDescription m_description;
  std::unique_ptr<Machine> m_machine;
  /// What another program holds; gone before the machine.
  std::vector<std::shared_ptr<Mutex>> m_heldLocks;
};

}  // namespace winsim
