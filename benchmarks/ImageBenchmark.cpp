// The whole check of a signed 16 MB image beside OpenSSL's digest of as many bytes, in one run. The image is
// a driver's as linkers make them: code, constants and an address to relocate in every 64 bytes of constants.

#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <cstdlib>
#include <optional>

#include "BenchmarkSession.h"
#include "imagesigning/PeContainer.h"
#include "imagesigning/PeSignatureRawReader.h"
#include "imagesigning/PeStream.h"
#include "imagesigning/PeValidator.h"
#include "support/ImageBuilder.h"
#include "support/ImageSigner.h"
#include "system/WindowsApi.h"

namespace {

using namespace DriverManagement::ImageSigning1;
using LCommon::System::File;
using LCommon::System::FileMapping;
using LCommon::System::FileMappingView;
using Bytes = std::vector<unsigned char>;

constexpr std::uint32_t CodeSize = 14 << 20, ConstantsSize = 2 << 20;

ImageDescription LargeDriver() {
  Bytes code(CodeSize), constants(ConstantsSize);
  unsigned int seed = 1;
  for (Bytes* const part : {&code, &constants}) {
    for (unsigned char& byte : *part) {
      seed = seed * 1664525 + 1013904223;
      byte = static_cast<unsigned char>(seed >> 24);
    }
  }
  ImageDescription description;
  description.sections = {{.name = ".text", .data = code},
                          {.name = ".rdata", .data = constants, .characteristics = ReadOnlySection},
                          {.name = ".reloc", .data = {}, .characteristics = ReadOnlySection}};
  for (std::uint32_t offset = 0; offset < ConstantsSize; offset += 64) {
    description.relocations.push_back({0x1000 + CodeSize + offset, true});
  }
  description.relocationSection = 2;
  description.signatureSection = true;
  return description;
}

/// The image's file on a machine. Ends the process when it is not signed as it should be.
class ImageSession : public BenchmarkSession {
 public:
  ImageSession() {
    Bytes image = BuildImage(LargeDriver());
    SignImage(image);
    Machine().files.WriteFile(u"C:\\driver.sys", image);
    if (!PeValidator(Path).IsValid()) std::abort();
  }

  static constexpr const wchar_t* Path = L"C:\\driver.sys";

  static LPtrRef<FileMappingView> Map() {
    const auto file = LMakeRef<File>(Path, File::accessRead, FILE_SHARE_READ, 0u, OPEN_EXISTING);
    return LMakeRef<FileMappingView>(LMakeRef<FileMapping>(file, FileMapping::accessRead, 0u),
                                     FileMappingView::accessRead, 0u, 0u);
  }
};

void CountBytes(benchmark::State& state, std::size_t bytes) {
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes));
}

/// All that the program does, with what opening and mapping the file costs on the simulated machine.
void Check_File(benchmark::State& state) {
  ImageSession session;
  for (auto _ : state) {
    benchmark::DoNotOptimize(PeValidator(ImageSession::Path).IsValid());
  }
  CountBytes(state, CodeSize + ConstantsSize);
}
BENCHMARK(Check_File)->Unit(benchmark::kMillisecond);

/// The same of a file that is mapped already.
void Check_MappedFile(benchmark::State& state) {
  ImageSession session;
  const auto view = ImageSession::Map();
  for (auto _ : state) {
    const PeSignatureRawReader reader(view);
    benchmark::DoNotOptimize(PeSignatureValidator(view, reader.GetSignature()).IsValid());
  }
  CountBytes(state, CodeSize + ConstantsSize);
}
BENCHMARK(Check_MappedFile)->Unit(benchmark::kMillisecond);

/// Without the digest: the image in memory, and its stream read to the end.
void Check_ImageAndStream(benchmark::State& state) {
  ImageSession session;
  const auto view = ImageSession::Map();
  for (auto _ : state) {
    const LBuffer image = PeContainer(view).GetImage();
    PeStream stream(image.Data(), image.Size());
    const void* data = nullptr;
    unsigned int size = 0;
    while (stream.Get(data, size)) {
      benchmark::DoNotOptimize(data);
    }
  }
  CountBytes(state, CodeSize + ConstantsSize);
}
BENCHMARK(Check_ImageAndStream)->Unit(benchmark::kMillisecond);

/// Of as many bytes as the image's stream has.
void Check_OpenSslDigest(benchmark::State& state) {
  ImageSession session;
  const LBuffer image = PeContainer(ImageSession::Map()).GetImage();
  unsigned char digest[64];
  for (auto _ : state) {
    EVP_Digest(image.Data(), image.Size(), digest, nullptr, EVP_sha512(), nullptr);
    benchmark::DoNotOptimize(digest);
  }
  CountBytes(state, CodeSize + ConstantsSize);
}
BENCHMARK(Check_OpenSslDigest)->Unit(benchmark::kMillisecond);

}  // namespace
