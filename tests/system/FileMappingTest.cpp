#include "system/FileMapping.h"

#include <doctest/doctest.h>

#include <string>

#include "support/FailedCondition.h"
#include "system/ErrorCases.h"

namespace {

using namespace LCommon::System;

LPtrRef<File> OpenFile() {
  return LMakeRef<File>(L"C:\\test.bin", File::accessRead, FILE_SHARE_READ, 0u, OPEN_EXISTING);
}

std::string Content(LPtrRef<FileMapping> mapping, std::uint64_t offset, unsigned int size) {
  const FileMappingView view(mapping, FileMappingView::accessRead, offset, size);
  return {static_cast<const char*>(view.GetBase()),
          size == 0 ? 0x10010 - static_cast<unsigned int>(offset) : size};
}

}  // namespace

TEST_CASE("a view shows the file's bytes from its offset on, and each keeps the file open") {
  SystemSession session;
  const std::string content = std::string(0x10000, 'a') + "sixteen bytes...";
  session.Machine().files.WriteFile(u"C:\\test.bin", content);
  LPtrRef<File> file = OpenFile();
  LPtrRef<FileMapping> mapping = LMakeRef<FileMapping>(file, FileMapping::accessRead, 0u);
  CHECK((Content(mapping, 0, 0) == content));
  CHECK(Content(mapping, 0x10000, 0) == "sixteen bytes...");
  CHECK(Content(mapping, 0x10000, 7) == "sixteen");

  const auto canWrite = [] {
    return Thrown([] { File(L"C:\\test.bin", File::accessReadWrite, 0, 0, OPEN_EXISTING); }) == "nothing";
  };
  LPtrRef<FileMappingView> view =
      LMakeRef<FileMappingView>(mapping, FileMappingView::accessRead, std::uint64_t{0}, 0u);
  CHECK(view->GetMapping().Get() == mapping.Get());
  CHECK(mapping->GetFile().Get() == file.Get());
  file = nullptr;
  mapping = nullptr;
  CHECK_FALSE(canWrite());
  mapping = view->GetMapping();
  view = nullptr;
  CHECK_FALSE(canWrite());
  file = mapping->GetFile();
  mapping = nullptr;
  CHECK_FALSE(canWrite());
  file = nullptr;
  CHECK(canWrite());
}

TEST_CASE("accesses, sizes and offsets reach the platform as its numbers, and no other number is an access") {
  SystemSession session;
  session.Machine().files.WriteFile(u"C:\\test.bin", "abc");
  const LPtrRef<File> file = OpenFile();
  const LPtrRef<FileMapping> mapping = LMakeRef<FileMapping>(file, FileMapping::accessRead, 0u);
  winsim::Gate& gate = session.Machine().gate;
  const struct {
    File::AccessType fileAccess;
    std::string protection, viewAccess;
  } cases[] = {{File::accessRead, "2", "4"},
               {File::accessReadWrite, "4", "2"},
               {File::accessReadWrite, "8", "1"},
               {File::accessReadExecute, "0x20", "0x20"},
               {File::accessReadWriteExecute, "0x40", "0x20"}};
  for (unsigned int number = 0; number < 5; ++number) {
    CAPTURE(number);
    const auto access = static_cast<FileMapping::AccessType>(number);
    const auto viewAccess = static_cast<FileMappingView::AccessType>(number);
    CHECK(FileMapping::ToFileAccess(access) == cases[number].fileAccess);
    CHECK(FileMappingView::ToMappingAccess(viewAccess) == number);
    gate.StartTrace();
    gate.FailFunction("CreateFileMappingW", 8);
    Thrown([&] { FileMapping(file, access, 0x200000003); });
    CHECK(TraceText(session, "CreateFileMappingW") ==
          "CreateFileMappingW(file C:\\test.bin, " + cases[number].protection + ", 2, 3, null) = 8\n");
    gate.FailFunction("MapViewOfFile", 8);
    Thrown([&] { FileMappingView(mapping, viewAccess, 0x400000005, 6); });
    CHECK(TraceText(session, "MapViewOfFile") ==
          "MapViewOfFile(mapping of C:\\test.bin, " + cases[number].viewAccess + ", 4, 5, 6) = 8\n");
  }
  constexpr auto noAccess = static_cast<FileMapping::AccessType>(5);
  constexpr auto noViewAccess = static_cast<FileMappingView::AccessType>(5);
  for (const auto& failed : {FailedCondition([&] { FileMapping::ToFileAccess(noAccess); }),
                             FailedCondition([&] { FileMappingView::ToMappingAccess(noViewAccess); }),
                             FailedCondition([&] { FileMapping(file, noAccess, 0); }),
                             FailedCondition([&] { FileMappingView(mapping, noViewAccess, 0, 0); })}) {
    CHECK(failed == "Unreachable point");
  }
}
