// What passing values costs beside the standard library's ways, in one run: sharing a block against copying
// text, the intrusive pointer against std::shared_ptr.

#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <vector>

#include "BenchmarkSession.h"
#include "foundation/Object.h"
#include "foundation/PtrRef.h"
#include "foundation/UnicodeString.h"
#include "foundation/UnicodeStringArray.h"

namespace {

constexpr const wchar_t* Path = L"System\\CurrentControlSet\\Services\\kvlnk03\\LifeTime\\7d0c2f66-client";

std::u16string StandardPath() {
  return winsim::FromWide(Path);
}

void CopyText_LUnicodeString(benchmark::State& state) {
  const BenchmarkSession session;
  const LUnicodeString text(Path);
  for (auto _ : state) {
    LUnicodeString copy(text);
    benchmark::DoNotOptimize(copy);
  }
}
BENCHMARK(CopyText_LUnicodeString);

void CopyText_u16string(benchmark::State& state) {
  const BenchmarkSession session;
  const std::u16string text = StandardPath();
  for (auto _ : state) {
    std::u16string copy(text);
    benchmark::DoNotOptimize(copy);
  }
}
BENCHMARK(CopyText_u16string);

void CopyText_SharedString(benchmark::State& state) {
  const BenchmarkSession session;
  const auto text = std::make_shared<const std::u16string>(StandardPath());
  for (auto _ : state) {
    auto copy = text;
    benchmark::DoNotOptimize(copy);
  }
}
BENCHMARK(CopyText_SharedString);

void CopyThenWrite_LUnicodeString(benchmark::State& state) {
  const BenchmarkSession session;
  const LUnicodeString text(Path);
  for (auto _ : state) {
    LUnicodeString copy(text);
    copy[0u] = L's';
    benchmark::DoNotOptimize(copy);
  }
}
BENCHMARK(CopyThenWrite_LUnicodeString);

void CopyThenWrite_u16string(benchmark::State& state) {
  const BenchmarkSession session;
  const std::u16string text = StandardPath();
  for (auto _ : state) {
    std::u16string copy(text);
    copy[0] = u's';
    benchmark::DoNotOptimize(copy);
  }
}
BENCHMARK(CopyThenWrite_u16string);

void AppendUnits_LUnicodeString(benchmark::State& state) {
  const BenchmarkSession session;
  for (auto _ : state) {
    LUnicodeString text;
    for (int unit = 0; unit < 64; ++unit) {
      text.Append(L'x');
    }
    benchmark::DoNotOptimize(text);
  }
}
BENCHMARK(AppendUnits_LUnicodeString);

void AppendUnits_u16string(benchmark::State& state) {
  const BenchmarkSession session;
  for (auto _ : state) {
    std::u16string text;
    for (int unit = 0; unit < 64; ++unit) {
      text.push_back(u'x');
    }
    benchmark::DoNotOptimize(text);
  }
}
BENCHMARK(AppendUnits_u16string);

void CopyPointer_LPtrRef(benchmark::State& state) {
  const BenchmarkSession session;
  const LPtrRef<LRefObject> object = LMakeRef<LRefObject>();
  for (auto _ : state) {
    LPtrRef<LRefObject> copy(object);
    benchmark::DoNotOptimize(copy);
  }
}
BENCHMARK(CopyPointer_LPtrRef);

void CopyPointer_shared_ptr(benchmark::State& state) {
  const BenchmarkSession session;
  const auto object = std::make_shared<int>();
  for (auto _ : state) {
    std::shared_ptr<int> copy(object);
    benchmark::DoNotOptimize(copy);
  }
}
BENCHMARK(CopyPointer_shared_ptr);

void MakeObject_LMakeRef(benchmark::State& state) {
  const BenchmarkSession session;
  for (auto _ : state) {
    benchmark::DoNotOptimize(LMakeRef<LRefObject>());
  }
}
BENCHMARK(MakeObject_LMakeRef);

void MakeObject_make_shared(benchmark::State& state) {
  const BenchmarkSession session;
  for (auto _ : state) {
    benchmark::DoNotOptimize(std::make_shared<int>());
  }
}
BENCHMARK(MakeObject_make_shared);

// A list of names as the registry's subkeys give it; ours grows by a fixed step.

void AppendNames_LUnicodeStringArray(benchmark::State& state) {
  const BenchmarkSession session;
  const LUnicodeString name(L"client");
  for (auto _ : state) {
    LUnicodeStringArray names;
    for (std::int64_t count = 0; count < state.range(0); ++count) {
      names.Append(name);
    }
    benchmark::DoNotOptimize(names);
  }
}
BENCHMARK(AppendNames_LUnicodeStringArray)->Arg(100)->Arg(10'000)->Arg(100'000);

void AppendNames_vector(benchmark::State& state) {
  const std::u16string name = u"client";
  for (auto _ : state) {
    std::vector<std::u16string> names;
    for (std::int64_t count = 0; count < state.range(0); ++count) {
      names.push_back(name);
    }
    benchmark::DoNotOptimize(names);
  }
}
BENCHMARK(AppendNames_vector)->Arg(100)->Arg(10'000)->Arg(100'000);

}  // namespace
