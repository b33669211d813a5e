#pragma once

#include <deque>
#include <memory>

#include "machine/Services.h"

namespace winsim {

class Process;

/// A control on its way to a Win32 service.
struct ServiceRequest {
  std::uint32_t control;
  bool handled = false;
};

/// The running side of one service: what the service control manager keeps in memory.
struct ServiceRecord {
  explicit ServiceRecord(std::u16string serviceName) : name(std::move(serviceName)) {}

  std::u16string name;
  unsigned int handles = 0;
  /// Of a Win32 service; a driver's is that of Devices.
  ServiceStatus status;

  /// The process that runs the service, from its start to its end.
  std::shared_ptr<Process> process;
  std::vector<std::u16string> arguments;
  /// The dispatcher has started the service's own thread.
  bool dispatched = false;
  bool mainEnded = false;
  std::uintptr_t statusNumber = 0;
  Services::Handler handler;
  std::deque<std::shared_ptr<ServiceRequest>> requests;
};

}  // namespace winsim
