#include "api/Call.h"
#include "api/PseudoHandles.h"
#include "machine/CodePages.h"
#include "machine/ProgramSearch.h"

// Processes. A new one has the environment of the one that starts it.

using namespace winsim;

namespace {

/// What both spellings of CreateProcess are asked for; null texts are absent.
struct StartRequest {
  std::optional<std::u16string> application;
  std::optional<std::u16string> commandLine;
  std::optional<std::u16string> directory;
  bool hasEnvironment;
  /// An extended start-up record is announced, and this one has another size. Otherwise nobody asks its size.
  bool hasWrongRecord;
};

/// Both records have the same size.
bool IsWrongRecord(DWORD flags, DWORD size) {
  return (flags & EXTENDED_STARTUPINFO_PRESENT) != 0 && size != sizeof(STARTUPINFOEXW);
}

FoundProgram Find(Thread& thread, const StartRequest& request) {
  Machine& machine = thread.GetMachine();
  const PathContext context = PathContext::Of(thread);
  return request.application.has_value()
             ? FindProgramAt(machine, context, *request.application)
             : FindProgramOf(machine, context, *request.commandLine, ProgramDirectories(*thread.process));
}

/// The full path of the folder that the new process starts in, or empty when there is none.
std::u16string StartDirectory(Thread& thread, const StartRequest& request) {
  if (!request.directory.has_value()) {
    return thread.process->currentDirectory;
  }
  const Location location = thread.GetMachine().files.Resolve(PathContext::Of(thread), *request.directory);
  const bool isFolder = location.error == 0 && location.node != nullptr && location.node->IsFolder();
  return isFolder ? location.node->Path() : std::u16string();
}

DWORD Start(Thread& thread, const StartRequest& request, PROCESS_INFORMATION* information) {
  if ((!request.application.has_value() && !request.commandLine.has_value()) || request.hasWrongRecord) {
    return ERROR_INVALID_PARAMETER;
  }
  if (request.hasEnvironment) {
    return ERROR_NOT_SUPPORTED;
  }
  const FoundProgram found = Find(thread, request);
  if (found.error != 0) {
    return found.error;
  }
  const std::u16string directory = StartDirectory(thread, request);
  if (directory.empty()) {
    return ERROR_DIRECTORY;
  }
  Process& parent = *thread.process;
  Machine& machine = thread.GetMachine();
  const auto child = machine.NewProcess(request.commandLine.value_or(request.application.value_or(u"")));
  child->environment = parent.environment;
  child->currentDirectory = directory;
  child->imagePath = found.path;
  child->account = parent.account;
  child->session = parent.session;
  const auto mainThread = machine.StartMainThread(child, *found.program);
  // Numbers as Windows has them: multiples of four.
  const DWORD id = child->Number() * 8;
  *information = {parent.handles.Add<HANDLE>(child), parent.handles.Add<HANDLE>(mainThread), id, id + 4};
  return ERROR_SUCCESS;
}

}  // namespace

BOOL WINAPI CreateProcessA(LPCSTR application, LPSTR commandLine, LPSECURITY_ATTRIBUTES,
                           LPSECURITY_ATTRIBUTES, BOOL inheritHandles, DWORD flags, LPVOID environment,
                           LPCSTR directory, LPSTARTUPINFOA startup, LPPROCESS_INFORMATION information) {
  return BoolCall("CreateProcessA", {application, commandLine, inheritHandles, flags, directory, startup->cb},
                  [&](Thread& thread) {
                    const auto convert = [&](const char* text) {
                      return text == nullptr ? std::nullopt
                                             : std::optional(FromAnsi(thread.GetMachine(), text));
                    };
                    return Start(thread,
                                 {convert(application), convert(commandLine), convert(directory),
                                  environment != nullptr, IsWrongRecord(flags, startup->cb)},
                                 information);
                  });
}

BOOL WINAPI CreateProcessW(LPCWSTR application, LPWSTR commandLine, LPSECURITY_ATTRIBUTES,
                           LPSECURITY_ATTRIBUTES, BOOL inheritHandles, DWORD flags, LPVOID environment,
                           LPCWSTR directory, LPSTARTUPINFOW startup, LPPROCESS_INFORMATION information) {
  return BoolCall("CreateProcessW", {application, commandLine, inheritHandles, flags, directory, startup->cb},
                  [&](Thread& thread) {
                    const auto convert = [](const wchar_t* text) {
                      return text == nullptr ? std::nullopt : std::optional(FromWide(text));
                    };
                    return Start(thread,
                                 {convert(application), convert(commandLine), convert(directory),
                                  environment != nullptr, IsWrongRecord(flags, startup->cb)},
                                 information);
                  });
}

BOOL WINAPI GetExitCodeProcess(HANDLE process, LPDWORD exitCode) {
  return BoolCall("GetExitCodeProcess", {Argument::Handle(process)}, [&](Thread& thread) -> DWORD {
    constexpr DWORD StillActive = 259;
    const auto object = FindObject<Process>(thread, process);
    if (object == nullptr) {
      return ERROR_INVALID_HANDLE;
    }
    *exitCode = object->ExitCode().value_or(StillActive);
    return ERROR_SUCCESS;
  });
}

HANDLE WINAPI GetCurrentProcess() {
  return PlainCall("GetCurrentProcess", {}, [](Thread&) { return CurrentProcessHandle(); });
}

LPSTR WINAPI GetCommandLineA() {
  return PlainCall("GetCommandLineA", {}, [](Thread& thread) {
    Process& process = *thread.process;
    if (process.ansiCommandLine.empty()) {
      process.ansiCommandLine = ToAnsi(thread.GetMachine(), process.CommandLine());
    }
    return process.ansiCommandLine.data();
  });
}
