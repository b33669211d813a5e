#include "machine/Services.h"

#include <winerror.h>
#include <winsvc.h>

#include <algorithm>

#include "machine/Machine.h"
#include "machine/ServiceRecord.h"

namespace winsim {
namespace {

constexpr std::size_t MaxName = 256;
constexpr std::uint32_t MaximumAllowed = 0x02000000;

bool IsName(std::u16string_view name) {
  return !name.empty() && name.size() <= MaxName && name.find_first_of(u"/\\") == std::u16string_view::npos;
}

bool IsTypeAndStart(std::uint32_t type, std::uint32_t start) {
  const bool isDriver = type == SERVICE_KERNEL_DRIVER || type == SERVICE_FILE_SYSTEM_DRIVER;
  const std::uint32_t program = type & ~ServiceConfig::Interactive;
  const bool isProgram = program == SERVICE_WIN32_OWN_PROCESS || program == SERVICE_WIN32_SHARE_PROCESS;
  return start <= SERVICE_DISABLED && (isDriver || (isProgram && start >= SERVICE_AUTO_START));
}

/// A driver's "account" is the name of its object.
bool IsAccount(const ServiceConfig& config) {
  static constexpr std::u16string_view builtIn[] = {
      u"LocalSystem", u".\\LocalSystem", u"NT AUTHORITY\\LocalService", u"NT AUTHORITY\\NetworkService"};
  return std::any_of(std::begin(builtIn), std::end(builtIn),
                     [&](auto account) { return EqualsIgnoringCase(account, config.account); }) ||
         (config.IsDriver() && (config.account.empty() || config.account.starts_with(u'\\')));
}

std::uint32_t ResolveGeneric(std::uint32_t access, std::uint32_t read, std::uint32_t write,
                             std::uint32_t execute, std::uint32_t all) {
  const auto add = [&](std::uint32_t generic, std::uint32_t rights) {
    if ((access & generic) != 0) {
      access = (access & ~generic) | rights;
    }
  };
  add(GENERIC_READ, read);
  add(GENERIC_WRITE, write);
  add(GENERIC_EXECUTE, execute);
  add(GENERIC_ALL | MaximumAllowed, all);
  return access;
}

}  // namespace

ServiceObject::ServiceObject(Services& services, std::shared_ptr<ServiceRecord> record, std::uint32_t access)
    : m_services(services), m_record(std::move(record)), m_access(access) {
  ++m_record->handles;
}

ServiceObject::~ServiceObject() {
  --m_record->handles;
  m_services.Settle(*m_record);
}

std::string ServiceObject::Describe() const {
  return "service " + ToUtf8(m_record->name);
}

const std::u16string& ServiceObject::Name() const {
  return m_record->name;
}

Services::Services(Machine& machine) : m_machine(machine), m_database(machine.registry) {}

Services::~Services() = default;

void Services::Deny(std::u16string_view service, std::uint32_t access) {
  m_deniedAccess.insert_or_assign(std::u16string(service), access);
}

const std::vector<ServiceStatus>& Services::History(std::u16string_view service) {
  return m_history[std::u16string(service)];
}

std::vector<std::uint32_t> Services::ReportedStates(std::u16string_view service) {
  std::vector<std::uint32_t> states;
  for (const ServiceStatus& status : History(service)) {
    states.push_back(status.state);
  }
  return states;
}

std::shared_ptr<ServiceRecord> Services::Record(std::u16string_view service) {
  const auto found = m_records.find(service);
  if (found != m_records.end()) {
    return found->second;
  }
  const RegistryNode* const key = m_machine.registry.Find(ServiceDatabase::KeyPath(service));
  auto record = std::make_shared<ServiceRecord>(key == nullptr ? std::u16string(service) : key->Name());
  m_records.emplace(service, record);
  return record;
}

std::shared_ptr<Object> Services::NewHandle(const std::shared_ptr<ServiceRecord>& record,
                                            std::uint32_t access) {
  return std::make_shared<ServiceObject>(*this, record, access);
}

void Services::Settle(const ServiceRecord& record) {
  const auto found = m_records.find(record.name);
  if (found == m_records.end() || found->second.get() != &record || record.handles != 0 ||
      m_machine.gate.IsPowerOff() || !m_database.IsMarked(record.name)) {
    return;
  }
  if (Status(*found->second).state == ServiceStatus::Stopped) {
    m_database.Remove(record.name);
    m_records.erase(found);
  }
}

void Services::RemoveMarked() {
  for (const std::u16string& name : m_database.Names()) {
    if (m_database.IsMarked(name)) {
      m_database.Remove(name);
    }
  }
}

void Services::Clear() {
  m_records.clear();
  m_history.clear();
}

std::vector<std::u16string> Services::DriversInLoadOrder() const {
  const RegistryValue* const list =
      m_machine.registry.GetValue(u"System\\CurrentControlSet\\Control\\ServiceGroupOrder", u"List");
  const std::vector<std::u16string> groups = list == nullptr ? std::vector<std::u16string>() : list->Texts();
  using Rank = std::pair<std::uint32_t, std::ptrdiff_t>;
  std::vector<std::pair<Rank, std::u16string>> drivers;
  for (const std::u16string& name : m_database.Names()) {
    const ServiceConfig config = m_database.Config(name);
    if (config.IsDriver() && config.start <= ServiceConfig::AutoStart) {
      const auto group = std::find_if(groups.begin(), groups.end(), [&](const std::u16string& other) {
        return EqualsIgnoringCase(other, config.group);
      });
      drivers.push_back({{config.start, group - groups.begin()}, name});
    }
  }
  std::stable_sort(drivers.begin(), drivers.end(),
                   [](const auto& left, const auto& right) { return left.first < right.first; });
  std::vector<std::u16string> names;
  for (auto& [rank, name] : drivers) {
    names.push_back(std::move(name));
  }
  return names;
}

std::vector<std::u16string> Services::AutoStartServices() const {
  std::vector<std::u16string> names;
  for (const std::u16string& name : m_database.Names()) {
    const ServiceConfig config = m_database.Config(name);
    if (!config.IsDriver() && config.start == ServiceConfig::AutoStart) {
      names.push_back(name);
    }
  }
  return names;
}

std::uint32_t Services::OpenManager(std::uint32_t access, std::shared_ptr<Object>& result) {
  // Connecting is always part of it.
  access = SC_MANAGER_CONNECT | ResolveGeneric(access, 0x20014, 0x20022, 0x20009, SC_MANAGER_ALL_ACCESS);
  if ((access & m_deniedManagerAccess) != 0) {
    return ERROR_ACCESS_DENIED;
  }
  result = std::make_shared<ServiceManagerObject>(access);
  return 0;
}

std::uint32_t Services::Open(std::u16string_view service, std::uint32_t access,
                             std::shared_ptr<Object>& result) {
  if (!IsName(service)) {
    return ERROR_INVALID_NAME;
  }
  if (!m_database.Exists(service)) {
    return ERROR_SERVICE_DOES_NOT_EXIST;
  }
  access = ResolveGeneric(access, 0x2008D, 0x20002, 0x20170, SERVICE_ALL_ACCESS);
  if (const auto denied = m_deniedAccess.find(service);
      denied != m_deniedAccess.end() && (access & denied->second) != 0) {
    return ERROR_ACCESS_DENIED;
  }
  result = NewHandle(Record(service), access);
  return 0;
}

/// Makes the change in `config`, or tells what is wrong with it.
std::uint32_t Services::Apply(std::u16string_view service, const Change& change, ServiceConfig& config,
                              bool isNew) const {
  const bool wasDriver = config.IsDriver();
  config.type = change.type.value_or(config.type);
  config.start = change.start.value_or(config.start);
  config.errorControl = change.errorControl.value_or(config.errorControl);
  config.imagePath = change.imagePath.value_or(config.imagePath);
  const bool newGroup = change.group.has_value() && !EqualsIgnoringCase(*change.group, config.group);
  config.group = change.group.value_or(config.group);
  config.dependencies = change.dependencies.value_or(config.dependencies);
  config.account = change.account.value_or(config.account);
  config.displayName = change.displayName.value_or(config.displayName);

  const bool badKind =
      (isNew || change.type.has_value() || change.start.has_value()) &&
      (!IsTypeAndStart(config.type, config.start) || (!isNew && config.IsDriver() != wasDriver));
  if (badKind || config.errorControl > SERVICE_ERROR_CRITICAL ||
      ((isNew || change.imagePath.has_value()) && config.imagePath.empty()) ||
      (change.wantsTag && config.group.empty())) {
    return ERROR_INVALID_PARAMETER;
  }
  if (change.displayName.has_value() && config.displayName.size() > MaxName) {
    return ERROR_INVALID_NAME;
  }
  if ((isNew || change.account.has_value()) && !IsAccount(config)) {
    return ERROR_INVALID_SERVICE_ACCOUNT;
  }
  if (change.displayName.has_value() && !config.displayName.empty() &&
      m_database.IsTaken(config.displayName, service, m_machine.settings.version.IsAtLeast1709())) {
    return ERROR_DUPLICATE_SERVICE_NAME;
  }
  if (change.dependencies.has_value() && m_database.IsCircular(service, config.dependencies, config.group)) {
    return ERROR_CIRCULAR_DEPENDENCY;
  }
  // A driver's full path is kept as the kernel spells it.
  if (change.imagePath.has_value() && config.IsDriver() && config.imagePath.substr(1, 2) == u":\\") {
    config.imagePath.insert(0, u"\\??\\");
  }
  if (change.wantsTag) {
    config.tag = m_database.FreeTag(config.group);
  } else if (newGroup) {
    config.tag = 0;
  }
  return 0;
}

std::uint32_t Services::Create(std::u16string_view service, const Change& entry, std::uint32_t access,
                               bool wow64, std::shared_ptr<Object>& result, std::uint32_t& tag) {
  if (!IsName(service)) {
    return ERROR_INVALID_NAME;
  }
  ServiceConfig config;
  if (const std::uint32_t type = entry.type.value_or(0);
      (type & (SERVICE_WIN32_OWN_PROCESS | SERVICE_WIN32_SHARE_PROCESS)) != 0) {
    config.account = u"LocalSystem";
  }
  const bool exists = m_database.Exists(service);
  const std::uint32_t error = Apply(service, entry, config, true);
  // What the arguments alone show comes first, then the name that is taken, then the rest.
  if (error == ERROR_INVALID_PARAMETER || error == ERROR_INVALID_NAME) {
    return error;
  }
  if (exists) {
    return m_database.IsMarked(service) ? ERROR_SERVICE_MARKED_FOR_DELETE : ERROR_SERVICE_EXISTS;
  }
  if (error != 0) {
    return error;
  }
  m_database.Write(service, config);
  if (wow64) {
    m_database.SetWow64Mark(service);
  }
  tag = config.tag;
  result = NewHandle(Record(service), ResolveGeneric(access, 0x2008D, 0x20002, 0x20170, SERVICE_ALL_ACCESS));
  return 0;
}

std::uint32_t Services::ChangeConfig(ServiceRecord& record, const Change& change, std::uint32_t& tag) {
  ServiceConfig config;
  std::uint32_t error = Config(record, config);
  if (error == 0 && m_database.IsMarked(record.name)) {
    error = ERROR_SERVICE_MARKED_FOR_DELETE;
  }
  if (error == 0) {
    error = Apply(record.name, change, config, false);
  }
  if (error == 0) {
    m_database.Write(record.name, config);
    tag = config.tag;
  }
  return error;
}

std::uint32_t Services::ChangeDescription(ServiceRecord& record, std::u16string_view description) {
  if (!m_database.Exists(record.name)) {
    return ERROR_FILE_NOT_FOUND;
  }
  if (m_database.IsMarked(record.name)) {
    return ERROR_SERVICE_MARKED_FOR_DELETE;
  }
  m_database.SetDescription(record.name, description);
  return 0;
}

std::uint32_t Services::Config(ServiceRecord& record, ServiceConfig& result) const {
  if (!m_database.Exists(record.name)) {
    return ERROR_FILE_NOT_FOUND;
  }
  result = m_database.Config(record.name);
  return 0;
}

std::uint32_t Services::Delete(ServiceRecord& record) {
  if (!m_database.Exists(record.name)) {
    return ERROR_FILE_NOT_FOUND;
  }
  if (m_database.IsMarked(record.name)) {
    return ERROR_SERVICE_MARKED_FOR_DELETE;
  }
  m_database.Mark(record.name);
  return 0;
}

std::u16string Services::ExpandVariables(std::u16string_view text) const {
  std::u16string result;
  while (!text.empty()) {
    const std::size_t begin = text.find(u'%');
    const std::size_t end = begin == std::u16string_view::npos ? begin : text.find(u'%', begin + 1);
    if (end == std::u16string_view::npos) {
      break;
    }
    result += text.substr(0, begin);
    const std::u16string_view name = text.substr(begin + 1, end - begin - 1);
    if (EqualsIgnoringCase(name, u"SystemRoot") || EqualsIgnoringCase(name, u"windir")) {
      result += m_machine.settings.windowsDirectory;
    } else if (EqualsIgnoringCase(name, u"SystemDrive")) {
      result += m_machine.settings.windowsDirectory.substr(0, 2);
    } else if (const auto variable = m_machine.environment.find(name);
               variable != m_machine.environment.end()) {
      result += variable->second;
    } else {
      result += text.substr(begin, end - begin + 1);
    }
    text.remove_prefix(end + 1);
  }
  result += text;
  return result;
}

std::u16string Services::DriverImagePath(std::u16string_view service) const {
  static constexpr std::u16string_view systemRoot = u"\\SystemRoot\\";
  static constexpr std::u16string_view kernelPrefix = u"\\??\\";
  const std::u16string path = ExpandVariables(m_database.Config(service).imagePath);
  const std::u16string windows = m_machine.settings.windowsDirectory + u"\\";
  if (path.empty()) {
    return windows + u"System32\\drivers\\" + std::u16string(service) + u".sys";
  }
  if (EqualsIgnoringCase(std::u16string_view(path).substr(0, systemRoot.size()), systemRoot)) {
    return windows + path.substr(systemRoot.size());
  }
  if (path.starts_with(kernelPrefix)) {
    return path.substr(kernelPrefix.size());
  }
  return path.substr(1, 2) == u":\\" || path.starts_with(u'\\') ? path : windows + path;
}

}  // namespace winsim
