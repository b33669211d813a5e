#pragma once

#include <string>
#include <utility>

#include "drivermanagement/BaseObject.h"
#include "drivermanagement/LifeTime.h"

/// What scripted objects were asked, in order, each call followed by a blank.
class CallLog {
 public:
  void Add(const std::string& call) { m_text += call + " "; }
  std::string Take() { return std::exchange(m_text, std::string()); }

 private:
  std::string m_text;
};

/// A managed object that answers as the test says and logs what changes something.
class ScriptedObject : public DriverManagement::BaseObject {
 public:
  ScriptedObject(CallLog& log, std::string name) : m_log(log), m_name(std::move(name)) {}

  ActivateResult activates = activateDone;
  DeactivateResult deactivates = deactivateDone;
  unsigned int installed = 1;
  unsigned int upToDate = 1;
  InstallResult installs = installDone;
  RemoveResult removes = removeDone;

  ActivateResult Activate() override { return m_log.Add(m_name + ".Activate"), activates; }
  DeactivateResult Deactivate() override { return m_log.Add(m_name + ".Deactivate"), deactivates; }
  unsigned int IsInstalled() override { return installed; }
  unsigned int IsInstalledUpToDate() override { return upToDate; }
  InstallResult Install(unsigned int flags) override { return Log("Install", flags), installs; }
  RemoveResult Remove(unsigned int flags) override { return Log("Remove", flags), removes; }

 private:
  void Log(const std::string& operation, unsigned int flags) {
    m_log.Add(m_name + "." + operation + "(" + std::to_string(flags) + ")");
  }

  CallLog& m_log;
  std::string m_name;
};

/// A lifetime that answers as the test says.
class ScriptedLifeTime : public DriverManagement::BaseLifeTime {
 public:
  explicit ScriptedLifeTime(CallLog& log) : m_log(log) {}

  unsigned int attached = 1;
  unsigned int purges = 1;
  unsigned int expired = 1;
  bool hasRecord = true;

  unsigned int IsAttached() override { return Log("IsAttached"), attached; }
  void Attach(unsigned int automatic) override { Log("Attach(" + std::to_string(automatic) + ")"); }
  void Detach() override { Log("Detach"); }
  unsigned int Purge() override { return Log("Purge"), purges; }
  unsigned int IsExpired() override { return Log("IsExpired"), expired; }

 private:
  void Log(const std::string& call) {
    m_log.Add("life." + call);
    if (!hasRecord) throw ObjectNotFoundException(L_HERE);
  }

  CallLog& m_log;
};
