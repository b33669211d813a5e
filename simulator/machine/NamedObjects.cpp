#include "machine/NamedObjects.h"

#include <winerror.h>

#include <utility>

#include "machine/Machine.h"

namespace winsim {

Mutex::Mutex(NamedObjects& names, Identity identity) : m_names(names), m_identity(std::move(identity)) {
  m_names.m_all.insert(this);
}

Mutex::~Mutex() {
  m_names.m_all.erase(this);
}

bool Mutex::IsSignaled(const Thread& thread) const {
  return m_owner == nullptr || m_owner == &thread;
}

bool Mutex::Acquire(Thread& thread) {
  m_owner = &thread;
  ++m_acquisitions;
  return std::exchange(m_abandoned, false);
}

std::string Mutex::Describe() const {
  return m_identity.name.empty() ? "mutex" : "mutex " + ToUtf8(m_identity.name);
}

std::uint32_t Mutex::Release(const Thread& thread) {
  if (m_owner != &thread) {
    return ERROR_NOT_OWNER;
  }
  if (--m_acquisitions == 0) {
    m_owner = nullptr;
  }
  return ERROR_SUCCESS;
}

void Mutex::Abandon() {
  m_owner = nullptr;
  m_acquisitions = 0;
  m_abandoned = true;
}

std::uint32_t NamedObjects::OpenOrCreateMutex(const Process& process, std::u16string_view name,
                                              bool openToAll, std::shared_ptr<Mutex>& result, bool& created) {
  created = false;
  std::u16string path;
  if (!name.empty()) {
    if (const std::uint32_t error = Locate(process.session, name, path); error != 0) {
      return error;
    }
    if (IsDenied(name)) {
      return ERROR_ACCESS_DENIED;
    }
    result = m_mutexes[path].lock();
    if (result != nullptr) {
      const Mutex::Identity& identity = result->GetIdentity();
      return identity.openToAll || identity.account == process.account ? ERROR_SUCCESS : ERROR_ACCESS_DENIED;
    }
  }
  result = std::make_shared<Mutex>(*this, Mutex::Identity{std::u16string(name), process.account, openToAll});
  created = true;
  if (!path.empty()) {
    m_mutexes[path] = result;
  }
  return ERROR_SUCCESS;
}

std::shared_ptr<Mutex> NamedObjects::HoldMutex(std::u16string_view name, std::u16string account,
                                               bool openToAll) {
  std::u16string path;
  if (Locate(0, name, path) != 0) {
    return nullptr;
  }
  const auto mutex =
      std::make_shared<Mutex>(*this, Mutex::Identity{std::u16string(name), std::move(account), openToAll});
  m_mutexes[path] = mutex;
  return mutex;
}

std::shared_ptr<Mutex> NamedObjects::FindMutex(std::u16string_view name) const {
  std::u16string path;
  if (Locate(0, name, path) != 0) {
    return nullptr;
  }
  const auto found = m_mutexes.find(path);
  return found == m_mutexes.end() ? nullptr : found->second.lock();
}

void NamedObjects::Abandon(const Thread& thread) {
  for (Mutex* const mutex : m_all) {
    if (mutex->Owner() == &thread) {
      mutex->Abandon();
    }
  }
}

/// The directory that `name` leads to from `session` and the name in it, as one key. Session 0 has its
/// objects in the global directory.
std::uint32_t NamedObjects::Locate(unsigned int session, std::u16string_view name,
                                   std::u16string& directoryAndName) const {
  const bool prefixesKnown =
      m_machine.settings.version.platformId != 2 || m_machine.settings.version.major >= 5;
  unsigned int directory = session;
  if (prefixesKnown) {
    for (const std::u16string_view prefix : {u"Global\\", u"Local\\"}) {
      if (name.starts_with(prefix)) {
        name.remove_prefix(prefix.size());
        directory = prefix.front() == u'G' ? 0 : session;
        break;
      }
    }
  }
  if (name.find(u'\\') != std::u16string_view::npos) {
    return ERROR_PATH_NOT_FOUND;
  }
  directoryAndName = FromUtf8(std::to_string(directory)) + u'\\' + std::u16string(name);
  return ERROR_SUCCESS;
}

bool NamedObjects::IsDenied(std::u16string_view name) const {
  for (const std::u16string& denied : m_denied) {
    if (name == denied || (denied.ends_with(u'\\') && name.starts_with(denied))) {
      return true;
    }
  }
  return false;
}

}  // namespace winsim
