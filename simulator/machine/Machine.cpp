#include "machine/Machine.h"

#include <stdexcept>

#include "machine/ProgramSearch.h"

namespace winsim {

Machine::Machine(Settings machineSettings)
    : settings(std::move(machineSettings)),
      clock(settings.startTime),
      scheduler(clock),
      files(*this),
      devices(*this),
      deviceNodes(*this),
      services(*this),
      names(*this) {}

Machine::~Machine() {
  AwaitIdle();
}

std::shared_ptr<Process> Machine::NewProcess(std::u16string commandLine) {
  auto process = std::make_shared<Process>(*this, ++m_processes, std::move(commandLine));
  process->wow64 = settings.wow64;
  process->session = settings.version.major >= 6 ? 1 : 0;
  process->environment = environment;
  process->environment[u"SystemRoot"] = settings.windowsDirectory;
  process->environment[u"windir"] = settings.windowsDirectory;
  process->environment[u"SystemDrive"] = settings.windowsDirectory.substr(0, 2);
  process->currentDirectory = SystemDirectory();
  return process;
}

std::shared_ptr<Process> Machine::StartProgram(const Program& program, std::u16string commandLine) {
  auto process = NewProcess(std::move(commandLine));
  process->imagePath =
      FindProgramOf(*this, {process->currentDirectory}, process->CommandLine(), ProgramDirectories(*process))
          .path;
  StartMainThread(process, program);
  return process;
}

std::shared_ptr<Thread> Machine::StartMainThread(const std::shared_ptr<Process>& process,
                                                 const Program& program) {
  process->imageUse = files.UseImage(process->imagePath);
  return StartThread(process, [process, program] { process->End(static_cast<std::uint32_t>(program())); });
}

const Program* Machine::FindProgram(std::u16string_view path) const {
  const std::size_t slash = path.find_last_of(u"\\/");
  const auto found = programs.find(slash == std::u16string_view::npos ? path : path.substr(slash + 1));
  return found == programs.end() ? nullptr : &found->second;
}

std::uint32_t Machine::Run(const std::u16string& commandLine) {
  const FoundProgram found = FindProgramOf(*this, {SystemDirectory()}, commandLine, {SystemDirectory()});
  if (found.error != 0) {
    throw std::runtime_error("The command line " + ToUtf8(commandLine) + " names no program that can run: " +
                             (found.path.empty()
                                  ? "there is no such file (error " + std::to_string(found.error) + ")."
                                  : "the machine does not know what " + ToUtf8(found.path) + " does."));
  }
  const auto process = StartProgram(*found.program, commandLine);
  AwaitIdle();
  return process->ExitCode().value();
}

void Machine::Adopt(std::thread thread) {
  const std::lock_guard lock(m_hostThreadsMutex);
  m_hostThreads.push_back(std::move(thread));
}

void Machine::AwaitIdle() {
  scheduler.AwaitIdle();
  const std::lock_guard lock(m_hostThreadsMutex);
  while (!m_hostThreads.empty()) {
    m_hostThreads.front().join();
    m_hostThreads.pop_front();
  }
}

}  // namespace winsim
