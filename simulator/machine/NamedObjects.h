#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>

#include "machine/Object.h"

namespace winsim {

class Machine;
class NamedObjects;
class Process;

/// A mutex. Owned by one thread, any number of times over.
class Mutex : public Waitable {
 public:
  struct Identity {
    /// Name as the creator spelled it; empty for a mutex without one.
    std::u16string name;
    /// Whose program made it.
    std::u16string account;
    /// Made with a null DACL: every account may open it.
    bool openToAll = false;
  };

  Mutex(NamedObjects& names, Identity identity);
  ~Mutex() override;

  bool IsSignaled(const Thread& thread) const override;
  bool Acquire(Thread& thread) override;
  std::string Describe() const override;

  const Identity& GetIdentity() const { return m_identity; }
  /// The owner, or null.
  const Thread* Owner() const { return m_owner; }
  /// Gives up one acquisition; 288 (ERROR_NOT_OWNER) when `thread` is not the owner.
  std::uint32_t Release(const Thread& thread);
  /// The owner ends without having released it: free, and the next acquisition is told.
  void Abandon();

 private:
  NamedObjects& m_names;
  Identity m_identity;
  const Thread* m_owner = nullptr;
  unsigned int m_acquisitions = 0;
  bool m_abandoned = false;
};

/// The kernel objects that programs share by name. A name lives while a handle, or the machine's owner, holds
/// its object. Names are case-sensitive, also the prefixes "Global\" and "Local\", which Windows NT 4 does
/// not know.
class NamedObjects {
 public:
  explicit NamedObjects(Machine& machine) : m_machine(machine) {}
  NamedObjects(const NamedObjects&) = delete;
  NamedObjects& operator=(const NamedObjects&) = delete;

  /// The mutex called `name` as `process` sees it, a new one when there is none; always a new one for an
  /// empty name. Returns 0 or why not: 3 for a name with a directory that does not exist, 5 when it is
  /// refused.
  std::uint32_t OpenOrCreateMutex(const Process& process, std::u16string_view name, bool openToAll,
                                  std::shared_ptr<Mutex>& result, bool& created);

  // --- for the owner of the machine ---

  /// A mutex as another account's program holds it; lives while the result does. Session 0 unless the name
  /// says "Global\".
  std::shared_ptr<Mutex> HoldMutex(std::u16string_view name, std::u16string account, bool openToAll);
  /// The mutex of that full name ("Global\x"; anything else in session 0), or null.
  std::shared_ptr<Mutex> FindMutex(std::u16string_view name) const;
  /// Creating and opening `name`, or every name that begins with it when it ends in a backslash, fails
  /// with 5.
  void Deny(std::u16string name) { m_denied.insert(std::move(name)); }

  /// `thread` has ended: the mutexes that it owns are abandoned.
  void Abandon(const Thread& thread);

 private:
  friend class Mutex;

  std::uint32_t Locate(unsigned int session, std::u16string_view name,
                       std::u16string& directoryAndName) const;
  bool IsDenied(std::u16string_view name) const;

  Machine& m_machine;
  /// By directory and name; an entry whose object has gone counts as absent.
  std::map<std::u16string, std::weak_ptr<Mutex>> m_mutexes;
  std::set<Mutex*> m_all;
  std::set<std::u16string> m_denied;
};

}  // namespace winsim
