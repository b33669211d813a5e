#pragma once

#include <memory>
#include <optional>

#include "HostFile.h"
#include "foundation/UnicodeString.h"
#include "machine/Machine.h"

namespace kvsign {

/// A simulated machine with the calling thread in a process on it, on which the product's own classes run:
/// their files and their memory are there. No object of the foundation may outlive it.
class Session {
 public:
  Session();
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  /// Puts a file on the machine, in place of the one before, and returns its path.
  LUnicodeString PutFile(const Bytes& bytes);

 private:
  winsim::Machine m_machine;
  std::shared_ptr<winsim::Process> m_process;
  std::optional<winsim::ThreadScope> m_scope;
};

}  // namespace kvsign
