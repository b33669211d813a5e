#include "drivermanagement/LegacyDeviceNode.h"

#include <doctest/doctest.h>

#include <list>

#include "LegacyDevices.h"
#include "support/SystemSession.h"

using namespace DriverManagement;

TEST_CASE("only the first device node of the service goes, whatever the letter case") {
  SystemSession session;
  const LegacyDevices devices;
  AddLegacyDevice(L"KVBEFORE", L"0000");
  LUnicodeString longest;
  while (longest.Length() < 256)
    longest.Append(L'x');
  devices.before->Open(L"0000", KEY_WRITE)->SetStringValue(L"Service", longest);
  AddLegacyDevice(L"KVTEST", L"0000");
  AddLegacyDevice(L"KVTEST", L"0001");
  AddLegacyDevice(L"KVTESTOTHER", L"0000");
  CHECK(RemoveLegacyDeviceNode(L"kvtest"));
  CHECK(devices.Counts() == "1 before, 1 of the test, 1 after");
  CHECK(devices.test->IsChildExist(L"0001"));
  CHECK(RemoveLegacyDeviceNode(L"kvtest"));
  CHECK(devices.Counts() == "1 before, 0 of the test, 1 after");
  CHECK(RemoveLegacyDeviceNode(L"kvtest"));
}

TEST_CASE("every class of the name is searched, however many there are") {
  SystemSession session;
  const LegacyDevices devices;
  std::list<TestKey> classes;
  for (wchar_t digit = L'1'; digit < L'8'; ++digit) {
    const LUnicodeString classId = LUnicodeString(L"{00000000-0000-0000-0000-00000000000") + digit + L'}';
    classes.emplace_back(LUnicodeString(L"System\\CurrentControlSet\\Control\\Class\\") + classId)
        ->SetStringValue(L"Class", L"LegacyDriver");
  }
  AddLegacyDevice(L"KVTEST", L"0000");  // of the class that is last in order
  CHECK(devices.Counts() == "0 before, 1 of the test, 0 after");
  CHECK(RemoveLegacyDeviceNode(L"kvtest"));
  CHECK(devices.Counts() == "0 before, 0 of the test, 0 after");
}
