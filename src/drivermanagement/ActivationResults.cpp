#include "drivermanagement/ActivationResults.h"

#include "foundation/Assert.h"

namespace DriverManagement {

namespace {

using Install = BaseObject::InstallResult;

constexpr unsigned int ActivateResultCount = BaseObject::activateUpToDate + 1;

struct InstallRow {
  Install installed;
  Install combined[ActivateResultCount];  // by ActivateResult
};

constexpr InstallRow InstallTable[] = {
    {BaseObject::installDone,
     {BaseObject::installDone, BaseObject::installDoneReboot, BaseObject::installUpdated,
      BaseObject::installUpdatedReboot, BaseObject::installUpdated}},
    {BaseObject::installUpdated,
     {BaseObject::installUpdated, BaseObject::installUpdatedReboot, BaseObject::installUpdated,
      BaseObject::installUpdatedReboot, BaseObject::installUpdated}},
    {BaseObject::installUpToDate,
     {BaseObject::installUpdated, BaseObject::installUpdatedReboot, BaseObject::installUpdated,
      BaseObject::installUpdatedReboot, BaseObject::installUpToDate}},
};

[[noreturn]] void ReportUnreachable(LLocation location) {
  LReportAssertion(location, "Unreachable point");
}

}  // namespace

Install InstallAndActivate(BaseObject& object, BaseObject& components, unsigned int flags,
                           LLocation location) {
  const Install installed = components.Install(flags);
  const bool restartFirst =
      installed == BaseObject::installDoneReboot || installed == BaseObject::installUpdatedReboot;
  if (restartFirst || flags == 0) return installed;
  const BaseObject::ActivateResult activated = object.Activate();
  if (activated >= ActivateResultCount) ReportUnreachable(location);
  for (const InstallRow& row : InstallTable) {
    if (row.installed == installed) return row.combined[activated];
  }
  ReportUnreachable(location);
}

BaseObject::RemoveResult DeactivateAndRemove(BaseObject& object, BaseObject& components, unsigned int flags,
                                             LLocation location) {
  const BaseObject::DeactivateResult deactivated =
      flags != 0 ? object.Deactivate() : BaseObject::deactivateNotActive;
  if (deactivated > BaseObject::deactivateNotActive) ReportUnreachable(location);
  const BaseObject::RemoveResult removed = components.Remove(flags);
  if (removed > BaseObject::removeNotInstalled) ReportUnreachable(location);

  if (removed == BaseObject::removeDoneReboot || deactivated == BaseObject::deactivateDoneReboot) {
    return BaseObject::removeDoneReboot;
  }
  const bool nothingDone =
      removed == BaseObject::removeNotInstalled && deactivated == BaseObject::deactivateNotActive;
  return nothingDone ? BaseObject::removeNotInstalled : BaseObject::removeDone;
}

}  // namespace DriverManagement
