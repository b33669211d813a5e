#include "PassTrace.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>

#include "ErrorText.h"

namespace kvsim {
namespace {

/// Whether `text` has `name` with no letter or digit beside it: "kvenv01" is not in "kvenv01a".
bool Names(const std::string& text, std::string_view name) {
  const auto isPartOfName = [&](std::size_t at) {
    return at < text.size() && std::isalnum(static_cast<unsigned char>(text[at])) != 0;
  };
  for (std::size_t at = text.find(name); at != std::string::npos; at = text.find(name, at + 1)) {
    if ((at == 0 || !isPartOfName(at - 1)) && !isPartOfName(at + name.size())) {
      return true;
    }
  }
  return false;
}

/// Calls that name the service because it runs, not because the pass has come to it.
bool IsHosting(std::string_view function) {
  return function.starts_with("StartServiceCtrlDispatcher") ||
         function.starts_with("RegisterServiceCtrlHandler") || function == "SetServiceStatus";
}

/// Errors that programs ask for: missing things, ends of lists, sizes.
bool IsAnswer(std::uint32_t error) {
  static constexpr std::array<std::uint32_t, 9> answers = {0, 2, 3, 18, 122, 234, 259, 1060, 1062};
  return std::find(answers.begin(), answers.end(), error) != answers.end();
}

}  // namespace

std::string_view PassTrace::Named(const winsim::TraceEntry& call) const {
  if (!IsHosting(call.function)) {
    for (const Component& component : m_view.components) {
      if (Names(call.arguments, component.name)) {
        return component.name;
      }
    }
  }
  return {};
}

bool PassTrace::Reached(std::string_view component) const {
  return std::any_of(m_calls.begin(), m_calls.end(),
                     [&](const winsim::TraceEntry& call) { return Named(call) == component; });
}

std::string PassTrace::LastReached() const {
  // The pass goes through the components from the last driver to the first and then to the service.
  std::string last;
  for (std::size_t i = m_view.components.size() - 1; i-- > 0;) {
    if (Reached(m_view.components[i].name)) {
      last = m_view.components[i].name;
    }
  }
  return Reached(ServiceName) ? ServiceName : last;
}

std::string PassTrace::LastFailure(std::string_view component) const {
  const winsim::TraceEntry* last = nullptr;
  bool within = component.empty();
  for (const winsim::TraceEntry& call : m_calls) {
    const std::string_view named = Named(call);
    if (!component.empty() && !named.empty() && named != component && within) {
      break;
    }
    within = within || named == component;
    if (within && !IsAnswer(call.error) && !IsHosting(call.function)) {
      last = &call;
    }
  }
  return last == nullptr ? ""
                         : fmt::format("{}({}): {}", last->function, last->arguments, ErrorText(last->error));
}

}  // namespace kvsim
