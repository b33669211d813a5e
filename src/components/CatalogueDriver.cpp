#include "components/CatalogueDriver.h"

#include "drivermanagement/DriverDevice.h"
#include "imagesigning/InvalidImageException.h"
#include "imagesigning/PeValidator.h"
#include "system/File.h"
#include "system/WindowsApi.h"

namespace DriverManagement::Gen4 {

using LCommon::System::File;
using LCommon::System::Handle;
using LCommon::System::Manager;

namespace {

// An image without signature, a file that is no image and a missing file have no valid one.
unsigned int HasValidSignature(LUnicodeString path) {
  try {
    return ImageSigning1::PeValidator(path).IsValid();
  } catch (const ImageSigning1::InvalidImageException&) {
    return 0;
  } catch (const File::NotFoundException&) {
    return 0;
  }
}

}  // namespace

CatalogueRegistration::CatalogueRegistration(const DriverFacts& facts)
    : BaseLegacyDriverRegistration(facts.serviceName, facts.displayName, {}, SERVICE_BOOT_START,
                                   SERVICE_ERROR_NORMAL, facts.ServiceImagePath(), facts.loadOrderGroup, {}) {
}

CatalogueLogSource::CatalogueLogSource(const DriverFacts& facts)
    : BaseLogSource(L"System", facts.serviceName, 0, 7, {}, facts.MessageFile(), {}) {}

CatalogueLifeTime::CatalogueLifeTime(const DriverFacts& facts, LUnicodeString unique,
                                     LUnicodeString filePathName)
    : GenericLifeTime(facts.serviceName, unique, filePathName), m_facts(facts) {}

void CatalogueLifeTime::AttachThroughDevice(unsigned int automatic) {
  AttachByDevice(m_facts.InterfaceDevice(), 0, automatic);
}

void CatalogueLifeTime::DetachThroughDevice() {
  DetachByDevice(m_facts.InterfaceDevice(), 0);
}

CatalogueModule::CatalogueModule(const DriverFacts& facts, LPtrRef<BasePeModuleContainer> container)
    : BaseDriverModule(facts.ImageFileName(), container) {}

SynchronizationModule::SynchronizationModule(const DriverFacts& facts,
                                             LPtrRef<BasePeModuleContainer> container, unsigned int mode)
    : CatalogueModule(facts, container), m_mode(mode) {}

unsigned int SynchronizationModule::IsInstalledUpToDate() {
  if (!CatalogueModule::IsInstalledUpToDate()) return 0;
  const bool needsSignature = m_mode == 1 && Manager::Instance().IsNt5OrLater();
  return !needsSignature || HasValidSignature(m_path);
}

CatalogueManager::CatalogueManager(const DriverFacts& facts, LPtrRef<BasePeModuleContainer> container,
                                   LPtrRef<BaseLifeTime> lifeTime, LPtrRef<BaseObject> module,
                                   LPtrRef<BaseObject> registration, LPtrRef<BaseObject> logSource)
    : BaseLegacyDriver(facts.serviceName, lifeTime, module, registration),
      m_facts(facts),
      m_container(container) {
  m_components->Add(logSource);
}

unsigned int CatalogueManager::IsActive() {
  return IsDeviceExist(m_facts.InterfaceDevice());
}

unsigned int CatalogueManager::IsActiveUpToDate() {
  return IsDriverStateUpToDate(m_facts.InterfaceDevice(), m_facts.stateControlCode,
                               m_container->GetBuildType(), m_container->GetVersion(),
                               m_container->GetTargetOsVersion());
}

unsigned int CatalogueManager::Start() {
  return m_facts.starts ? BaseLegacyDriver::Start() : 0;
}

unsigned int CatalogueManager::Stop() {
  return m_facts.stops ? BaseLegacyDriver::Stop() : 0;
}

LPtrRef<Handle> OpenMainDevice(const DriverFacts& facts, const OpenRefusal* refusals, std::size_t count,
                               LLocation location) {
  try {
    return OpenDevice(facts.MainDevice())->GetHandle();
  } catch (const File::Exception& exception) {
    for (const OpenRefusal* refusal = refusals; refusal != refusals + count; ++refusal) {
      if (refusal->code == exception.GetWindowsErrorCode()) refusal->thrower(location);
    }
    throw;
  }
}

}  // namespace DriverManagement::Gen4
