#pragma once

#include <cstddef>

#include "components/DriverFacts.h"
#include "drivermanagement/Containers.h"
#include "drivermanagement/DeviceLifeTime.h"
#include "drivermanagement/LegacyDriver.h"
#include "drivermanagement/LegacyDriverRegistration.h"
#include "drivermanagement/LogSource.h"
#include "drivermanagement/Module.h"

namespace DriverManagement::Gen4 {

// The classes of a managed driver, driven by its facts, which must outlive the objects. Each takes the place
// of the class below which it stands and adds nothing to its contract but what is said here.

class CatalogueRegistration : public BaseLegacyDriverRegistration {
 public:
  explicit CatalogueRegistration(const DriverFacts& facts);
};

/// In the log "System".
class CatalogueLogSource : public BaseLogSource {
 public:
  explicit CatalogueLogSource(const DriverFacts& facts);
};

/// Clients that may not write the record are handled by the driver's interface device.
class CatalogueLifeTime : public GenericLifeTime {
 public:
  CatalogueLifeTime(const DriverFacts& facts, LUnicodeString unique, LUnicodeString filePathName);

  void AttachThroughDevice(unsigned int automatic) override;
  void DetachThroughDevice() override;

 private:
  const DriverFacts& m_facts;
};

class CatalogueModule : public BaseDriverModule {
 public:
  CatalogueModule(const DriverFacts& facts, LPtrRef<BasePeModuleContainer> container);
};

/// A synchronization driver's image, which can be asked to carry a valid embedded signature too.
class SynchronizationModule : public CatalogueModule {
 public:
  /// `mode` 1 asks for the signature, on Windows 2000 and later of the NT family; any other value does not.
  SynchronizationModule(const DriverFacts& facts, LPtrRef<BasePeModuleContainer> container,
                        unsigned int mode);

  /// The module's answer, and is the signature that is asked for there and valid? Failures to open or map the
  /// file other than its absence pass as `LCommon::System::File` and `FileMapping` exceptions.
  unsigned int IsInstalledUpToDate() override;

 private:
  const unsigned int m_mode;
};

class CatalogueManager : public BaseLegacyDriver {
 public:
  /// The components are the module, the registration and the log source, in this order. The container says
  /// what the loaded driver is expected to be.
  CatalogueManager(const DriverFacts& facts, LPtrRef<BasePeModuleContainer> container,
                   LPtrRef<BaseLifeTime> lifeTime, LPtrRef<BaseObject> module,
                   LPtrRef<BaseObject> registration, LPtrRef<BaseObject> logSource);

  unsigned int IsActive() override;
  unsigned int IsActiveUpToDate() override;
  /// 0, without touching anything, for a driver that only a start of the system loads.
  unsigned int Start() override;
  /// 0, without touching anything, for a driver that cannot be unloaded.
  unsigned int Stop() override;

 private:
  const DriverFacts& m_facts;
  const LPtrRef<BasePeModuleContainer> m_container;
};

/// A code of a driver's own with which it refuses to be opened, and what throws the exception that stands for
/// it.
struct OpenRefusal {
  unsigned int code;
  void (*thrower)(LLocation location);
};

template <class E>
constexpr OpenRefusal RefusedAs(unsigned int code) {
  return {code, [](LLocation location) { throw E(location); }};
}

/// Opens a driver's main device. A refusal among `refusals` is thrown as said there, with `location`; every
/// other failure passes as the `LCommon::System::File` exception it is.
LPtrRef<LCommon::System::Handle> OpenMainDevice(const DriverFacts& facts, const OpenRefusal* refusals,
                                                std::size_t count, LLocation location);

// The classes of one family for the facts given as template argument: constructors only.

template <const DriverFacts& Facts>
class RegistrationOf : public CatalogueRegistration {
 public:
  RegistrationOf() : CatalogueRegistration(Facts) {}
};

template <const DriverFacts& Facts>
class LogSourceOf : public CatalogueLogSource {
 public:
  LogSourceOf() : CatalogueLogSource(Facts) {}
};

/// Without a client identity it serves `Purge` and `IsExpired` only.
template <const DriverFacts& Facts>
class LifeTimeOf : public CatalogueLifeTime {
 public:
  explicit LifeTimeOf(LUnicodeString unique = {}, LUnicodeString filePathName = {})
      : CatalogueLifeTime(Facts, unique, filePathName) {}
};

template <const DriverFacts& Facts>
class ModuleOf : public CatalogueModule {
 public:
  explicit ModuleOf(LPtrRef<BasePeModuleContainer> container) : CatalogueModule(Facts, container) {}
};

template <const DriverFacts& Facts>
class SynchronizationModuleOf : public SynchronizationModule {
 public:
  SynchronizationModuleOf(LPtrRef<BasePeModuleContainer> container, unsigned int mode)
      : SynchronizationModule(Facts, container, mode) {}
};

/// `module` holds what the module takes after the container: the mode of a synchronization driver.
template <const DriverFacts& Facts, class Module>
class ManagerOf : public CatalogueManager {
 public:
  template <class... ModuleArguments>
  explicit ManagerOf(LPtrRef<BasePeModuleContainer> container, LPtrRef<BaseLifeTime> lifeTime,
                     ModuleArguments... module)
      : CatalogueManager(Facts, container, lifeTime, LMakeRef<Module>(container, module...),
                         LMakeRef<RegistrationOf<Facts>>(), LMakeRef<LogSourceOf<Facts>>()) {}
};

}  // namespace DriverManagement::Gen4
