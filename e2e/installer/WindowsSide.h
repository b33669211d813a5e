#pragma once

#include "system/WindowsApi.h"

// What the lab asks of Windows itself rather than of the object model. What fails ends the process with the
// error code on standard output.

/// Windows' own part when a driver of this kind is installed: its device node.
void MakeDeviceNode(const wchar_t* driver);

/// The path by which Wine finds a driver's image; it does not know the one relative to the Windows directory
/// that the installers write, and Windows knows both.
void NameImageForWine(const wchar_t* driver);

/// The services of the lab that are marked for deletion, one line for each.
void PrintMarkedForDeletion();
/// From now on, until the restart, a driver's record may be read and not written.
void DenyWriting(const wchar_t* driver);

void StartRemovalService();
/// Ends the running service's process as TerminateProcess does.
void KillRemovalService();
/// Now, or once the service, started with the machine or by hand, has come to its end.
void PrintRemovalServiceState(bool atTheEnd);

/// Has the running service's pass stand still when it opens `driver`'s service entry to delete it (e2e/hold).
class HeldRemovalService {
 public:
  explicit HeldRemovalService(const wchar_t* driver);
  /// Waits until the pass stands still, and then ends the process.
  void Kill();

 private:
  HANDLE m_process;
  HANDLE m_held;
};

/// Waits for the removal service's message box, prints its caption and text and, after a line of standard
/// input, closes it.
void AnswerMessageBox();

/// Prints one line, `what` and `detail`, at once.
void Say(const char* what, const wchar_t* detail = L"");
