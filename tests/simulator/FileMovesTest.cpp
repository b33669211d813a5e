#include "simulator/FileCalls.h"

TEST_CASE("delayed operations wait in the registry for the next start, in order") {
  MachineSession session;
  winsim::Machine& machine = session.Machine();
  winsim::FileSystem& files = machine.files;
  const std::u16string manager = u"System\\CurrentControlSet\\Control\\Session Manager";
  for (const char16_t* const name :
       {u"C:\\t\\a", u"C:\\t\\b", u"C:\\t\\c", u"C:\\t\\d", u"C:\\t\\e", u"C:\\t\\ro"}) {
    files.WriteFile(name, winsim::ToUtf8(name).substr(5));
  }
  files.MakeFolder(u"C:\\t\\empty");
  session.Process().currentDirectory = u"C:\\t";
  static const struct {
    const wchar_t *source, *target;
    DWORD flags;
  } operations[] = {
      {L"a", nullptr, 4},    {L"none", nullptr, 4},  {L"b", L"c", 4},     {L"c", L"d", 5},
      {L"e", L"c", 4},       {L"empty", nullptr, 4}, {L"ro", nullptr, 4}, {L"\\\\?\\C:\\t\\c", nullptr, 4},
      {L"C:\\t", nullptr, 4}};
  for (const auto& operation : operations) {
    CHECK(MoveError(operation.source, operation.target, operation.flags) == Untouched);
  }
  CHECK(files.Exists(u"C:\\t\\a"));
  files.Find(u"C:\\t\\ro")->attributes = FILE_ATTRIBUTE_READONLY;
  files.RunPendingOperations();
  CHECK(Listing(files, u"C:\\t") == "C:\\t\\b C:\\t\\d C:\\t\\ro");
  CHECK(Text(files.Read(u"C:\\t\\d")) == "c");
  CHECK(machine.registry.GetValue(manager, u"PendingFileRenameOperations") == nullptr);
}

TEST_CASE("entries for the next start that other programs wrote are understood or skipped") {
  MachineSession session;
  winsim::Machine& machine = session.Machine();
  const auto run = [&](std::string_view texts) {
    machine.files.WriteFile(u"C:\\t\\f", "");
    winsim::Bytes data;
    for (const char unit : texts) {
      data.push_back(static_cast<std::uint8_t>(unit == '|' ? 0 : unit));
      data.push_back(0);
    }
    machine.registry.SetBinary(u"System\\CurrentControlSet\\Control\\Session Manager",
                               u"PendingFileRenameOperations", data);
    machine.files.RunPendingOperations();
    return Listing(machine.files, u"C:\\t");
  };
  CHECK(run("*1\\??\\C:\\t\\f|||") == "");
  CHECK(run("\\??\\C:\\t\\f||") == "");
  CHECK(run("\\??\\C:\\t\\f|") == "C:\\t\\f");
  CHECK(run("C:\\t\\f|||") == "C:\\t\\f");
  CHECK(run("|||") == "C:\\t\\f");
  CHECK(run("\\??\\|| \\??\\C:\\||\\??\\C:\\t\\f|C:\\t\\g||") == "C:\\t\\f");
}
