#include "foundation/Buffer.h"

#include <doctest/doctest.h>

#include <functional>
#include <random>
#include <vector>

#include "foundation/LittleEndian.h"
#include "support/FailedCondition.h"
#include "support/TestHeap.h"

namespace {

using Storage = LDynamicStorage<unsigned char, 16, 256, 0>;
using Bytes = std::vector<unsigned char>;

Bytes BytesOf(const LBuffer& buffer) {
  CHECK((buffer.Data() == nullptr) == (buffer.Size() == 0));
  return buffer.IsEmpty() ? Bytes() : Bytes(buffer.Data(), buffer.Data() + buffer.Size());
}

LBuffer Text(std::string_view text) {
  return LBuffer(text.data(), static_cast<unsigned int>(text.size()));
}

std::string TextOf(const LBuffer& buffer) {
  const Bytes bytes = BytesOf(buffer);
  return std::string(bytes.begin(), bytes.end());
}

}  // namespace

TEST_CASE("the capacity of a block follows its size") {
  TestHeap heap;
  constexpr unsigned int Capacities[][2] = {{1, 16},    {16, 16},   {17, 32},   {32, 32},      {33, 64},
                                            {64, 64},   {65, 128},  {128, 128}, {129, 256},    {256, 256},
                                            {257, 272}, {272, 272}, {273, 288}, {70000, 70000}};
  for (const auto& [size, capacity] : Capacities) {
    Storage* const storage = Storage::NewStorage(size);
    CHECK(storage->Capacity() == capacity);
    CHECK(storage->Size() == size);
    CHECK(storage->GetRefCount() == 1);
    CHECK(heap.NewestSize() == sizeof(Storage) + capacity);
    Storage::Release(storage);
  }
  CHECK(Storage::NewStorage(0) == nullptr);
  CHECK_THROWS_AS(Storage::NewStorage(0xFFFFFFFF), std::bad_alloc);
  CHECK_THROWS_AS(Storage::NewStorage(0xFFFFFFF0), std::bad_alloc);
}

TEST_CASE("writing to a copy separates it from the original") {
  TestHeap heap;
  const LBuffer original = Text("0123456789");
  LBuffer copy = original;
  CHECK(copy.Data() == original.Data());
  CHECK(heap.Blocks() == 1);
  copy.Lock()[0] = 'x';
  copy.Unlock();
  CHECK(TextOf(original) == "0123456789");
  CHECK(TextOf(copy) == "x123456789");
  CHECK(heap.Blocks() == 2);
  const unsigned char* const own = copy.Data();
  CHECK(copy.Lock() == own);
  copy.Unlock();
}

TEST_CASE("a sole holder's block stays exactly while the rule says so") {
  TestHeap heap;
  struct Change {
    const char* name;
    bool allocates;
    std::function<void(LBuffer&)> apply;
  };
  const LBuffer other = Text("abc");
  const Change changes[] = {
      {"SetSize within the capacity", false, [](LBuffer& b) { b.SetSize(16); }},
      {"SetSize beyond it", true, [](LBuffer& b) { b.SetSize(17); }},
      {"SetSize below the size, same capacity", false, [](LBuffer& b) { b.SetSize(1); }},
      {"Assign within the capacity", false, [](LBuffer& b) { b.Assign("0123456789abcdef", 16); }},
      {"Assign of less", true, [](LBuffer& b) { b.Assign("012345678", 9); }},
      {"Assign beyond the capacity", true, [](LBuffer& b) { b.Assign("0123456789abcdefg", 17); }},
      {"Insert within the capacity", false, [](LBuffer& b) { b.Insert(5, "abc", 3); }},
      {"Append beyond it", true, [&](LBuffer& b) { b.Append(other), b.Append(other), b.Append(other); }},
      {"sharing another", false, [&](LBuffer& b) { b = other; }},
      {"emptying", false, [](LBuffer& b) { b.SetSize(0); }},
      {"Assign of nothing", false, [](LBuffer& b) { b.Assign(nullptr, 0); }},
  };
  for (const Change& change : changes) {
    CAPTURE(change.name);
    LBuffer buffer = Text("0123456789");
    const unsigned int before = heap.Allocations();
    change.apply(buffer);
    CHECK(heap.Allocations() - before == (change.allocates ? 1 : 0));
    CHECK(heap.Blocks() == (buffer.IsEmpty() || buffer.Data() == other.Data() ? 1 : 2));
  }
  LBuffer large = Text(std::string(300, 'x'));
  large.SetSize(20);
  CHECK(heap.NewestSize() == sizeof(Storage) + 32);
}

