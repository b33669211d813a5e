#include <doctest/doctest.h>

#include "support/SystemSession.h"
#include "support/TestFile.h"
#include "support/Throws.h"

using namespace LCommon::System;

TEST_CASE("the file is closed when the last of its file object, mapping and view goes") {
  SystemSession session;
  const TestFile file;
  file.Write(std::string("abcd"));
  const auto canWrite = [&] {
    return Thrown([&] { File(file.name, File::accessReadWrite, 0, 0, OPEN_EXISTING); }) == "nothing";
  };
  LPtrRef<FileMappingView> view = file.View();
  LPtrRef<FileMapping> mapping = view->GetMapping();
  LPtrRef<File> opened = mapping->GetFile();
  view = nullptr;
  CHECK_FALSE(canWrite());
  opened = nullptr;
  CHECK_FALSE(canWrite());
  mapping = nullptr;
  CHECK(canWrite());
}
