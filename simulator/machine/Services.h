#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "machine/Object.h"
#include "machine/ServiceDatabase.h"
#include "machine/Text.h"

namespace winsim {

class Machine;
class Process;
class Thread;

/// A service's status, with the numbers of the Windows functions.
struct ServiceStatus {
  static constexpr std::uint32_t Stopped = 1;
  static constexpr std::uint32_t StartPending = 2;
  static constexpr std::uint32_t StopPending = 3;
  static constexpr std::uint32_t Running = 4;
  static constexpr std::uint32_t Paused = 7;

  static constexpr std::uint32_t NeverStarted = 1077;

  std::uint32_t type = 0;
  std::uint32_t state = Stopped;
  std::uint32_t controlsAccepted = 0;
  std::uint32_t exitCode = NeverStarted;
  std::uint32_t specificExitCode = 0;
  std::uint32_t checkPoint = 0;
  std::uint32_t waitHint = 0;
  bool operator==(const ServiceStatus&) const = default;
};

/// The running side of one service.
struct ServiceRecord;

/// The service control manager. The entries are in the registry (ServiceDatabase), drivers are loaded through
/// Devices, and a Win32 service runs its program in a process of its own. Error codes are those of the
/// Windows functions (0 for success).
class Services {
 public:
  static constexpr std::uint32_t AnyAccess = 0xFFFFFFFF;

  using ServiceMain = std::function<void(const std::vector<std::u16string>& arguments)>;
  using Handler = std::function<void(std::uint32_t control)>;

  explicit Services(Machine& machine);
  ~Services();
  Services(const Services&) = delete;
  Services& operator=(const Services&) = delete;

  // --- for the owner of the machine ---

  /// Refuses these access bits of the manager with 5; 0 refuses nothing any more.
  void DenyManager(std::uint32_t access = AnyAccess) { m_deniedManagerAccess = access; }
  /// The same of one service.
  void Deny(std::u16string_view service, std::uint32_t access = AnyAccess);

  /// Makes or replaces an entry.
  void Add(std::u16string_view service, const ServiceConfig& config) { m_database.Write(service, config); }
  const ServiceDatabase& Database() const { return m_database; }
  bool Exists(std::u16string_view service) const { return m_database.Exists(service); }
  /// Whether the service is deleted but for its handles or because it still runs.
  bool IsMarked(std::u16string_view service) const { return m_database.IsMarked(service); }
  ServiceStatus Status(std::u16string_view service);

  /// What the service has reported since the last start of the machine, also when it is deleted by now.
  const std::vector<ServiceStatus>& History(std::u16string_view service);
  /// The states alone.
  std::vector<std::uint32_t> ReportedStates(std::u16string_view service);

  /// Asks a running Win32 service for a control without waiting for it: the errors of `Control`, or 0.
  std::uint32_t Request(std::u16string_view service, std::uint32_t control);

  // --- start and end of the machine ---

  /// Deletes the entries that are marked.
  void RemoveMarked();
  /// Drivers that start with the machine: by start type, then by the order of groups, then by name.
  std::vector<std::u16string> DriversInLoadOrder() const;
  /// Names of the auto-start Win32 services.
  std::vector<std::u16string> AutoStartServices() const;
  /// Loads a driver, or starts a service's program, without waiting for it: 1058, 1056, 1072, 2, 193.
  std::uint32_t Launch(std::u16string_view service, std::vector<std::u16string> arguments = {});
  /// Everything stops: the machine is off.
  void Clear();

  // --- the functions' work ---

  std::uint32_t OpenManager(std::uint32_t access, std::shared_ptr<Object>& result);
  /// 1060 when there is no such service, 123 for a name that no service can have.
  std::uint32_t Open(std::u16string_view service, std::uint32_t access, std::shared_ptr<Object>& result);

