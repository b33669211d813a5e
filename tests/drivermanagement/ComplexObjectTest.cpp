#include "drivermanagement/ComplexObject.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <tuple>
#include <vector>

#include "ScriptedObject.h"
#include "support/TestHeap.h"
#include "support/Throws.h"

using namespace DriverManagement;

namespace {

struct BusyMember : Member {
  using Member::Member;
  PurgeResult Purge(unsigned int) override { throw UsageConflictException(L_HERE); }
};

using Results = std::vector<unsigned int>;

LPtrRef<BaseIndependedComplexObject> Complex(const Results& answers) {
  auto complex = LMakeRef<BaseIndependedComplexObject>();
  char name = 'a';
  for (const unsigned int answer : answers)
    complex->Add(LMakeRef<Member>(name++, answer));
  return complex;
}

bool AnyOf(const Results& results, std::initializer_list<unsigned int> values) {
  return std::find_first_of(results.begin(), results.end(), values.begin(), values.end()) != results.end();
}

// The rules of combination as they read, apart from the tables of the implementation.

unsigned int StartRule(const Results& results) {
  if (!AnyOf(results, {0, 1, 2, 3})) return 4;
  if (AnyOf(results, {2, 3, 4})) return AnyOf(results, {1, 3}) ? 3 : 2;
  return AnyOf(results, {1}) ? 1 : 0;
}
unsigned int StopRule(const Results& results) {
  if (!AnyOf(results, {0, 1})) return 2;
  return AnyOf(results, {1}) ? 1 : 0;
}
unsigned int ClaimRule(const Results& results) {
  if (!AnyOf(results, {0, 1, 2, 3, 4})) return 5;
  if (!AnyOf(results, {0, 1, 2, 3})) return 4;
  if (!AnyOf(results, {2, 3, 4})) return AnyOf(results, {1}) ? 1 : 0;
  return AnyOf(results, {1, 3}) ? 3 : 2;
}

using Run = unsigned int (*)(BaseObject&);
using Rule = unsigned int (*)(const Results&);

// What is traced, how it is run, the number of its results, whether from the last member on, and its rule.
constexpr std::tuple<const char*, Run, unsigned int, bool, Rule> Operations[] = {
    {"Activate", [](BaseObject& o) -> unsigned int { return o.Activate(); }, 5, false, StartRule},
    {"Install(9)", [](BaseObject& o) -> unsigned int { return o.Install(9); }, 5, false, StartRule},
    {"Deactivate", [](BaseObject& o) -> unsigned int { return o.Deactivate(); }, 3, true, StopRule},
    {"Remove(9)", [](BaseObject& o) -> unsigned int { return o.Remove(9); }, 3, true, StopRule},
    {"Uninstall(9)", [](BaseObject& o) -> unsigned int { return o.Uninstall(9); }, 6, true, ClaimRule},
    {"Purge(9)", [](BaseObject& o) -> unsigned int { return o.Purge(9); }, 6, true, ClaimRule}};

constexpr std::tuple<const char*, unsigned int (BaseObject::*)(), unsigned int> Questions[] = {
    {"IsActiveMeet", &BaseObject::IsActiveMeet, 0},
    {"IsInstalled", &BaseObject::IsInstalled, 1},
    {"IsInstalledUpToDate", &BaseObject::IsInstalledUpToDate, 0},
    {"IsExpired", &BaseObject::IsExpired, 0}};

}  // namespace

TEST_CASE("an operation visits every member in its order and combines the results by its rule") {
  TestHeap heap;
  for (const auto& [name, run, values, fromLast, rule] : Operations) {
    std::string expected;
    for (const char member : {fromLast ? 'c' : 'a', 'b', fromLast ? 'a' : 'c'})
      expected += member + std::string(":") + name + " ";
    for (unsigned int triple = 0; triple < values * values * values; ++triple) {
      const Results results = {triple % values, triple / values % values, triple / values / values};
      CAPTURE(triple);
      TakeTrace();
      CHECK(run(*Complex(results)) == rule(results));
      CHECK(TakeTrace() == expected);
    }
    const Run ask = run;
    for (const unsigned int foreign : {values, 31u, 32u, ~0u})
      CHECK(Thrown([&] { ask(*Complex({0, foreign, 0})); }) == "Unreachable point");
    CHECK(Thrown([&] { ask(*Complex({})); }) == "m_objects.Length() != 0");
  }
}

