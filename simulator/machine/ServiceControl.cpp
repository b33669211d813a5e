#include <winerror.h>
#include <winsvc.h>

#include <algorithm>

#include "machine/Machine.h"
#include "machine/ProgramSearch.h"
#include "machine/ServiceRecord.h"

// The running side of the services: starts, controls, and what a service's own process does.

namespace winsim {
namespace {

/// How long the service control manager waits for a service's process.
constexpr std::uint64_t Patience = 30'000 * Clock::UnitsPerMillisecond;

/// The bit that a service must accept for a control; 0 for one that needs none.
std::uint32_t NeededAcceptance(std::uint32_t control) {
  static constexpr std::uint32_t bits[] = {0, 0x01, 0x02, 0x02, 0, 0x04, 0x08, 0x10, 0x10, 0x10, 0x10};
  return control < std::size(bits) ? bits[control] : 0;
}

}  // namespace

ServiceStatus Services::Status(std::u16string_view service) {
  return Status(*Record(service));
}

ServiceStatus Services::Status(ServiceRecord& record) {
  ServiceStatus status = record.status;
  const ServiceConfig config = m_database.Config(record.name);
  if (config.IsDriver()) {
    const bool loaded = m_machine.devices.IsLoaded(record.name);
    const bool pending = loaded && m_machine.devices.IsStopPending(record.name);
    status.state = pending  ? ServiceStatus::StopPending
                   : loaded ? ServiceStatus::Running
                            : ServiceStatus::Stopped;
    if (loaded) {
      status.exitCode = 0;
    }
    const bool stops = m_machine.devices.Behaviour(record.name).stop != DriverBehaviour::Stop::refuses;
    status.controlsAccepted = loaded && !pending && stops ? SERVICE_ACCEPT_STOP : 0;
  }
  if (status.type == 0) {
    status.type = config.type;
  }
  return status;
}

std::uint32_t Services::CheckStart(ServiceRecord& record) {
  if (!m_database.Exists(record.name)) {
    return ERROR_FILE_NOT_FOUND;
  }
  if (m_database.IsMarked(record.name)) {
    return ERROR_SERVICE_MARKED_FOR_DELETE;
  }
  if (m_database.Config(record.name).start == ServiceConfig::Disabled) {
    return ERROR_SERVICE_DISABLED;
  }
  return Status(record).state == ServiceStatus::Stopped ? 0 : ERROR_SERVICE_ALREADY_RUNNING;
}

std::uint32_t Services::Launch(std::u16string_view service, std::vector<std::u16string> arguments) {
  const std::shared_ptr<ServiceRecord> record = Record(service);
  std::uint32_t error = CheckStart(*record);
  if (error != 0) {
    return error;
  }
  if (!m_database.Config(service).IsDriver()) {
    return LaunchProgram(*record, std::move(arguments));
  }
  error = m_machine.devices.Load(service, DriverImagePath(service));
  record->status.exitCode = error;
  return error;
}

std::uint32_t Services::LaunchProgram(ServiceRecord& record, std::vector<std::u16string> arguments) {
  const ServiceConfig config = m_database.Config(record.name);
  const std::u16string commandLine = ExpandVariables(config.imagePath);
  const PathContext context = {m_machine.SystemDirectory(), m_database.HasWow64Mark(record.name)};
  const FoundProgram found = FindProgramOf(m_machine, context, commandLine, {m_machine.SystemDirectory()});
  if (found.error != 0) {
    return found.error;
  }
  record.status = {};
  record.status.type = config.type;
  record.status.state = ServiceStatus::StartPending;
  record.status.exitCode = 0;
  record.status.waitHint = 2000;
  record.arguments = std::move(arguments);
  record.dispatched = false;
  record.mainEnded = false;
  record.statusNumber = 0;
  record.handler = nullptr;
  record.requests.clear();
  record.process = m_machine.NewProcess(commandLine);
  record.process->serviceName = record.name;
  record.process->session = 0;
  record.process->imagePath = found.path;
  m_machine.StartMainThread(record.process, *found.program);
  return 0;
}

std::uint32_t Services::StartDependencies(Thread& caller, const std::vector<std::u16string>& dependencies) {
  for (const std::u16string& dependency : dependencies) {
    if (dependency.starts_with(u'+')) {
      continue;
    }
    if (!m_database.Exists(dependency)) {
      return ERROR_SERVICE_DEPENDENCY_DELETED;
    }
    const std::uint32_t error = Start(caller, *Record(dependency), {});
    if (error != 0 && error != ERROR_SERVICE_ALREADY_RUNNING) {
      return error == Gate::PowerLossError ? error : ERROR_SERVICE_DEPENDENCY_FAIL;
    }
  }
  return 0;
}

std::uint32_t Services::Start(Thread& caller, ServiceRecord& record, std::vector<std::u16string> arguments) {
  if (const std::uint32_t error = CheckStart(record); error != 0) {
    return error;
  }
  const ServiceConfig config = m_database.Config(record.name);
  if (m_database.IsCircular(record.name, config.dependencies, config.group)) {
    return ERROR_CIRCULAR_DEPENDENCY;
  }
  if (const std::uint32_t error = StartDependencies(caller, config.dependencies); error != 0) {
    return error;
  }
  const std::uint32_t error = Launch(record.name, std::move(arguments));
  if (error != 0 || config.IsDriver()) {
    return error;
  }
  const std::shared_ptr<Process> process = record.process;
  m_machine.scheduler.Block(
      caller.turn, [&] { return record.dispatched || process->ExitCode().has_value(); },
      m_machine.clock.Now() + Patience);
  if (m_machine.gate.IsPowerOff()) {
    return Gate::PowerLossError;
  }
  return record.dispatched ? 0 : ERROR_SERVICE_REQUEST_TIMEOUT;
}

bool Services::HasRunningDependents(std::u16string_view service) {
  for (const std::u16string& name : m_database.Names()) {
    const std::vector<std::u16string> needed = m_database.Config(name).dependencies;
    const bool depends = std::any_of(needed.begin(), needed.end(), [&](const std::u16string& dependency) {
      return EqualsIgnoringCase(dependency, service);
    });
    if (depends && Status(name).state != ServiceStatus::Stopped) {
      return true;
    }
  }
  return false;
}

std::uint32_t Services::CheckControl(ServiceRecord& record, std::uint32_t control) {
  const ServiceStatus status = Status(record);
  const bool isDriver = m_database.Config(record.name).IsDriver();
  if (isDriver && control != SERVICE_CONTROL_STOP && control != SERVICE_CONTROL_INTERROGATE) {
    return ERROR_INVALID_SERVICE_CONTROL;
  }
  const std::uint32_t needed = NeededAcceptance(control);
  switch (status.state) {
    case ServiceStatus::Stopped:
      return ERROR_SERVICE_NOT_ACTIVE;
    case ServiceStatus::StopPending:
      return ERROR_SERVICE_CANNOT_ACCEPT_CTRL;
    case ServiceStatus::StartPending:
      if (control != SERVICE_CONTROL_STOP) {
        return ERROR_SERVICE_CANNOT_ACCEPT_CTRL;
      }
      break;
    default:
      break;
  }
  if ((status.controlsAccepted & needed) != needed) {
    return ERROR_INVALID_SERVICE_CONTROL;
  }
  if (control == SERVICE_CONTROL_STOP && HasRunningDependents(record.name)) {
    return ERROR_DEPENDENT_SERVICES_RUNNING;
  }
  return 0;
}

std::uint32_t Services::Request(std::u16string_view service, std::uint32_t control) {
  const std::shared_ptr<ServiceRecord> record = Record(service);
  const std::uint32_t error = CheckControl(*record, control);
  if (error == 0) {
    record->requests.push_back(std::make_shared<ServiceRequest>(ServiceRequest{control}));
  }
  return error;
}

std::uint32_t Services::Control(Thread& caller, ServiceRecord& record, std::uint32_t control,
                                ServiceStatus& status) {
  status = Status(record);
  if (const std::uint32_t error = CheckControl(record, control); error != 0) {
    return error;
  }
  if (m_database.Config(record.name).IsDriver()) {
    const bool refused = control == SERVICE_CONTROL_STOP &&
                         m_machine.devices.Stop(record.name) == Devices::StopResult::refused;
    status = Status(record);
    return refused ? ERROR_INVALID_SERVICE_CONTROL : 0;
  }
  const std::shared_ptr<Process> process = record.process;
  const auto request = std::make_shared<ServiceRequest>(ServiceRequest{control});
  record.requests.push_back(request);
  m_machine.scheduler.Block(
      caller.turn, [&] { return request->handled || process->ExitCode().has_value(); },
      m_machine.clock.Now() + Patience);
  if (m_machine.gate.IsPowerOff()) {
    return Gate::PowerLossError;
  }
  status = Status(record);
  return request->handled ? 0 : ERROR_SERVICE_REQUEST_TIMEOUT;
}

std::shared_ptr<ServiceRecord> Services::RecordOf(const Process& process) const {
  const auto found = m_records.find(process.serviceName);
  return found != m_records.end() && found->second->process.get() == &process ? found->second : nullptr;
}

std::uint32_t Services::RunDispatcher(Thread& thread, ServiceMain serviceMain) {
  const std::shared_ptr<ServiceRecord> record = RecordOf(*thread.process);
  if (record == nullptr) {
    return ERROR_FAILED_SERVICE_CONTROLLER_CONNECT;
  }
  if (record->dispatched) {
    return ERROR_SERVICE_ALREADY_RUNNING;
  }
  record->dispatched = true;
  StartThread(thread.process, [record, main = std::move(serviceMain)] {
    std::vector<std::u16string> arguments = {record->name};
    arguments.insert(arguments.end(), record->arguments.begin(), record->arguments.end());
    main(arguments);
    record->mainEnded = true;
  });
  const auto hasWork = [&] { return !record->requests.empty() && record->handler != nullptr; };
  while (!record->mainEnded) {
    m_machine.scheduler.Block(
        thread.turn, [&] { return record->mainEnded || hasWork(); }, std::nullopt);
    while (!record->mainEnded && hasWork()) {
      const std::shared_ptr<ServiceRequest> request = record->requests.front();
      record->requests.pop_front();
      record->handler(request->control);
      request->handled = true;
    }
  }
  if (m_machine.gate.IsPowerOff()) {
    return Gate::PowerLossError;
  }
  if (record->status.state != ServiceStatus::Stopped) {
    ReportStopped(*record, ERROR_PROCESS_ABORTED);
  }
  return 0;
}

std::uintptr_t Services::RegisterHandler(Thread& thread, Handler handler) {
  const std::shared_ptr<ServiceRecord> record = RecordOf(*thread.process);
  if (record == nullptr || !record->dispatched) {
    return 0;
  }
  record->handler = std::move(handler);
  record->statusNumber = m_nextStatusNumber;
  m_nextStatusNumber += 16;
  return record->statusNumber;
}

std::uint32_t Services::SetStatus(Thread& thread, std::uintptr_t number, const ServiceStatus& status) {
  const std::shared_ptr<ServiceRecord> record = RecordOf(*thread.process);
  if (record == nullptr || number == 0 || number != record->statusNumber) {
    return ERROR_INVALID_HANDLE;
  }
  static constexpr std::uint32_t programTypes = SERVICE_WIN32_OWN_PROCESS | SERVICE_WIN32_SHARE_PROCESS;
  if (status.state < ServiceStatus::Stopped || status.state > ServiceStatus::Paused ||
      (status.type & programTypes) == 0) {
    return ERROR_INVALID_DATA;
  }
  record->status = status;
  m_history[record->name].push_back(status);
  if (status.state == ServiceStatus::Stopped) {
    Settle(*record);
  }
  return 0;
}

void Services::ReportStopped(ServiceRecord& record, std::uint32_t exitCode) {
  record.status.state = ServiceStatus::Stopped;
  record.status.controlsAccepted = 0;
  record.status.exitCode = exitCode;
  Settle(record);
}

void Services::ProcessEnded(const Process& process) {
  const std::shared_ptr<ServiceRecord> record = RecordOf(process);
  if (record == nullptr) {
    return;
  }
  if (record->status.state != ServiceStatus::Stopped && !m_machine.gate.IsPowerOff()) {
    ReportStopped(*record, ERROR_PROCESS_ABORTED);
  }
  record->process.reset();
}

}  // namespace winsim
