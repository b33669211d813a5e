#pragma once

/// On Windows itself the tests meet the machine that they run on: there is none to set up.
class MachineSession {
 public:
  MachineSession() {}
  MachineSession(const MachineSession&) = delete;
  MachineSession& operator=(const MachineSession&) = delete;
};
using Wow64Session = MachineSession;