TEST_CASE("buffers that share and change blocks behave like separate byte vectors") {
  TestHeap heap;
  std::mt19937 random(20240229);
  const auto below = [&random](std::size_t limit) { return static_cast<unsigned int>(random() % limit); };
  LBuffer buffers[3];
  Bytes models[3];
  for (int step = 0; step < 20000; ++step) {
    const unsigned int at = below(3), from = below(3), count = below(40);
    LBuffer& buffer = buffers[at];
    Bytes& model = models[at];
    const unsigned int index = below(model.size() + 1);
    const auto place = model.begin() + index;
    const Bytes data(count, static_cast<unsigned char>(step));
    switch (below(7)) {
      case 0:
        buffer = buffers[from];
        model = Bytes(models[from]);
        break;
      case 1:
        buffer.Assign(data.data(), count);
        model = data;
        break;
      case 2:
        buffer.SetSize(index);
        model.resize(index);
        break;
      case 3:
        buffer.Insert(index, data.data(), count);
        model.insert(place, data.begin(), data.end());
        break;
      case 4:
        buffer.Insert(index, static_cast<unsigned char>(step), count);
        model.insert(place, data.begin(), data.end());
        break;
      case 5:
        if (model.size() + models[from].size() > 600) break;
        buffer.Append(buffers[from]);
        for (const unsigned char byte : Bytes(models[from]))
          model.push_back(byte);
        break;
      default:
        if (model.empty()) break;
        LBufferLock(buffer).Data()[index / 2] = static_cast<unsigned char>(step);
        model[index / 2] = static_cast<unsigned char>(step);
    }
    for (int each = 0; each < 3; ++each)
      REQUIRE(BytesOf(buffers[each]) == models[each]);
    if (model.size() > 1000) model.clear(), buffer.SetSize(0);
  }
}

TEST_CASE("a locked buffer refuses every use but unlocking and letting go") {
  TestHeap heap;
  LBuffer locked = Text("0123456789"), other = Text("abc");
  locked.Lock();
  struct Use {
    const char* condition;
    std::function<void()> apply;
  };
  const Use uses[] = {
      {"!buffer.IsLocked()", [&] { LBuffer copy(locked); }},
      {"!buffer.IsLocked()", [&] { other = locked; }},
      {"!buffer.IsLocked()", [&] { locked.Assign(locked); }},
      {"!buffer.IsLocked()", [&] { other.Append(locked); }},
      {"!IsLocked()", [&] { locked.Assign("ab", 2); }},
      {"!IsLocked()", [&] { locked.SetSize(0); }},
      {"!IsLocked()", [&] { (void)locked.Data(); }},
      {"!IsLocked()", [&] { locked.Lock(); }},
      {"!IsLocked()", [&] { locked.Insert(0, "ab", 2); }},
      {"!IsLocked()", [&] { locked.Insert(0, static_cast<unsigned char>(1), 2); }},
      {"!IsLocked()", [&] { locked.Append(other); }},
  };
  for (const Use& use : uses)
    CHECK(FailedCondition(use.apply) == use.condition);
  locked.Unlock();
  CHECK(TextOf(locked) == "0123456789");
  CHECK(TextOf(other) == "abc");
  CHECK(FailedCondition([&] { locked.Unlock(); }) == "IsLocked() || !m_pDataStorage");
  CHECK(FailedCondition([&] { locked.Insert(11, "ab", 0); }) == "index <= Size()");

  LBuffer empty;
  CHECK(empty.Lock() == nullptr);
  empty.Unlock();
  CHECK(heap.Blocks() == 2);

  locked.Lock();
  locked = other;
  CHECK(heap.Blocks() == 1);
  LBuffer dropped = Text("x");
  dropped.Lock();
}

TEST_CASE("an allocation that fails leaves the buffer as it was") {
  TestHeap heap;
  const std::function<void(LBuffer&)> changes[] = {
      [](LBuffer& b) { b.SetSize(100); },
      [](LBuffer& b) { b.SetSize(3); },
      [](LBuffer& b) { b.Assign("0123456789012345678901234567890123456789", 40); },
      [](LBuffer& b) { b.Insert(2, static_cast<unsigned char>('x'), 30); },
      [](LBuffer& b) { b.Append(b); },
      [](LBuffer& b) { b.Insert(2, "", 0xFFFFFFFF); },
  };
  for (const auto& change : changes) {
    for (const bool shared : {false, true}) {
      LBuffer buffer = Text("01234567890123456789");
      const LBuffer holder = shared ? buffer : LBuffer();
      heap.FailAfter(0);
      CHECK_THROWS_AS(change(buffer), std::bad_alloc);
      heap.StopFailing();
      CHECK(TextOf(buffer) == "01234567890123456789");
      CHECK(heap.Blocks() == 1);
    }
  }
}

TEST_CASE("numbers are stored least significant byte first at any alignment") {
  TestHeap heap;
  LBuffer buffer = Text("x");
  LAppendLittleEndian<unsigned short>(buffer, 0xFEDC);
  LAppendLittleEndian(buffer, 0x80000001u);
  LAppendLittleEndian(buffer, 0x8877665544332211ull);
  CHECK(TextOf(buffer) == std::string("x\xDC\xFE\x01\0\0\x80\x11\x22\x33\x44\x55\x66\x77\x88", 15));
  CHECK(LReadLittleEndian<unsigned short>(buffer.Data() + 1) == 0xFEDC);
  CHECK(LReadLittleEndian<unsigned int>(buffer.Data() + 3) == 0x80000001u);
  CHECK(LReadLittleEndian<unsigned long long>(buffer.Data() + 7) == 0x8877665544332211ull);
}
