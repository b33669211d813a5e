#pragma once

#include <string>

#include "support/MachineParts.h"
#include "support/TestKey.h"

/// The class "LegacyDriver", and the tests' devices of three services: none before and after the test.
struct LegacyDevices {
  LegacyDevices() { MakeKey(classPath)->SetStringValue(L"Class", L"LegacyDriver"); }
  ~LegacyDevices() {
    if (!hadClass) DeleteKey(classPath);
  }

  /// How many devices each service has.
  std::string Counts() const {
    const auto count = [](const TestKey& key) {
      return std::to_string(MakeKey(key.path)->GetChilds().Length());
    };
    return count(before) + " before, " + count(test) + " of the test, " + count(after) + " after";
  }

  static constexpr const wchar_t* classPath =
      L"System\\CurrentControlSet\\Control\\Class\\{8ECC055D-047F-11D1-A537-0000F8753ED1}";
  const bool hadClass = RegistryText(classPath) != "none";
  const TestKey before{L"System\\CurrentControlSet\\Enum\\ROOT\\LEGACY_KVBEFORE"};
  const TestKey test{L"System\\CurrentControlSet\\Enum\\ROOT\\LEGACY_KVTEST"};
  const TestKey after{L"System\\CurrentControlSet\\Enum\\ROOT\\LEGACY_KVTESTOTHER"};
};