TEST_CASE("a question to a complex object goes on until the answer is known") {
  TestHeap heap;
  for (const auto& [name, ask, decisive] : Questions) {
    for (unsigned int triple = 0; triple < 8; ++triple) {
      const Results answers = {triple & 1, triple >> 1 & 1, triple >> 2};
      const auto decided = std::find(answers.begin(), answers.end(), decisive);
      std::string expected;
      for (auto asked = answers.begin(); asked != answers.end() && asked <= decided; ++asked)
        expected += static_cast<char>('a' + (asked - answers.begin())) + std::string(":") + name + " ";
      TakeTrace();
      CHECK(((*Complex(answers)).*ask)() == (decided != answers.end() ? decisive : 1 - decisive));
      CHECK(TakeTrace() == expected);
    }
  }
  Complex({0, 1, 0})->Touch();
  CHECK(TakeTrace() == "a:Touch b:Touch c:Touch ");
  CHECK(Thrown([] { Complex({})->IsInstalled(); }) == "m_objects.Length() != 0");
  CHECK(Thrown([] { Complex({})->Touch(); }) == "m_objects.Length() != 0");
  CHECK(Thrown([] { Complex({0})->Update(1); }) == "Unreachable point");
}

TEST_CASE("what a member throws leaves the members behind it untouched") {
  TestHeap heap;
  TakeTrace();
  const auto complex = Complex({0, 0});
  CHECK(complex->Add(LMakeRef<BusyMember>('x')) == 2);
  CHECK(complex->Add(LMakeRef<Member>('y')) == 3);
  CHECK_THROWS_AS(complex->Purge(1), BaseObject::UsageConflictException);
  CHECK_THROWS_AS(complex->Purge(1), BaseException);
  CHECK(TakeTrace() == "y:Purge(1) y:Purge(1) ");
}

TEST_CASE("an object without claims or anything to run answers for itself") {
  TestHeap heap;
  TakeTrace();
  const auto plain = [](unsigned int answer) { return LMakeRef<PlainObject>('p', answer); };
  CHECK(plain(0)->IsActiveMeet() + plain(0)->IsExpired() == 2);
  CHECK(plain(0)->Activate() == BaseObject::activateUpToDate);
  CHECK(plain(0)->Deactivate() == BaseObject::deactivateNotActive);
  plain(0)->Touch();
  CHECK(plain(1)->IsInstalledUpToDate() == 1);
  CHECK(plain(0)->Update(3) == BaseObject::updateNotInstalled);
  CHECK(plain(4)->Update(3) == BaseObject::updateUpToDate);
  CHECK(TakeTrace() == "p:IsInstalled p:IsInstalled p:IsInstalled p:Install(3) ");
  constexpr BaseObject::UpdateResult updates[] = {BaseObject::updateDone, BaseObject::updateDoneReboot};
  for (unsigned int result = 0; result <= 3; ++result) {
    const auto object = plain(result);
    object->present = 1;
    CHECK(object->Update(0) == updates[result % 2]);
  }
  constexpr unsigned int Removals[] = {0, 1, 5};
  for (unsigned int result = 0; result <= 2; ++result) {
    CHECK(plain(result)->Uninstall(0) == Removals[result]);
    CHECK(plain(result)->Purge(0) == Removals[result]);
  }
  CHECK(Thrown([&] { plain(5)->Update(0); }) == "Unreachable point");
  CHECK(Thrown([&] { plain(3)->Uninstall(0); }) == "Unreachable point");
}
