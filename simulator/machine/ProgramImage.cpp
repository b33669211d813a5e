#include "machine/ProgramImage.h"

#include <windows.h>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <vector>

#include "machine/CodePages.h"

namespace winsim {
namespace {

/// A file of the host that lives in memory, and its descriptor.
class MemoryFile {
 public:
  explicit MemoryFile(const std::vector<char>& contents)
      : m_descriptor(memfd_create("program", MFD_CLOEXEC)) {
    std::size_t written = 0;
    while (m_descriptor >= 0 && written < contents.size()) {
      const ssize_t count = write(m_descriptor, contents.data() + written, contents.size() - written);
      if (count <= 0) {
        close(m_descriptor);
        m_descriptor = -1;
        break;
      }
      written += static_cast<std::size_t>(count);
    }
    if (m_descriptor < 0) {
      throw std::runtime_error("The host has no room for a copy of a program.");
    }
  }
  ~MemoryFile() { close(m_descriptor); }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;

  std::string Path() const { return "/proc/self/fd/" + std::to_string(m_descriptor); }

 private:
  int m_descriptor;
};

/// A module of the host, loaded while this lives. The file's descriptor stays open as long: the loader knows
/// modules by their path, which must not come up again for another one.
class LoadedModule {
 public:
  LoadedModule(const std::vector<char>& contents, const std::string& origin) : m_file(contents) {
    const std::string path = m_file.Path();
    if (dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD) != nullptr) {
      throw std::runtime_error(origin + " was not unloaded when its last process ended.");
    }
    m_module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (m_module == nullptr) {
      throw std::runtime_error(origin + " cannot be loaded: " + dlerror());
    }
    m_entry = reinterpret_cast<EntryPoint>(dlsym(m_module, "WinMain"));
    if (m_entry == nullptr) {
      dlclose(m_module);
      throw std::runtime_error(origin + " has no WinMain.");
    }
  }
  ~LoadedModule() { dlclose(m_module); }
  LoadedModule(const LoadedModule&) = delete;
  LoadedModule& operator=(const LoadedModule&) = delete;

  using EntryPoint = decltype(&WinMain);
  EntryPoint Entry() const { return m_entry; }

 private:
  MemoryFile m_file;
  void* m_module = nullptr;
  EntryPoint m_entry = nullptr;
};

/// The command line without the program's name, as WinMain gets it.
std::string Tail(const std::string& commandLine) {
  std::size_t end = 0;
  for (bool quoted = false; end < commandLine.size(); ++end) {
    if (commandLine[end] == '"') {
      quoted = !quoted;
    } else if (!quoted && (commandLine[end] == ' ' || commandLine[end] == '\t')) {
      break;
    }
  }
  const std::size_t start = commandLine.find_first_not_of(" \t", end);
  return start == std::string::npos ? std::string() : commandLine.substr(start);
}

int RunModule(const std::vector<char>& contents, const std::string& origin) {
  const LoadedModule module(contents, origin);
  constexpr int ShowDefault = 10;
  const Thread& thread = Thread::Current();
  std::string arguments = Tail(ToAnsi(thread.GetMachine(), thread.process->CommandLine()));
  const auto instance = reinterpret_cast<HINSTANCE>(ModuleTable::ProgramHandle);
  return module.Entry()(instance, nullptr, arguments.data(), ShowDefault);
}

}  // namespace

Program LoadProgramImage(const std::string& modulePath) {
  std::ifstream file(modulePath, std::ios::binary);
  if (!file) {
    throw std::runtime_error(modulePath + " cannot be read.");
  }
  const auto contents = std::make_shared<const std::vector<char>>(std::istreambuf_iterator<char>(file),
                                                                  std::istreambuf_iterator<char>());
  const LoadedModule proof(*contents, modulePath);
  return [contents, modulePath] { return RunModule(*contents, modulePath); };
}

std::string BesideThisProgram(const std::string& name) {
  return std::filesystem::read_symlink("/proc/self/exe").parent_path() / name;
}

}  // namespace winsim
