#pragma once

#include "foundation/Object.h"
#include "foundation/PtrRef.h"
#include "foundation/UnicodeString.h"
#include "foundation/UnicodeStringArray.h"
#include "system/WindowsApi.h"

/// The service control manager. Access masks and enumerations carry the platform's own numbers. A failing
/// platform call throws the class that the operation states for its error code and the `Exception` of its
/// family for every other code; the exception carries the code and the objects stay usable. On a system
/// without service functions every operation fails with 120. Objects may be used from any thread.
namespace LCommon::System::ServiceControl {

/// One service-control handle, closed with the object.
class Handle : public LRefObject {
 public:
  Handle() = default;
  ~Handle() override;

  SC_HANDLE Get() const { return m_handle; }
  /// Owns `handle` from now on; only while the object holds none. False for null, the platform's failure.
  bool Adopt(SC_HANDLE handle) {
    m_handle = handle;
    return handle != nullptr;
  }

 private:
  SC_HANDLE m_handle = nullptr;
};

/// A connection to the service control manager.
class Manager : public LRefObject {
 public:
  class Exception : public WindowsErrorException {
   public:
    using WindowsErrorException::WindowsErrorException;
  };
  class AccessDeniedException : public Exception {
   public:
    using Exception::Exception;
  };

  /// The manager's access mask: `SC_MANAGER_CONNECT`, `SC_MANAGER_CREATE_SERVICE`.
  using AccessType = unsigned int;

  /// Empty names mean the local machine and its active database. 5 throws `AccessDeniedException`.
  Manager(LUnicodeString machine, LUnicodeString database, AccessType access);
  /// The active database of the local machine.
  static LPtrRef<Manager> Open(AccessType access);

  SC_HANDLE GetHandle() const { return m_handle->Get(); }

 private:
  LPtrRef<Handle> m_handle;
};

/// One service. It keeps the manager that it was opened through alive. Every operation throws
/// `AccessDeniedException` for 5.
class Service : public LRefObject {
 public:
  class Exception : public WindowsErrorException {
   public:
    using WindowsErrorException::WindowsErrorException;
  };
  class NotFoundException : public Exception {
   public:
    using Exception::Exception;
  };
  class AlreadyExistException : public Exception {
   public:
    using Exception::Exception;
  };
  class DuplicateNameException : public Exception {
   public:
    using Exception::Exception;
  };
  class CircularDependencyException : public Exception {
   public:
    using Exception::Exception;
  };
  class NotRunningException : public Exception {
   public:
    using Exception::Exception;
  };
  class AlreadyRunningException : public Exception {
   public:
    using Exception::Exception;
  };
  class MarkedForDeleteException : public Exception {
   public:
    using Exception::Exception;
  };
  class InvalidControlException : public Exception {
   public:
    using Exception::Exception;
  };
  class AccessDeniedException : public Exception {
   public:
    using Exception::Exception;
  };
  class NotSupportedException : public Exception {
   public:
    using Exception::Exception;
  };

  /// The service's access mask: `SERVICE_QUERY_CONFIG`, `SERVICE_START`, `DELETE` and so on.
  using AccessType = unsigned int;
  enum Type : unsigned int { typeKernelDriver = 1, typeWin32OwnProcess = 0x10 };
  enum StartType : unsigned int {
    startBoot = 0,
    startSystem = 1,
    startAuto = 2,
    startOnDemand = 3,
    startDisabled = 4
  };
  enum ErrorControlType : unsigned int {
    errorControlIgnore = 0,
    errorControlNormal = 1,
    errorControlSevere = 2,
    errorControlCritical = 3
  };
  enum ControlType : unsigned int { controlStop = 1 };

  class Config;
  class Status;

  /// 1060 throws `NotFoundException`.
  static LPtrRef<Service> Open(LPtrRef<Manager> manager, LUnicodeString name, AccessType access);
  /// Whether the service opens for user-defined controls; only `NotFoundException` means that it does not
  /// exist.
  static bool IsExist(LPtrRef<Manager> manager, LUnicodeString name);
  /// Makes a service and opens it. Empty texts mean none, an empty account LocalSystem; `tagId`, unless null,
  /// receives the tag within the load order group. 1059 throws `CircularDependencyException`, 1073
  /// `AlreadyExistException`, 1078 `DuplicateNameException`.
  static LPtrRef<Service> Create(LPtrRef<Manager> manager, LUnicodeString name, LUnicodeString displayName,
                                 AccessType access, Type type, StartType startType,
                                 ErrorControlType errorControl, LUnicodeString binaryPath,
                                 LUnicodeString loadOrderGroup, unsigned int* tagId,
                                 LUnicodeStringArray dependencies, LUnicodeString serviceStartName,
                                 LUnicodeString password);

  /// Empty texts and lists leave their fields as they are. 1059 throws `CircularDependencyException`, 1072
  /// `MarkedForDeleteException`, 1078 `DuplicateNameException`.
  void ChangeConfig(LUnicodeString displayName, Type type, StartType startType, ErrorControlType errorControl,
                    LUnicodeString binaryPath, LUnicodeString loadOrderGroup, unsigned int* tagId,
                    LUnicodeStringArray dependencies, LUnicodeString serviceStartName,
                    LUnicodeString password);
  /// 120, a system without descriptions, throws `NotSupportedException`.
  void ChangeDescription(LUnicodeString description);
  LPtrRef<Config> QueryConfig();
  /// 1056 throws `AlreadyRunningException`, 1072 `MarkedForDeleteException`.
  void Start();
  /// Sends a control and returns the status that the platform answers. 1052 throws `InvalidControlException`,
  /// 1062 `NotRunningException`, 1072 `MarkedForDeleteException`.
  LPtrRef<Status> Control(ControlType control);
  LPtrRef<Status> Stop();
  /// Marks the service for deletion; it goes when the last handle to it is closed, so the object should be
  /// released soon. 1072 throws `MarkedForDeleteException`.
  void Delete();

 private:
  Service(LPtrRef<Manager> manager, LPtrRef<Handle> handle) : m_manager(manager), m_handle(handle) {}

  LPtrRef<Manager> m_manager;
  LPtrRef<Handle> m_handle;
};

/// A snapshot of a service's configuration. Texts and lists that are not set are empty, as is a dependency
/// list that the platform gives as an empty text.
class Service::Config : public LRefObject {
 public:
  explicit Config(const QUERY_SERVICE_CONFIGW& record);

  const unsigned int serviceType;
  const unsigned int startType;
  const unsigned int errorControl;
  const LUnicodeString binaryPathName;
  const LUnicodeString loadOrderGroup;
  const unsigned int tagId;
  const LUnicodeStringArray dependencies;
  const LUnicodeString serviceStartName;
  const LUnicodeString displayName;
};

/// A snapshot of a service's status, with the fields of the platform's record in its order.
class Service::Status : public LRefObject {
 public:
  explicit Status(const SERVICE_STATUS& record);

  const unsigned int serviceType;
  const unsigned int currentState;
  const unsigned int controlsAccepted;
  const unsigned int win32ExitCode;
  const unsigned int serviceSpecificExitCode;
  const unsigned int checkPoint;
  const unsigned int waitHint;
};

}  // namespace LCommon::System::ServiceControl
