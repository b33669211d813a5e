#pragma once

#include <csignal>

namespace kvsim {

/// A signal that came; not an exception of the library, so that nobody takes it for a failure.
struct Interrupted {
  int number;
};

/// While it lives, the signals that would end kvsim (Ctrl-C, a closed terminal, kill) wait, so that what was
/// begun can be cleaned up. kvsim has one thread then. Those that come too late for `Check` end kvsim with
/// the object's life.
class Interruption {
 public:
  Interruption();
  ~Interruption();
  Interruption(const Interruption&) = delete;
  Interruption& operator=(const Interruption&) = delete;

  /// Throws Interrupted when a signal waits.
  void Check() const;
  /// Ends the process by the signal, as if it had not waited.
  [[noreturn]] static void End(Interrupted signal);

 private:
  sigset_t m_held;
  sigset_t m_before;
};

}  // namespace kvsim
