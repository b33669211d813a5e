#pragma once

#include "drivermanagement/BaseObject.h"
#include "foundation/UnicodeString.h"
#include "foundation/UnicodeStringArray.h"

namespace DriverManagement {

/// The managed object for one entry of the service database. It has no running state and no claims; `flags`
/// plays no part. Failures that an operation does not turn into a result pass to the caller as exceptions of
/// `LCommon::System::ServiceControl` and `LCommon::System::RegistryKey`.
class BaseServiceRegistration : public BaseObject {
 public:
  /// The entry as it should be. Types and the error control are the platform's own numbers. An empty
  /// description, image path, group, account or dependency list accepts what is configured and is not written
  /// over it.
  BaseServiceRegistration(LUnicodeString name, LUnicodeString displayName, LUnicodeString description,
                          unsigned int serviceType, unsigned int startType, unsigned int errorControl,
                          LUnicodeString imagePath, LUnicodeString loadOrderGroup,
                          LUnicodeStringArray dependencies, LUnicodeString serviceStartName,
                          LUnicodeString password);

  /// Does the entry exist? When the service control manager denies access, the answer is `IsKeyExist`.
  unsigned int IsInstalled() override;
  /// Does the entry exist with this type, start type, error control, image path, group (letter case counts),
  /// dependencies and account? Where access is denied, the answer is `IsInstalled`.
  unsigned int IsInstalledUpToDate() override;
  /// Creates the entry, or changes the configuration of one that differs. An entry still marked for deletion
  /// throws `NeedRebootImmediatelyException`.
  InstallResult Install(unsigned int flags) override;
  /// Deletes the entry; `removeDoneReboot` when it was deleted before and waits for the restart.
  RemoveResult Remove(unsigned int flags) override;

  /// Does the service's registry key exist?
  virtual unsigned int IsKeyExist();

 protected:
  const LUnicodeString m_name;
  const LUnicodeString m_displayName;
  const LUnicodeString m_description;
  const unsigned int m_serviceType;
  const unsigned int m_startType;
  const unsigned int m_errorControl;
  const LUnicodeString m_imagePath;
  const LUnicodeString m_loadOrderGroup;
  const LUnicodeStringArray m_dependencies;
  const LUnicodeString m_serviceStartName;
  const LUnicodeString m_password;

 private:
  LUnicodeString NormalizeImagePath(LUnicodeString path) const;
  LUnicodeString KeyPath() const;
  void RemoveWow64Mark() const;
};

}  // namespace DriverManagement
