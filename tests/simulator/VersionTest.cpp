#include <doctest/doctest.h>

#include <cstring>
#include <memory>

#include "machine/VersionResource.h"
#include "simulator/LastError.h"
#include "support/ImageBuilder.h"
#include "support/MachineSession.h"

namespace {

std::vector<unsigned char> Image(bool plus, std::optional<ImageVersion> version = ImageVersion{
                                                0x0001'0002'0003'0004, VS_FF_PRIVATEBUILD}) {
  ImageDescription description;
  description.plus = plus;
  description.machine = plus ? IMAGE_FILE_MACHINE_AMD64 : IMAGE_FILE_MACHINE_I386;
  description.version = version;
  return BuildImage(description);
}

DWORD SizeError(const char* name) {
  return FailureOf([&] { return GetFileVersionInfoSizeA(name, nullptr); });
}

/// Where the version type's number stands in the image's resource directory.
std::size_t TypeEntry(const std::vector<unsigned char>& image, std::size_t resources) {
  std::size_t entry = resources + 16;
  while (image[entry] != 16) {
    entry += 8;
  }
  return entry;
}

std::size_t ResourceSection(const std::vector<unsigned char>& image) {
  const std::string_view bytes(reinterpret_cast<const char*>(image.data()), image.size());
  const std::size_t header = bytes.find(".rsrc");
  std::uint32_t raw = 0;
  std::memcpy(&raw, image.data() + header + 20, 4);
  return raw;
}

}  // namespace

TEST_CASE("the fixed part of a file's version is found through the 8-bit functions") {
  for (const bool plus : {true, false}) {
    CAPTURE(plus);
    MachineSession session;
    session.Machine().files.WriteFile(u"C:\\d.sys", Image(plus));
    const auto driver = session.Machine().files.UseImage(u"C:\\d.sys");
    DWORD handle = 7;
    const DWORD size = GetFileVersionInfoSizeA("C:\\d.sys", &handle);
    REQUIRE(size > sizeof(VS_FIXEDFILEINFO));
    CHECK(handle == 0);
    const auto block = std::make_unique<BYTE[]>(size);
    CHECK(ErrorOf([&] { CHECK(GetFileVersionInfoA("C:\\d.sys", 0, size, block.get()) == TRUE); }) ==
          Untouched);
    for (const char* const root : {"\\", "", static_cast<const char*>(nullptr)}) {
      void* value = nullptr;
      UINT length = 0;
      REQUIRE(VerQueryValueA(block.get(), root, &value, &length) == TRUE);
      CHECK(length == sizeof(VS_FIXEDFILEINFO));
      VS_FIXEDFILEINFO fixed;
      std::memcpy(&fixed, value, sizeof fixed);
      CHECK((fixed.dwSignature == 0xFEEF04BD && fixed.dwFileVersionMS == 0x0001'0002 &&
             fixed.dwFileVersionLS == 0x0003'0004 && fixed.dwFileFlags == VS_FF_PRIVATEBUILD));
    }
    void* value = nullptr;
    UINT length = 0;
    // Of a block cut short the fixed part is there once it is there as a whole.
    for (DWORD part = 0; part <= size; ++part) {
      const auto cut = std::make_unique<BYTE[]>(part);
      CAPTURE(part);
      CHECK(ErrorOf([&] { GetFileVersionInfoA("C:\\d.sys", 0, part, cut.get()); }) ==
            (part < 2 ? ERROR_INSUFFICIENT_BUFFER : Untouched));
      if (part >= 2) {
        CHECK((VerQueryValueA(cut.get(), "\\", &value, &length) == TRUE) ==
              (part >= 40 + sizeof(VS_FIXEDFILEINFO)));
      }
    }
  }
}

TEST_CASE("files without a version say what is missing") {
  MachineSession session;
  winsim::FileSystem& files = session.Machine().files;
  const auto image = Image(true);
  const std::size_t resources = ResourceSection(image);
  const auto changed = [&](std::size_t offset, unsigned char byte) {
    auto copy = image;
    copy[offset] = byte;
    return copy;
  };
  files.WriteFile(u"C:\\none.sys", Image(true, std::nullopt));
  files.WriteFile(u"C:\\othertype.sys", changed(TypeEntry(image, resources), 24));
  files.WriteFile(u"C:\\empty.sys", "");
  files.WriteFile(u"C:\\text.sys", "some text, longer than the header of an image has to be to be looked at");
  files.WriteFile(u"C:\\nope.sys", changed(ImagePeOffset, 'N'));
  files.WriteFile(u"C:\\open.sys", image);
  files.MakeFolder(u"C:\\dir");
  const HANDLE open = CreateFileA("C:\\open.sys", GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  static const struct {
    const char* name;
    DWORD error;
  } cases[] = {{"C:\\none.sys", 1812}, {"C:\\othertype.sys", 1813}, {"C:\\empty.sys", 1006},
               {"C:\\text.sys", 193},  {"C:\\nope.sys", 193},       {"C:\\open.sys", 32},
               {"C:\\dir", 5},         {"C:\\missing.sys", 2},      {"C:\\no\\x.sys", 2},
               {nullptr, 87}};
  for (const auto& test : cases) {
    CAPTURE(test.error);
    CHECK(SizeError(test.name) == test.error);
    BYTE block[4];
    CHECK(FailureOf([&] { return GetFileVersionInfoA(test.name, 0, sizeof block, block); }) == test.error);
  }
  CHECK(CloseHandle(open) == TRUE);
}

TEST_CASE("no cut or damage leads beyond the image") {
  const auto image = Image(false);
  const std::size_t whole = ResourceSection(image);
  // The headers and the resources, byte by byte; a heap block of exactly that size shows a read behind it.
  const auto examine = [](const std::vector<unsigned char>& bytes) {
    const auto exact = std::make_unique<unsigned char[]>(bytes.size());
    std::copy(bytes.begin(), bytes.end(), exact.get());
    std::span<const std::uint8_t> resource;
    const std::uint32_t error = winsim::FindVersionResource({exact.get(), bytes.size()}, resource);
    const bool inside = resource.empty() || (resource.data() >= exact.get() &&
                                             resource.data() + resource.size() <= exact.get() + bytes.size());
    CHECK((error == 0) == !resource.empty());
    CHECK(inside);
    return error;
  };
  REQUIRE(examine(image) == 0);
  unsigned int complete = 0;
  for (std::size_t size = 0; size < image.size(); ++size) {
    complete += examine({image.begin(), image.begin() + static_cast<std::ptrdiff_t>(size)}) == 0 ? 1 : 0;
  }
  // What is cut of the file's last block of 512 bytes is padding.
  CHECK(complete < 512);
  unsigned int refused = 0;
  for (std::size_t i = 0; i < image.size(); ++i) {
    const bool isRead = i < 0x200 || i >= whole;
    for (const int byte : {0x00, 0x7F, 0x80, 0xFF}) {
      auto damaged = image;
      damaged[i] = static_cast<unsigned char>(byte);
      refused += isRead && examine(damaged) != 0 ? 1 : 0;
    }
  }
  CHECK(refused > 100);
}
