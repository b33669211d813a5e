#include <doctest/doctest.h>

#include <cstring>
#include <string>

#include "support/SystemSession.h"
#include "support/TestFile.h"
#include "support/Throws.h"

namespace {

using namespace LCommon::System;

/// A file with `content` and its mappings.
struct MappedFile : TestFile {
  explicit MappedFile(const std::string& content) { Write(content); }

  LPtrRef<FileMapping> Map(FileMapping::AccessType access) const {
    const File::AccessType fileAccess = FileMapping::ToFileAccess(access);
    return LMakeRef<FileMapping>(LMakeRef<File>(name, fileAccess, File::TypicalShare(fileAccess),
                                                FILE_ATTRIBUTE_NORMAL, OPEN_EXISTING),
                                 access, 0u);
  }
  LPtrRef<FileMappingView> View(FileMappingView::AccessType access, std::uint64_t offset = 0,
                                unsigned int size = 0) const {
    return LMakeRef<FileMappingView>(Map(FileMappingView::ToMappingAccess(access)), access, offset, size);
  }
};

std::string Content(LPtrRef<FileMappingView> view, std::size_t size) {
  return {static_cast<const char*>(view->GetBase()), size};
}

}  // namespace

TEST_CASE("a view shows the file's bytes from its offset on") {
  SystemSession session;
  std::string content(0x10010, 'a');
  content.replace(0x10000, 16, "sixteen bytes...");
  const MappedFile file(content);
  const LPtrRef<FileMappingView> whole = file.View(FileMappingView::accessRead);
  CHECK((Content(whole, content.size()) == content));
  CHECK(whole->GetMapping()->GetFile()->GetSize() == content.size());
  CHECK(Content(file.View(FileMappingView::accessRead, 0x10000), 16) == "sixteen bytes...");
  CHECK(Content(file.View(FileMappingView::accessRead, 0x10000, 7), 7) == "sixteen");
}

TEST_CASE("what is written to a view reaches the file unless the view is a copy") {
  SystemSession session;
  const MappedFile file("abcd");
  std::memcpy(file.View(FileMappingView::accessCopy)->GetBase(), "XY", 2);
  CHECK(Content(file.View(FileMappingView::accessRead), 4) == "abcd");
  std::memcpy(file.View(FileMappingView::accessWrite)->GetBase(), "XY", 2);
  CHECK(Content(file.View(FileMappingView::accessRead), 4) == "XYcd");
}

TEST_CASE("the file is closed when the last of its file object, mapping and view goes") {
  SystemSession session;
  const MappedFile file("abcd");
  const auto canWrite = [&] {
    return Thrown([&] { File(file.name, File::accessReadWrite, 0, 0, OPEN_EXISTING); }) == "nothing";
  };
  LPtrRef<FileMappingView> view = file.View(FileMappingView::accessRead);
  LPtrRef<FileMapping> mapping = view->GetMapping();
  LPtrRef<File> opened = mapping->GetFile();
  view = nullptr;
  CHECK_FALSE(canWrite());
  opened = nullptr;
  CHECK_FALSE(canWrite());
  mapping = nullptr;
  CHECK(canWrite());
}

TEST_CASE("a mapping or view that the platform refuses carries its error") {
  SystemSession session;
  {
    const MappedFile empty("");
    CHECK(Thrown([&] { empty.Map(FileMapping::accessRead); }) == Exactly<FileMapping::Exception>(1006));
  }
  const MappedFile file("abcd");
  CHECK(Thrown([&] { file.View(FileMappingView::accessRead, 1); }) ==
        Exactly<FileMappingView::Exception>(1132));
  const LPtrRef<FileMapping> readOnly = file.Map(FileMapping::accessRead);
  CHECK(Thrown([&] { FileMappingView(readOnly, FileMappingView::accessWrite, 0, 0); }) ==
        Exactly<FileMappingView::Exception>(5));
}
