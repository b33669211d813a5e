#include "drivermanagement/ComplexObject.h"

#include <cstddef>

#include "foundation/Assert.h"

namespace DriverManagement {

namespace {

using Members = LClassArray<LPtrRef<BaseObject>, LPtrRef<BaseObject>, 2>;
using Predicate = unsigned int (BaseObject::*)();

enum class Order { firstToLast, lastToFirst };

/// A set of result values, one bit for each.
template <class... Values>
constexpr unsigned int SetOf(Values... values) {
  return (0u | ... | (1u << values));
}

/// One line of a combination: the result when the members returned nothing outside the set.
struct Outcome {
  unsigned int within;
  unsigned int result;
};

// The first line that covers all that the members returned gives their common result, so narrow sets stand
// before wide ones. The last line of each holds every value of the enumeration.

constexpr Outcome Activated[] = {
    {SetOf(4), 4}, {SetOf(0), 0}, {SetOf(0, 1), 1}, {SetOf(0, 2, 4), 2}, {SetOf(0, 1, 2, 3, 4), 3}};

constexpr Outcome Deactivated[] = {{SetOf(2), 2}, {SetOf(0, 2), 0}, {SetOf(0, 1, 2), 1}};

constexpr Outcome Purged[] = {{SetOf(5), 5},       {SetOf(4, 5), 4},       {SetOf(0, 5), 0},
                              {SetOf(0, 1, 5), 1}, {SetOf(0, 2, 4, 5), 2}, {SetOf(0, 1, 2, 3, 4, 5), 3}};

void AssertMembers(const Members& members) {
  L_ASSERT_TEXT(members.Length() != 0, "m_objects.Length() != 0");
}

/// Gathers the members' results.
class Combination {
 public:
  template <std::size_t Count>
  explicit Combination(const Outcome (&outcomes)[Count])
      : m_outcomes(outcomes), m_valid(outcomes[Count - 1].within) {}

  void Add(unsigned int result) {
    if (result >= 32 || (m_valid >> result & 1) == 0) L_UNREACHABLE();
    m_seen |= 1u << result;
  }

  unsigned int Common() const {
    const Outcome* outcome = m_outcomes;
    while ((m_seen & ~outcome->within) != 0) {
      ++outcome;
    }
    return outcome->result;
  }

 private:
  const Outcome* const m_outcomes;
  const unsigned int m_valid;
  unsigned int m_seen = 0;
};

/// Applies `operation` to every member and combines the results by `outcomes`.
template <class Result, std::size_t Count, class... Flags>
Result Combine(const Members& members, Order order, const Outcome (&outcomes)[Count],
               Result (BaseObject::*operation)(Flags...), Flags... flags) {
  AssertMembers(members);
  Combination combination(outcomes);
  for (unsigned int visit = 0; visit < members.Length(); ++visit) {
    const unsigned int index = order == Order::firstToLast ? visit : members.Length() - 1 - visit;
    combination.Add((members[index].Get()->*operation)(flags...));
  }
  return static_cast<Result>(combination.Common());
}

/// Asks the members from the first to the last until one answers `decisive`.
bool AnyAnswers(const Members& members, Predicate predicate, bool decisive) {
  AssertMembers(members);
  for (unsigned int index = 0; index < members.Length(); ++index) {
    if (((members[index].Get()->*predicate)() != 0) == decisive) return true;
  }
  return false;
}

}  // namespace

unsigned int BaseComplexObject::Add(LPtrRef<BaseObject> object) {
  m_objects.Append(object);
  return m_objects.Length() - 1;
}

unsigned int BaseComplexObject::IsActiveMeet() {
  return !AnyAnswers(m_objects, &BaseObject::IsActiveMeet, false);
}

unsigned int BaseComplexObject::IsInstalled() {
  return AnyAnswers(m_objects, &BaseObject::IsInstalled, true);
}

unsigned int BaseComplexObject::IsInstalledUpToDate() {
  return !AnyAnswers(m_objects, &BaseObject::IsInstalledUpToDate, false);
}

unsigned int BaseComplexObject::IsExpired() {
  return !AnyAnswers(m_objects, &BaseObject::IsExpired, false);
}

void BaseComplexObject::Touch() {
  AssertMembers(m_objects);
  for (unsigned int index = 0; index < m_objects.Length(); ++index) {
    m_objects[index]->Touch();
  }
}

BaseObject::ActivateResult BaseIndependedComplexObject::Activate() {
  return Combine(m_objects, Order::firstToLast, Activated, &BaseObject::Activate);
}

BaseObject::DeactivateResult BaseIndependedComplexObject::Deactivate() {
  return Combine(m_objects, Order::lastToFirst, Deactivated, &BaseObject::Deactivate);
}

BaseObject::InstallResult BaseIndependedComplexObject::Install(unsigned int flags) {
  return Combine(m_objects, Order::firstToLast, Activated, &BaseObject::Install, flags);
}

BaseObject::UpdateResult BaseIndependedComplexObject::Update(unsigned int) {
  AssertMembers(m_objects);
  L_UNREACHABLE();
}

BaseObject::RemoveResult BaseIndependedComplexObject::Remove(unsigned int flags) {
  return Combine(m_objects, Order::lastToFirst, Deactivated, &BaseObject::Remove, flags);
}

BaseObject::UninstallResult BaseIndependedComplexObject::Uninstall(unsigned int flags) {
  return Combine(m_objects, Order::lastToFirst, Purged, &BaseObject::Uninstall, flags);
}

BaseObject::PurgeResult BaseIndependedComplexObject::Purge(unsigned int flags) {
  return Combine(m_objects, Order::lastToFirst, Purged, &BaseObject::Purge, flags);
}

}  // namespace DriverManagement