  /// What a change asks for; unset fields stay as they are.
  struct Change {
    std::optional<std::uint32_t> type;
    std::optional<std::uint32_t> start;
    std::optional<std::uint32_t> errorControl;
    std::optional<std::u16string> imagePath;
    std::optional<std::u16string> group;
    std::optional<std::vector<std::u16string>> dependencies;
    std::optional<std::u16string> account;
    std::optional<std::u16string> displayName;
    /// Wants a new tag in the group.
    bool wantsTag = false;
  };
  /// 123, 87, 1057, 1059, 1072, 1073, 1078. A 32-bit process on 64-bit Windows (`wow64`) leaves its mark.
  std::uint32_t Create(std::u16string_view service, const Change& entry, std::uint32_t access, bool wow64,
                       std::shared_ptr<Object>& result, std::uint32_t& tag);
  /// 87, 1057, 1059, 1072, 1078.
  std::uint32_t ChangeConfig(ServiceRecord& record, const Change& change, std::uint32_t& tag);
  std::uint32_t ChangeDescription(ServiceRecord& record, std::u16string_view description);
  std::uint32_t Config(ServiceRecord& record, ServiceConfig& result) const;
  ServiceStatus Status(ServiceRecord& record);
  /// `Launch`, with what the service depends on (1068, 1075), and waits until a Win32 service's own thread is
  /// there (1053).
  std::uint32_t Start(Thread& caller, ServiceRecord& record, std::vector<std::u16string> arguments);
  /// Sends a control and waits until a Win32 service has handled it: 1062, 1061, 1052, 1051, 1053. The status
  /// is that after the control, or why it was refused.
  std::uint32_t Control(Thread& caller, ServiceRecord& record, std::uint32_t control, ServiceStatus& status);
  /// Marks the service; the entry goes when it has stopped and its last handle is closed. 1072 when it is
  /// marked.
  std::uint32_t Delete(ServiceRecord& record);

  // --- the service's own side ---

  /// Runs the service that the calling process was started for: `serviceMain` on a thread of its own,
  /// controls on the calling one, until that thread has ended. 1063 when the process was started for none,
  /// 1056 when it runs already. A service that ends without having reported it counts as stopped with exit
  /// code 1067.
  std::uint32_t RunDispatcher(Thread& thread, ServiceMain serviceMain);
  /// A number for `SetStatus`, or 0 when the calling process was started for no service.
  std::uintptr_t RegisterHandler(Thread& thread, Handler handler);
  /// 6 when the number is not one of the calling process, 13 for a status that cannot be.
  std::uint32_t SetStatus(Thread& thread, std::uintptr_t number, const ServiceStatus& status);
  /// The process has ended: its service has stopped.
  void ProcessEnded(const Process& process);

  // --- images ---

  /// Full path of the image that a driver's entry means: \SystemRoot\x, \??\C:\x, %SystemRoot%\x, a path
  /// below the Windows directory, or none (System32\drivers\<service>.sys).
  std::u16string DriverImagePath(std::u16string_view service) const;
  /// `text` with the variables between percent signs that the machine's processes have.
  std::u16string ExpandVariables(std::u16string_view text) const;

 private:
  friend class ServiceObject;

  std::shared_ptr<ServiceRecord> Record(std::u16string_view service);
  std::shared_ptr<ServiceRecord> RecordOf(const Process& process) const;
  std::shared_ptr<Object> NewHandle(const std::shared_ptr<ServiceRecord>& record, std::uint32_t access);
  /// Deletes a marked service that nothing holds any more.
  void Settle(const ServiceRecord& record);
  std::uint32_t Apply(std::u16string_view service, const Change& change, ServiceConfig& config,
                      bool isNew) const;
  std::uint32_t CheckStart(ServiceRecord& record);
  std::uint32_t StartDependencies(Thread& caller, const std::vector<std::u16string>& dependencies);
  bool HasRunningDependents(std::u16string_view service);
  /// Why the control cannot be sent now, or 0.
  std::uint32_t CheckControl(ServiceRecord& record, std::uint32_t control);
  std::uint32_t LaunchProgram(ServiceRecord& record, std::vector<std::u16string> arguments);
  void ReportStopped(ServiceRecord& record, std::uint32_t exitCode);

  Machine& m_machine;
  ServiceDatabase m_database;
  std::map<std::u16string, std::shared_ptr<ServiceRecord>, CaseInsensitiveLess> m_records;
  std::map<std::u16string, std::vector<ServiceStatus>, CaseInsensitiveLess> m_history;
  std::map<std::u16string, std::uint32_t, CaseInsensitiveLess> m_deniedAccess;
  std::uint32_t m_deniedManagerAccess = 0;
  std::uintptr_t m_nextStatusNumber = 0x00580000;
};

/// A handle to the manager.
class ServiceManagerObject : public Object {
 public:
  explicit ServiceManagerObject(std::uint32_t access) : m_access(access) {}
  std::string Describe() const override { return "service manager"; }
  std::uint32_t Access() const { return m_access; }

 private:
  std::uint32_t m_access;
};

/// A handle to a service. Closing the last one lets a marked service go.
class ServiceObject : public Object {
 public:
  ServiceObject(Services& services, std::shared_ptr<ServiceRecord> record, std::uint32_t access);
  ~ServiceObject() override;
  std::string Describe() const override;
  std::uint32_t Access() const { return m_access; }
  ServiceRecord& Record() const { return *m_record; }
  const std::u16string& Name() const;

 private:
  Services& m_services;
  std::shared_ptr<ServiceRecord> m_record;
  std::uint32_t m_access;
};

}  // namespace winsim
