#include "foundation/Buffer.h"

#include <doctest/doctest.h>

#include <functional>
#include <random>
#include <vector>

#include "support/TestHeap.h"
#include "support/Throws.h"

namespace {

using Bytes = std::vector<unsigned char>;

Bytes BytesOf(const LBuffer& buffer) {
  CHECK((buffer.Data() == nullptr) == (buffer.Size() == 0));
  return Bytes(buffer.Data(), buffer.Data() + buffer.Size());
}

LBuffer Text(std::string_view text) {
  return LBuffer(text.data(), static_cast<unsigned int>(text.size()));
}

std::string TextOf(const LBuffer& buffer) {
  const Bytes bytes = BytesOf(buffer);
  return std::string(bytes.begin(), bytes.end());
}

}  // namespace

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
    const auto value = static_cast<unsigned char>(step);
    const Bytes data(count, value);
    const unsigned int change = below(7);
    if (change == 0) {
      buffer = buffers[from], model = Bytes(models[from]);
    } else if (change == 1) {
      buffer.Assign(data.data(), count), model = data;
    } else if (change == 2) {
      buffer.SetSize(index), model.resize(index);
    } else if (change == 3) {
      buffer.Insert(index, data.data(), count), model.insert(place, data.begin(), data.end());
    } else if (change == 4) {
      buffer.Insert(index, value, count), model.insert(place, data.begin(), data.end());
    } else if (change == 5 && model.size() + models[from].size() <= 600) {
      const Bytes more = models[from];
      buffer.Append(buffers[from]), model.insert(model.end(), more.begin(), more.end());
    } else if (change == 6 && !model.empty()) {
      LBufferLock(buffer).Data()[index / 2] = model[index / 2] = value;
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
  const std::function<void()> readings[] = {[&] { LBuffer copy(locked); }, [&] { other = locked; },
                                            [&] { locked.Assign(locked); }, [&] { other.Append(locked); }};
  for (const auto& use : readings)
    CHECK(Thrown(use) == "!buffer.IsLocked()");
  const std::function<void()> changes[] = {
      [&] { locked.Assign("ab", 2); },    [&] { locked.SetSize(0); },
      [&] { (void)locked.Data(); },       [&] { locked.Lock(); },
      [&] { locked.Insert(0, "ab", 2); }, [&] { locked.Insert(0, static_cast<unsigned char>(1), 2); },
      [&] { locked.Append(other); }};
  for (const auto& use : changes)
    CHECK(Thrown(use) == "!IsLocked()");
  locked.Unlock();
  CHECK(TextOf(locked) == "0123456789");
  CHECK(TextOf(other) == "abc");
  CHECK(Thrown([&] { locked.Unlock(); }) == "IsLocked() || !m_pDataStorage");
  CHECK(Thrown([&] { locked.Insert(11, "ab", 0); }) == "index <= Size()");

  LBuffer empty;
  CHECK(LBufferLock(empty).Data() == nullptr);
  {
    const LBufferLock lock(locked);
    locked = other;
  }
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
      [](LBuffer& b) { b.Insert(2, "", 0xFFFFFFFF); }};
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
