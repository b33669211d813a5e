#pragma once

#include <string>
#include <utility>

#include "drivermanagement/BaseObject.h"

/// What scripted objects were asked since the last call, in order.
inline std::string g_trace;
inline std::string TakeTrace() {
  return std::exchange(g_trace, std::string());
}

/// Implements only what every managed object must. All operations answer `answer` and are traced.
class PlainObject : public DriverManagement::BaseObject {
 public:
  explicit PlainObject(char name, unsigned int its = 0) : answer(its), m_name(name) {}

  unsigned int answer;
  unsigned int present = 0;

  unsigned int IsInstalled() override { return Called("IsInstalled") | present; }
  InstallResult Install(unsigned int flags) override { return Result<InstallResult>("Install", flags); }
  RemoveResult Remove(unsigned int flags) override { return Result<RemoveResult>("Remove", flags); }

 protected:
  unsigned int Called(const std::string& operation) {
    g_trace += m_name + (":" + operation + " ");
    return answer;
  }
  template <class R>
  R Result(const std::string& operation, unsigned int flags) {
    return static_cast<R>(Called(operation + "(" + std::to_string(flags) + ")"));
  }

 private:
  char m_name;
};

/// Traces every operation.
struct Member : PlainObject {
  using PlainObject::PlainObject;

  unsigned int IsActiveMeet() override { return Called("IsActiveMeet"); }
  ActivateResult Activate() override { return static_cast<ActivateResult>(Called("Activate")); }
  DeactivateResult Deactivate() override { return static_cast<DeactivateResult>(Called("Deactivate")); }
  unsigned int IsInstalledUpToDate() override { return Called("IsInstalledUpToDate"); }
  UninstallResult Uninstall(unsigned flags) override { return Result<UninstallResult>("Uninstall", flags); }
  PurgeResult Purge(unsigned int flags) override { return Result<PurgeResult>("Purge", flags); }
  unsigned int IsExpired() override { return Called("IsExpired"); }
  void Touch() override { Called("Touch"); }
};
