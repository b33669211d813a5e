#include "foundation/Object.h"

#include <doctest/doctest.h>

#include <stdexcept>
#include <vector>

#include "foundation/Buffer.h"
#include "foundation/PtrRef.h"
#include "support/AtOnce.h"
#include "support/TestHeap.h"
#include "support/Throws.h"

namespace {

std::string g_log;

std::string TakeLog() {
  return std::exchange(g_log, std::string());
}

/// Writes every reference taken (+), given back (-) and the end (~) to the log.
struct Logged : virtual LRefObject {
  const char name;
  LPtrRef<Logged> next;

  explicit Logged(char its) : name(its) {}
  ~Logged() override { Log('~'); }
  void AddRef() override { Log('+'), LRefObject::AddRef(); }
  void Release() override { Log('-'), LRefObject::Release(); }
  void Log(char event) { g_log += {name, event, ' '}; }
};
struct Side : virtual LRefObject {};
struct Both : Logged, Side {
  using Logged::Logged;
};

/// Notes when it ends while the pointer at `slot` still points to it.
struct Watcher : LRefObject {
  static inline bool s_sawItself = false;
  LPtrRef<Watcher>& slot;

  explicit Watcher(LPtrRef<Watcher>& its) : slot(its) {}
  ~Watcher() override { s_sawItself |= slot.Get() == this; }
};

struct Unwilling : LRefObject {
  LPtrRef<Logged> block = LMakeRef<Logged>('u');
  Unwilling() { throw std::runtime_error("no"); }
};

}  // namespace

TEST_CASE("an object reached along two paths has one count") {
  TestHeap heap;
  TakeLog();
  {
    const LPtrRef<Both> both = LMakeRef<Both>('x');
    const LPtrRef<Side> side = both;
    const LPtrRef<Logged> logged = LDynamicCast<Logged>(side);
    CHECK(logged.Get() == both.Get());
    CHECK(TakeLog() == "x+ x+ ");
    CHECK_FALSE(LDynamicCast<Logged>(LMakeRef<Side>()).Valid());
    CHECK_FALSE(LDynamicCast<Logged>(LPtrRef<Side>()).Valid());
  }
  CHECK(TakeLog() == "x- x- x- x~ ");
}

TEST_CASE("a pointer has its new value before its old target goes") {
  TestHeap heap;
  LPtrRef<Watcher> slot;
  slot = LMakeRef<Watcher>(slot);
  slot = LMakeRef<Watcher>(slot);
  slot = nullptr;
  CHECK_FALSE(Watcher::s_sawItself);

  // Unhooking a chain from its own second link keeps that link alive.
  LPtrRef<Logged> head = LMakeRef<Logged>('1');
  head->next = LMakeRef<Logged>('2');
  TakeLog();
  head = head->next;
  CHECK(TakeLog() == "2+ 1- 1~ 2- ");
}

TEST_CASE("a broken count is reported and ends nothing but the operation") {
  TestHeap heap;
  CHECK(Thrown([] { LRefObject().AddRef(); }) == "( m_uReferenceCount == 0 ) || ( m_uReferenceCount == 1 )");
  struct Finished : LRefObject {
    ~Finished() override {
      CHECK(Thrown([this] { AddRef(); }) == "m_uReferenceCount > 0");
      CHECK(Thrown([this] { Release(); }) == "m_uReferenceCount > 0");
    }
  };
  LMakeRef<Finished>();
  const auto unwind = [] {
    LRefObject object;
    object.AddRef();
    throw std::runtime_error("first");
  };
  CHECK_THROWS_AS(unwind(), std::runtime_error);
}

TEST_CASE("objects live in the memory manager's heap") {
  TestHeap heap;
  CHECK_THROWS_AS(LMakeRef<Unwilling>(), std::runtime_error);
  heap.FailAfter(0);
  CHECK_THROWS_AS(LMakeRef<Side>(), std::bad_alloc);
}

TEST_CASE("holders on several threads share an object and a block and end each once") {
  TestHeap heap;
  using Holder = std::pair<LPtrRef<Side>, LBuffer>;
  std::vector<Holder> holders(4, Holder{LMakeRef<Side>(), LBuffer("shared", 6)});
  std::vector<std::function<void()>> threads;
  for (Holder& holder : holders) {
    threads.emplace_back([&holder] {
      for (int round = 0; round < 20000; ++round)
        const Holder again = holder;
      LBufferLock(holder.second).Data()[0] = 'x';
      holder = Holder();
    });
  }
  RunAtOnce(threads);
}
