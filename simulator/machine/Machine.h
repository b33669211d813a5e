#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "machine/Clock.h"
#include "machine/DeviceNodes.h"
#include "machine/Devices.h"
#include "machine/FileSystem.h"
#include "machine/Gate.h"
#include "machine/NamedObjects.h"
#include "machine/Process.h"
#include "machine/Registry.h"
#include "machine/Scheduler.h"
#include "machine/Services.h"
#include "machine/Settings.h"

namespace winsim {

/// A program that the machine can run: called on the main thread of a new process, returns the exit code.
using Program = std::function<int()>;

/// A message box that a program showed; nobody waits at it.
struct ShownMessageBox {
  std::u16string text;
  std::u16string caption;
  std::uint32_t type;
};

/// One simulated Windows machine. Independent of every other one; nothing in it looks at the host's clock.
///
/// What is on the disk (`registry`, `files`) outlives a restart; everything else does not. The members may be
/// read and changed freely while none of the machine's threads runs, and by the thread whose turn it is.
class Machine {
 public:
  explicit Machine(Settings settings = Settings::Windows10());
  ~Machine();
  Machine(const Machine&) = delete;
  Machine& operator=(const Machine&) = delete;

  const Settings settings;
  Clock clock;
  Scheduler scheduler;
  Gate gate;
  Registry registry;
  FileSystem files;
  Devices devices;
  DeviceNodes deviceNodes;
  Services services;
  NamedObjects names;
  /// Programs by file name; an executable file of that name runs it.
  std::map<std::u16string, Program, CaseInsensitiveLess> programs;
  /// Variables that new processes get, beside those that the machine always has (SystemRoot, windir,
  /// SystemDrive).
  std::map<std::u16string, std::u16string, CaseInsensitiveLess> environment;
  std::vector<ShownMessageBox> messageBoxes;
  /// Handles that programs left open when they ended, as texts with the process's command line in front.
  std::vector<std::string> leakedHandles;

  /// Directory of the system's programs, with the spelling of settings.windowsDirectory.
  std::u16string SystemDirectory() const {
    return settings.windowsDirectory + (settings.version.platformId == 1 ? u"\\SYSTEM" : u"\\system32");
  }

  /// The same for 32-bit programs, on a 64-bit Windows.
  std::u16string Wow64Directory() const { return settings.windowsDirectory + u"\\SysWOW64"; }

  enum class AutoStart { run, skip };
  /// Starts the machine: pending file operations run, services marked for deletion go, boot-, system- and
  /// auto-start drivers whose image exists are loaded, and unless `autoStart` says otherwise the auto-start
  /// services run to their end, one after the other. Called from a thread that is not the machine's.
  void Start(AutoStart autoStart = AutoStart::run);
  /// Turns the machine off: everything but the disk's contents goes. `Start` brings it up again.
  void TurnOff();

  /// A new process without threads; give it one with ThreadScope or StartThread.
  std::shared_ptr<Process> NewProcess(std::u16string commandLine);
  /// Starts `program` as the main thread of a new process; the executable file that the command line names,
  /// if it does, is in use until the program ends.
  std::shared_ptr<Process> StartProgram(const Program& program, std::u16string commandLine);
  /// Starts `program` as the main thread of `process`, which ends with it; until then the process's
  /// executable file, if it has one, is in use.
  std::shared_ptr<Thread> StartMainThread(const std::shared_ptr<Process>& process, const Program& program);
  /// The program that an executable file's path runs, or null.
  const Program* FindProgram(std::u16string_view path) const;

  /// Runs a command line from outside the machine until every process has ended; the first word names the
  /// program: a path, or a file of the system directory, ".exe" optional. Returns the exit code. Throws
  /// std::runtime_error when there is no such file or the machine does not know the program.
  std::uint32_t Run(const std::u16string& commandLine);

  /// Keeps a host thread that is to be joined once it has left the machine.
  void Adopt(std::thread thread);
  /// Waits from outside until no thread of the machine is left, and joins the host threads.
  void AwaitIdle();

 private:
  unsigned int m_processes = 0;
  /// A thread that is adopted from outside may run, and start others, at once.
  std::mutex m_hostThreadsMutex;
  std::list<std::thread> m_hostThreads;
};

}  // namespace winsim
