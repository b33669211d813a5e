#include "imagesigning/PeValidator.h"

#include "imagesigning/Cases.h"
#include "imagesigning/ImageFile.h"
#include "imagesigning/PeSignatureRawReader.h"
#include "support/ImageSigner.h"
#include "support/SystemSession.h"
#include "support/Throws.h"

using namespace DriverManagement::ImageSigning1;

TEST_CASE("the signature is the first 128 bytes of the first section that is one for signatures") {
  SystemSession session;
  ImageDescription description;
  description.version.reset();
  description.sections.assign(96, {".kvsign1", {}, ReadOnlySection});
  for (std::size_t index = 0; index < description.sections.size(); ++index) {
    description.sections[index].data.assign(0x180, static_cast<unsigned char>('A' + index));
  }
  const FileBytes sample = BuildImage(description);
  const std::size_t first = 328, second = 368, size = sample.size();
  const std::uint64_t toEnd = size - GetNumber(sample, first + 20, 4);
  const std::vector<EditCase<std::string>> cases = {
      {"A",
       {{}, {{first + 8, 4, 128}, {first + 16, 4, 128}, {first + 39, 1, 0xC0}}, {{first + 16, 4, toEnd}}}},
      {"A", {{{88, 2, 0}, {120, 8, 0}, {196, 4, 17}}, {{70, 2, 97}}}},  // rules of the image alone
      // discardable, other names (also far outside the file), too small in memory, in the file
      {"B",
       {{{first + 39, 1, 0x42}},
        {{first + 6, 1, 'N'}},
        {{first + 7, 1, 0}},
        {{first + 7, 1, '2'}, {first + 20, 4, ~0u}}}},
      {"B", {{{first + 8, 4, 127}}, {{first + 16, 4, 0x7F}}}},
      {"C", {{{first + 16, 4, 0x7F}, {first + 20, 4, size}, {second + 8, 4, 0}}}},
      {"not found", {{{70, 2, 1}, {first, 1, 'k'}}}},
      // data beyond the end, beyond 4 GB
      {"invalid image",
       {{{first + 16, 4, toEnd + 1}}, {{first + 20, 4, size - 0x1FF}}, {{first + 20, 4, 0xFFFFFF00}}}},
      // headers that lead to no section table
      {"invalid image",
       {{{70, 2, 0xFFFF}}, {{70, 2, 0}}, {{84, 2, 0}}, {{70, 2, 1}, {84, 2, 0xFFFF}}, {{0, 1, 'N'}}}},
      {"invalid image", {{{first - 1}}, {{63}}}},
  };
  CheckEdits(sample, cases, [](const FileBytes& content) {
    const ImageFile file(content);
    return Outcome([&] {
      const LBuffer signature = PeSignatureRawReader(file.View()).GetSignature();
      CHECK((FileBytes(signature.Data(), signature.Data() + signature.Size()) ==
             FileBytes(128, *signature.Data())));
      return std::string(1, static_cast<char>(*signature.Data()));
    });
  });
}

TEST_CASE("a signed image is valid until something changes that the signature covers") {
  SystemSession session;
  FileBytes sample = BuildImage(SampleDriver(true));
  SignImage(sample);
  constexpr std::size_t text = 328, rdata = 368, signature = 528;  // the sections' headers
  const std::vector<EditCase<std::string>> cases = {
      // DOS stub, Machine, TimeDateStamp to NumberOfSymbols, Characteristics
      {"valid", {{}, {{2, 8, 1}, {68, 2, 0x14C}}, {{72, 4, 1}}, {{76, 8, ~0ull}}, {{86, 2, 0x2022}}}},
      // linker version to sizes, BaseOfCode and ImageBase, versions to CheckSum, Subsystem to LoaderFlags
      {"valid", {{{90, 6, ~0ull}, {96, 8, ~0ull}}, {{108, 4, 1}, {112, 8, 1}}, {{128, 8, 1}, {144, 4, 1}}}},
      {"valid", {{{152, 4, 1}}, {{156, 8, 1}, {192, 4, ~0u}}}},
      // header padding, .text's end, thunks, .data, INIT, what follows the signature
      {"valid", {{{568, 1, 1}, {0x3FF, 1, 1}}, {{0x5E0, 1, 1}}, {{0x7B0, 8, 1}}, {{0x800, 8, 1}}}},
      {"valid", {{{0xA00, 8, 1}}, {{0xE80, 8, 1}, {0xFFF, 1, 1}}}},
      // AddressOfEntryPoint, directories
      {"not valid", {{{104, 4, 0x404}}, {{200, 1, 1}}, {{212, 1, 61}}, {{224, 4, 1}}, {{327, 1, 1}}}},
      // section headers: name, sizes, relocations, line numbers, characteristics
      {"not valid", {{{text, 1, 'T'}}, {{text + 8, 1, 0xE1}}, {{rdata + 9, 1, 3}}, {{text + 24, 4, 1}}}},
      {"not valid", {{{text + 34, 2, 1}}, {{text + 36, 1, 0x21}}, {{signature + 39, 1, 0xC0}}}},
      // code, relocations' values, a lookup table, import names, relocation blocks, the signature
      {"not valid",
       {{{0x400, 1, 0xC2}}, {{0x410, 1, 1}}, {{0x417, 1, 1}}, {{0x6C0, 1, 1}}, {{0x6F2, 1, 'N'}}}},
      {"not valid", {{{0xC12, 2, 0}}, {{0xE00, 1, sample[0xE00] ^ 1u}}, {{0xE7F, 1, sample[0xE7F] ^ 0x80u}}}},
      {"not found", {{{signature, 1, 'k'}}}},
      {"invalid image", {{{text + 12, 4, 0x600}}, {{0xC08, 2, 0x1410}}, {{0xFFF}}}},
  };
  CheckEdits(sample, cases, Validity);
}

TEST_CASE("the file's own errors pass, and a signature of another size is the caller's") {
  using namespace LCommon::System;
  SystemSession session;
  const auto validate = [](LUnicodeString name) {
    return Thrown([&] { PeValidator(LUnicodeString(name)); });
  };
  {
    const ImageFile empty({});
    CHECK(validate(empty.name) == Exactly<FileMapping::Exception>(1006));
  }
  const ImageFile file(BuildImage(SampleDriver(true)));
  CHECK(validate(file.name + L"x") == Exactly<File::FileNotFoundException>(2));
  const auto shorter = [&] { PeSignatureValidator(file.View(), LBuffer("", 1)); };
  CHECK(Thrown(shorter) == "signature.Size() == SignatureSize");
}
