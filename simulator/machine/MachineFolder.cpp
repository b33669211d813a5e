#include "machine/MachineFolder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstring>
#include <fstream>

#include "machine/ControlSets.h"
#include "machine/HostTree.h"

namespace winsim {
namespace {

namespace fs = std::filesystem;

/// The letter of the drive that an entry of a machine folder is, or 0.
char16_t DriveOf(const fs::path& entry) {
  const std::string name = entry.filename().string();
  const bool isDrive = name.size() == 1 && std::isalpha(static_cast<unsigned char>(name[0])) != 0;
  return isDrive ? static_cast<char16_t>(std::toupper(static_cast<unsigned char>(name[0]))) : u'\0';
}

std::u16string Root(char16_t letter) {
  return {letter, u':'};
}

/// The spelling that the Windows directory has on the disk.
std::u16string SpelledAsOnDisk(const fs::path& folder, const std::u16string& windowsDirectory) {
  const std::u16string wanted = windowsDirectory.substr(3);
  for (const char* const drive : {"C", "c"}) {
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(folder / drive, ignored)) {
      const std::u16string name = FromUtf8(entry.path().filename().string());
      if (EqualsIgnoringCase(name, wanted)) {
        return windowsDirectory.substr(0, 3) + name;
      }
    }
  }
  return windowsDirectory;
}

/// The entry of that name without regard to case; empty without one.
fs::path Named(const char* name, const std::vector<fs::path>& entries) {
  fs::path found;
  for (const fs::path& entry : entries) {
    if (!EqualsIgnoringCase(FromUtf8(entry.filename().string()), FromUtf8(name))) {
      continue;
    }
    if (!found.empty()) {
      throw MachineFolderError(entry, 0,
                               "has the name of " + found.filename().string() +
                                   " but for the case of letters; expected one of the two");
    }
    found = entry;
  }
  return found;
}

/// The folder beside `target` in which that is made: it goes with its contents unless it is kept. Its lock
/// tells one in use from one that a killed process left.
class WorkFolder {
 public:
  explicit WorkFolder(const fs::path& target)
      : m_path(target.parent_path() / (".kvsim-saving-" + target.filename().string())) {
    const bool isNew = mkdir(m_path.c_str(), 0700) == 0;
    m_lock =
        isNew || errno == EEXIST ? open(m_path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC) : -1;
    if (m_lock < 0) {
      throw SaveError(m_path.string() + " cannot be made: " + std::strerror(errno));
    }
    if (flock(m_lock, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
      close(m_lock);
      throw SaveError(target.string() + " is being saved to by another kvsim");
    }
    try {
      for (const fs::path& left : isNew ? std::vector<fs::path>() : SortedEntries(m_path)) {
        fs::remove_all(left);
      }
    } catch (const std::exception& error) {
      close(m_lock);
      throw SaveError(m_path.string() +
                      ", left over from a save that was killed, cannot be emptied: " + error.what());
    }
  }
  ~WorkFolder() {
    std::error_code ignored;
    fs::remove_all(m_path, ignored);
    close(m_lock);
  }
  WorkFolder(const WorkFolder&) = delete;
  WorkFolder& operator=(const WorkFolder&) = delete;

  const fs::path& Path() const { return m_path; }

 private:
  fs::path m_path;
  int m_lock;
};

/// The full path of a folder that may not exist yet.
fs::path Normalized(const fs::path& target) {
  const fs::path path = fs::weakly_canonical(fs::absolute(target));
  return path.has_filename() ? path : path.parent_path();
}

bool IsWithin(const fs::path& path, const fs::path& folder) {
  const auto [end, ignored] = std::mismatch(folder.begin(), folder.end(), path.begin(), path.end());
  return end == folder.end();
}

}  // namespace

MachineFolder::MachineFolder(fs::path folder, fs::path json, std::uint64_t startTime)
    : m_folder(std::move(folder)), m_json(std::move(json)), m_description(ReadMachineJson(m_json)) {
  Settings settings = m_description.settings;
  settings.startTime = startTime;
  if (!m_description.namesWindowsDirectory) {
    settings.windowsDirectory = SpelledAsOnDisk(m_folder, settings.windowsDirectory);
  }
  m_machine = std::make_unique<Machine>(std::move(settings));
}

std::unique_ptr<MachineFolder> MachineFolder::Load(const fs::path& folder, std::uint64_t startTime,
                                                   const RegFileProgress& progress) {
  std::error_code error;
  const fs::file_status status = fs::status(folder, error);
  if (!fs::is_directory(status)) {
    const bool isMissing = status.type() == fs::file_type::not_found;
    throw MachineFolderError(folder, 0,
                             (isMissing ? "does not exist"
                              : error   ? "cannot be read: " + error.message()
                                        : "is not a folder") +
                                 "; expected a machine folder");
  }
  const std::vector<fs::path> entries = SortedEntries(folder);
  const fs::path registry = Named("registry.reg", entries);
  if (registry.empty()) {
    throw MachineFolderError(folder, 0, "has no registry.reg; expected a machine folder");
  }
  std::unique_ptr<MachineFolder> result(new MachineFolder(folder, Named("machine.json", entries), startTime));
  try {
    result->LoadRegistry(registry, progress);
    result->LoadDrives();
    result->LoadShares();
    result->Describe();
  } catch (const MachineFolderError&) {
    throw;
  } catch (const std::exception& exception) {
    throw MachineFolderError(folder, 0, exception.what());
  }
  return result;
}

void MachineFolder::LoadRegistry(const fs::path& file, const RegFileProgress& progress) {
  if (fs::exists(file) && !fs::is_regular_file(file)) {
    throw MachineFolderError(file, 0, "is not a file; expected the registry of the machine");
  }
  try {
    const std::uint32_t codePage = m_machine->settings.ansiCodePage;
    const std::size_t line = LoadRegFile(file, m_machine->registry, progress, codePage);
    if (line != 0 && !m_description.namesAnsiCodePage) {
      m_notes.push_back(file.string() + ':' + std::to_string(line) + ": read in code page " +
                        std::to_string(codePage) +
                        "; if the machine has another one, name it in machine.json, " +
                        "for a Cyrillic one {\"ansiCodePage\": 1251}");
    }
  } catch (const RegFileError& error) {
    throw MachineFolderError(file, error.Line(), error.Text());
  } catch (const std::exception& error) {
    throw MachineFolderError(file, 0, error.what());
  }
  if (const std::string note = SetUpControlSets(m_machine->registry, file); !note.empty()) {
    m_notes.push_back(file.string() + ": " + note);
  }
}

void MachineFolder::LoadDrives() {
  std::map<char16_t, fs::path> found;
  for (const fs::path& entry : SortedEntries(m_folder)) {
    const char16_t letter = DriveOf(entry);
    if (letter == 0) {
      continue;
    }
    if (!fs::is_directory(fs::symlink_status(entry))) {
      throw MachineFolderError(entry, 0, "is not a folder; expected the files of a drive");
    }
    if (!found.emplace(letter, entry).second) {
      throw MachineFolderError(entry, 0, "stands for the drive of " + found[letter].string() + " too");
    }
  }
  for (const auto& [letter, hostFolder] : found) {
    m_machine->files.AddDrive(letter);
    LoadHostTree(hostFolder, m_machine->files, Root(letter));
  }
  for (const auto& [letter, kind] : m_description.drives) {
    m_machine->files.AddDrive(letter, kind.type, kind.hasMedium);
  }
  for (const auto& [letter, folder] : m_description.substitutedDrives) {
    m_machine->files.Substitute(letter, folder);
  }
}

void MachineFolder::LoadShares() {
  for (const auto& [share, folder] : m_description.shares) {
    if (const char16_t letter = DriveOf(*folder.begin()); letter != 0) {
      std::u16string path = Root(letter);
      for (auto part = std::next(folder.begin()); part != folder.end(); ++part) {
        path += u'\\' + FromUtf8(part->string());
      }
      m_machine->files.AddShare(share, path);
      continue;
    }
    const fs::path hostFolder = m_folder / folder;
    if (!fs::is_directory(hostFolder)) {
      throw MachineFolderError(hostFolder, 0, "does not exist; expected the files of " + ToUtf8(share));
    }
    m_machine->files.AddShare(share);
    LoadHostTree(hostFolder, m_machine->files, share);
  }
}

void MachineFolder::Describe() {
  Machine& machine = *m_machine;
  const auto expect = [&](bool exists, const std::string& place, const char* expected) {
    if (!exists) {
      throw MachineFolderError(m_json, 0, place + " does not exist; expected " + expected);
    }
  };
  const auto expectService = [&](const std::u16string& name, const char* place) {
    expect(machine.registry.Find(ServiceDatabase::KeyPath(name)) != nullptr, place + ToUtf8(name),
           "the name of a service in registry.reg");
  };
  for (const auto& [name, value] : m_description.environment) {
    machine.environment[name] = value;
  }
  for (const auto& [path, attributes] : m_description.attributes) {
    FileNode* const node = machine.files.Find(path);
    expect(node != nullptr, "/attributes/" + ToUtf8(path), "a file or folder of the machine");
    node->attributes |= attributes;
  }
  for (const auto& [path, access] : m_description.refusedKeys) {
    expect(machine.registry.Find(path) != nullptr, "/refused/registry/" + ToUtf8(path),
           "a key of registry.reg, without \"HKEY_LOCAL_MACHINE\\\\\" in front");
    machine.registry.Deny(path, access);
  }
  for (const std::u16string& path : m_description.refusedFiles) {
    machine.files.Deny(path);
  }
  for (const auto& [service, access] : m_description.refusedServices) {
    expectService(service, "/refused/services/");
    machine.services.Deny(service, access);
  }
  if (m_description.refusesServiceManager) {
    machine.services.DenyManager();
  }
  for (const std::u16string& name : m_description.refusedMutexes) {
    machine.names.Deny(name);
  }
  for (const auto& [name, behaviour] : m_description.drivers) {
    expectService(name, "/drivers/");
    machine.devices.Behaviour(name) = behaviour;
  }
}

void MachineFolder::StartMachine(Machine::AutoStart autoStart) {
  m_heldLocks.clear();
  for (const MachineDescription::HeldLock& lock : m_description.heldLocks) {
    const auto mutex = m_machine->names.HoldMutex(lock.name, u"another account", true);
    if (mutex == nullptr) {
      continue;
    }
    m_heldLocks.push_back(mutex);
    const auto owner = std::make_shared<Thread>(m_machine->NewProcess(u"another program"));
    mutex->Acquire(*owner);
    m_machine->scheduler.At(m_machine->clock.Now() + lock.units, [owner, held = std::weak_ptr(mutex)] {
      if (const auto released = held.lock()) {
        released->Release(*owner);
      }
    });
  }
  m_machine->Start(autoStart);
}

void MachineFolder::CheckTarget(const fs::path& target) const {
  const auto refuse = [&](const fs::path& path, const std::string& problem) {
    throw SaveError(path.string() + ' ' + problem);
  };
  try {
    const fs::path path = Normalized(target);
    const fs::path parent = path.parent_path();
    if (fs::exists(path) && !fs::is_directory(path)) {
      refuse(target, "exists and is not a folder; expected a new or empty folder to save to");
    }
    if (fs::exists(path) && !fs::is_empty(path)) {
      refuse(target, "is not empty; expected a new or empty folder to save to");
    }
    if (IsWithin(path, Normalized(m_folder))) {
      refuse(target, "is inside the machine folder, which is never changed; expected one outside");
    }
    if (!fs::is_directory(parent)) {
      refuse(parent, std::string(fs::exists(parent) ? "is not a folder" : "does not exist") +
                         "; expected the folder to make " + path.filename().string() + " in");
    }
    if (access(parent.c_str(), W_OK | X_OK) != 0) {
      refuse(parent, std::string("cannot be written to: ") + std::strerror(errno));
    }
  } catch (const fs::filesystem_error& error) {
    refuse(target, "cannot be saved to: " + error.code().message());
  }
}

void MachineFolder::Save(const fs::path& target, const std::function<void()>& beforeEach) const {
  CheckTarget(target);
  const fs::path path = Normalized(target);
  const WorkFolder work(path);
  const fs::path folder = work.Path() / "machine";
  try {
    fs::create_directory(folder);
    beforeEach();
    SaveRegFile(folder / "registry.reg", m_machine->registry);
    for (const auto& [letter, drive] : m_machine->files.Drives()) {
      if (drive.hasMedium || !drive.root->children.empty()) {
        const fs::path hostFolder = folder / std::string(1, static_cast<char>(letter));
        fs::create_directory(hostFolder);
        SaveHostTree(*drive.root, hostFolder, beforeEach);
      }
    }
    for (const auto& [share, inside] : m_description.shares) {
      if (DriveOf(*inside.begin()) == 0) {
        fs::create_directories(folder / inside);
        SaveHostTree(*m_machine->files.Find(share), folder / inside, beforeEach);
      }
    }
    if (const std::string json = FormatMachineJson(m_description, *m_machine); !json.empty()) {
      std::ofstream stream(folder / "machine.json", std::ios::binary);
      if (!(stream << json).flush()) {
        throw std::runtime_error("machine.json cannot be written: " + std::string(std::strerror(errno)));
      }
    }
    beforeEach();
    fs::rename(folder, path);
  } catch (const std::exception& error) {
    throw SaveError(target.string() + " cannot be saved: " + error.what());
  }
}

}  // namespace winsim
