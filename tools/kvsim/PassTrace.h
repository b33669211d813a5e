#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Look.h"
#include "machine/Gate.h"

namespace kvsim {

/// What the calls of the program tell about a pass that ended early.
class PassTrace {
 public:
  /// Both must outlive the object.
  PassTrace(const std::vector<winsim::TraceEntry>& calls, const View& view) : m_calls(calls), m_view(view) {}

  /// Whether any call named the component.
  bool Reached(std::string_view component) const;
  /// The last component that the pass came to; empty when it came to none.
  std::string LastReached() const;
  /// The last call that failed with an error that is not an answer ("not found", "no more items" ...): of
  /// those that the pass made while it dealt with `component`, or of all for an empty name. Empty when there
  /// is none.
  std::string LastFailure(std::string_view component) const;

 private:
  /// The component that a call names; empty for none.
  std::string_view Named(const winsim::TraceEntry& call) const;

  const std::vector<winsim::TraceEntry>& m_calls;
  const View& m_view;
};

}  // namespace kvsim
