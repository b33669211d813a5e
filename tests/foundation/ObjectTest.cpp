#include "foundation/Object.h"

#include <doctest/doctest.h>

#include <stdexcept>
#include <thread>
#include <vector>

#include "foundation/Buffer.h"
#include "foundation/ClassArray.h"
#include "foundation/PtrRef.h"
#include "support/FailedCondition.h"
#include "support/TestHeap.h"

namespace {

std::string g_log;

std::string TakeLog() {
  return std::exchange(g_log, std::string());
}

/// Writes every reference taken (+), given back (-) and the end (~) to the log.
class Logged : public virtual LRefObject {
 public:
  explicit Logged(char name) : m_name(name) {}
  ~Logged() override { Log('~'); }
  void AddRef() override {
    Log('+');
    LRefObject::AddRef();
  }
  void Release() override {
    Log('-');
    LRefObject::Release();
  }

  LPtrRef<Logged> next;

 private:
  void Log(char event) { g_log += {m_name, event, ' '}; }

  char m_name;
};

class Side : public virtual LRefObject {
 public:
  unsigned int number = 7;
};

class Both : public Logged, public Side {
 public:
  using Logged::Logged;
};

/// Notes when it ends while the pointer at `slot` still points to it.
class Watcher : public LRefObject {
 public:
  explicit Watcher(LPtrRef<Watcher>& slot) : m_slot(slot) {}
  ~Watcher() override { s_sawItself |= m_slot.Get() == this; }

  static inline bool s_sawItself = false;

 private:
  LPtrRef<Watcher>& m_slot;
};

class Unwilling : public LRefObject {
 public:
  Unwilling() : m_block(LMakeRef<Logged>('u')) { throw std::runtime_error("no"); }

 private:
  LPtrRef<Logged> m_block;
};

}  // namespace

TEST_CASE("references are taken and given back exactly where pointers change") {
  TestHeap heap;
  TakeLog();
  {
    LPtrRef<Logged> a(new Logged('a'));
    CHECK(TakeLog() == "");
    LPtrRef<Logged> copy = a;
    CHECK(TakeLog() == "a+ ");
    LPtrRef<Logged> moved = std::move(copy);
    CHECK(TakeLog() == "");
    CHECK_FALSE(copy.Valid());
    a = LMakeRef<Logged>('b');
    CHECK(TakeLog() == "a- ");
    moved = a;
    CHECK(TakeLog() == "b+ a- a~ ");
    moved = *&moved;
    CHECK(TakeLog() == "b+ b- ");
    copy = nullptr;
    a = nullptr;
    CHECK(TakeLog() == "b- ");
    CHECK(moved);
  }
  CHECK(TakeLog() == "b- b~ ");
  CHECK(heap.Blocks() == 0);
}

TEST_CASE("an object reached along two paths has one count") {
  TestHeap heap;
  TakeLog();
  {
    const LPtrRef<Both> both = LMakeRef<Both>('x');
    const LPtrRef<Side> side = both;
    CHECK(side->number == 7);
    CHECK(side.Get() == static_cast<Side*>(both.Get()));
    const LPtrRef<Logged> logged = LDynamicCast<Logged>(side);
    CHECK(logged.Get() == both.Get());
    CHECK(TakeLog() == "x+ x+ ");
    const LPtrRef<Side> plain = LMakeRef<Side>();
    CHECK_FALSE(LDynamicCast<Logged>(plain).Valid());
    CHECK_FALSE(LDynamicCast<Logged>(LPtrRef<Side>()).Valid());
  }
  CHECK(TakeLog() == "x- x- x- x~ ");
}

TEST_CASE("an array moves its references without touching the counts") {
  TestHeap heap;
  TakeLog();
  {
    LClassArray<LPtrRef<Logged>, LPtrRef<Logged>, 2> array;
    for (const char name : {'a', 'b', 'c', 'd'})
      array.Append(LMakeRef<Logged>(name));
    CHECK(TakeLog() == "a+ a- b+ b- c+ c- d+ d- ");
    array.SetSize(9);
    CHECK(TakeLog() == "");
    array.Remove(0);
    CHECK(TakeLog() == "a- a~ ");
    const auto copy = array;
    CHECK(TakeLog() == "b+ c+ d+ ");
    array.SetSize(1);
    CHECK(TakeLog() == "c- d- ");
  }
  CHECK(TakeLog() == "b- c- c~ d- d~ b- b~ ");
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
  constexpr const char* Held = "( m_uReferenceCount == 0 ) || ( m_uReferenceCount == 1 )";
  CHECK(FailedCondition([] {
          LRefObject object;
          object.AddRef();
        }) == Held);
  CHECK(FailedCondition([] {
          auto* const object = new LRefObject;
          object->AddRef();
          delete object;
        }) == Held);
  class Finished : public LRefObject {
   public:
    ~Finished() override {
      CHECK(FailedCondition([this] { AddRef(); }) == "m_uReferenceCount > 0");
      CHECK(FailedCondition([this] { Release(); }) == "m_uReferenceCount > 0");
    }
  };
  LMakeRef<Finished>();
  CHECK_THROWS_AS(
      [] {
        LRefObject object;
        object.AddRef();
        throw std::runtime_error("first");
      }(),
      std::runtime_error);
}

TEST_CASE("objects live in the memory manager's heap") {
  {
    TestHeap heap;
    CHECK_THROWS_AS(Unwilling(), std::runtime_error);
    CHECK_THROWS_AS(LMakeRef<Unwilling>(), std::runtime_error);
    CHECK(heap.Blocks() == 0);
    heap.FailAfter(0);
    CHECK_THROWS_AS(LMakeRef<Side>(), std::bad_alloc);
    heap.StopFailing();
    LObject* const plain = new LObject;
    CHECK(heap.Blocks() == 1);
    plain->Release();
  }
  CHECK_THROWS_AS(LMakeRef<Side>(), std::bad_alloc);
}

TEST_CASE("holders on several threads share an object and a block and end each once") {
  TestHeap heap;
  struct Holder {
    LPtrRef<Side> object;
    LBuffer buffer;
  };
  std::vector<Holder> holders(4, Holder{LMakeRef<Side>(), LBuffer("shared", 6)});
  std::vector<std::thread> threads;
  for (Holder& holder : holders) {
    threads.emplace_back([&holder] {
      for (int round = 0; round < 20000; ++round)
        const Holder again = holder;
      LBufferLock(holder.buffer).Data()[0] = 'x';
      holder = Holder();
    });
  }
  for (std::thread& thread : threads)
    thread.join();
  CHECK(heap.Blocks() == 0);
}
