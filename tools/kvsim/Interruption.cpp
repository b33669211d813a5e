#include "Interruption.h"

#include <unistd.h>

namespace kvsim {
namespace {

constexpr int Signals[] = {SIGINT, SIGTERM, SIGHUP};

bool IsIgnored(int number) {
  struct sigaction action = {};
  return sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

}  // namespace

Interruption::Interruption() {
  sigemptyset(&m_held);
  for (const int number : Signals) {
    if (!IsIgnored(number)) {
      sigaddset(&m_held, number);
    }
  }
  pthread_sigmask(SIG_BLOCK, &m_held, &m_before);
}

Interruption::~Interruption() {
  pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
}

void Interruption::Check() const {
  sigset_t waiting;
  sigpending(&waiting);
  for (const int number : Signals) {
    if (sigismember(&m_held, number) == 1 && sigismember(&waiting, number) == 1) {
      throw Interrupted{number};
    }
  }
}

void Interruption::End(Interrupted signal) {
  sigset_t one;
  sigemptyset(&one);
  sigaddset(&one, signal.number);
  std::signal(signal.number, SIG_DFL);
  pthread_sigmask(SIG_UNBLOCK, &one, nullptr);
  raise(signal.number);
  _exit(128 + signal.number);
}

}  // namespace kvsim
