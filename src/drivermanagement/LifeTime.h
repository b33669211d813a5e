#pragma once

#include "drivermanagement/BaseObject.h"
#include "drivermanagement/LifeTimeEntry.h"
#include "foundation/Object.h"
#include "foundation/PtrRef.h"
#include "foundation/UnicodeString.h"
#include "system/RegistryKey.h"

namespace DriverManagement {

/// The answer to the question whether any client still needs a driver. Predicates answer 0 or 1. No operation
/// keeps anything open.
class BaseLifeTime : public LRefObject {
 public:
  /// The driver's service key does not exist, so there is no lifetime record at all.
  class ObjectNotFoundException : public BaseException {
   public:
    using BaseException::BaseException;
  };

  /// Is this client's claim present and alive in the form in which it would be made now?
  virtual unsigned int IsAttached() = 0;
  /// Makes or renews this client's claim; an `automatic` other than 0 asks for the driver's automatic
  /// removal.
  virtual void Attach(unsigned int automatic) = 0;
  /// Gives this client's claim up.
  virtual void Detach() = 0;
  /// Deletes every lapsed claim. May the driver be removed automatically now?
  virtual unsigned int Purge() = 0;
  /// The same question without deleting: every claim counts, lapsed or not.
  virtual unsigned int IsExpired() = 0;
};

/// The lifetime record in the registry: the key "LifeTime" below the driver's service key, with one subkey
/// per client (see `LifeTimeEntry`) and the number "Auto". "Auto" is 1 once an attach asked for automatic
/// removal, and never lowered; only such drivers may go automatically. The record itself is never deleted.
///
/// Without the service key every operation but `IsExpired` throws `ObjectNotFoundException`. Other failures
/// of the registry pass to the caller (what was written or deleted before stays so), and those of asking for
/// a path's volume; missing values and values of the wrong type never fail. Operations on this client's claim
/// assert that `m_unique`, and all but `Detach` that `m_filePathName`, is not empty.
class GenericLifeTime : public BaseLifeTime {
 public:
  /// `unique` identifies the client and `filePathName` is the client's file; drives substituted in it are
  /// resolved here. Both may be empty when only `Purge` and `IsExpired` are used.
  GenericLifeTime(LUnicodeString serviceName, LUnicodeString unique, LUnicodeString filePathName);

  unsigned int IsAttached() override;
  void Attach(unsigned int automatic) override;
  void Detach() override;
  /// 0 without a record, while an entry is alive, or without "Auto".
  unsigned int Purge() override;
  /// 1 without the service key; otherwise 1 when "Auto" is set and there is no entry.
  unsigned int IsExpired() override;

  /// Does an attach have nothing to write? An entry bound to time is always renewed by a client that may
  /// write.
  unsigned int IsAlreadyAttached();

 protected:
  /// Is the client's file on a local fixed drive, so that its entry is bound to the file and not to time?
  bool IsFileBound() const;

  const LUnicodeString m_serviceKeyPath;
  const LUnicodeString m_unique;
  const LUnicodeString m_filePathName;

 private:
  LPtrRef<LCommon::System::RegistryKey> OpenServiceKey(LCommon::System::RegistryKey::AccessType access) const;
  unsigned int FindAttached(bool unlessRenewable) const;
};

}  // namespace DriverManagement
