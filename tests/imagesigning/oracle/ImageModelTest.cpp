#include "imagesigning/oracle/ImageModel.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <random>

#include "imagesigning/Cases.h"
#include "imagesigning/ImageFile.h"
#include "imagesigning/PeImage.h"
#include "imagesigning/PeStream.h"
#include "support/ImageSigner.h"
#include "support/SystemSession.h"

namespace {

using namespace DriverManagement::ImageSigning1;

struct Random {
  std::mt19937 engine;

  std::uint32_t Below(std::size_t end) { return static_cast<std::uint32_t>(engine() % end); }
  bool OneIn(std::uint32_t count) { return Below(count) == 0; }
};

/// The heap of a machine on which no block of 32 MB or more is to be had: what images declare can be larger.
class SmallHeap : public TestHeap {
 public:
  void* Allocate(unsigned int size) override { return size < 0x2000000 ? TestHeap::Allocate(size) : nullptr; }
};

// The stream's bytes, "refused" or "too large".
std::string ProductStream(const FileBytes& image) {
  PeStream stream(image.data(), static_cast<unsigned int>(image.size()));
  std::string result;
  const void* data = nullptr;
  try {
    for (unsigned int size = 0; stream.Get(data, size);) {
      result.append(static_cast<const char*>(data), size);
    }
  } catch (const InvalidImageException&) {
    return "refused";
  }
  return result;
}

std::string ProductOutcome(const FileBytes& file) {
  try {
    const LBuffer image = BuildImage(View(file));
    return ProductStream(FileBytes(image.Data(), image.Data() + image.Size()));
  } catch (const PeRefusal&) {
    return "refused";
  } catch (const std::bad_alloc&) {
    return "too large";
  }
}

template <class Read>
std::string ModelOutcome(Read read) {
  try {
    const FileBytes stream = read();
    return {stream.begin(), stream.end()};
  } catch (const model::Refused&) {
    return "refused";
  } catch (const model::TooLarge&) {
    return "too large";
  }
}

/// Files and images in memory on which product and model agree.
struct Agreement {
  unsigned int accepted = 0, refused = 0;

  void CheckFile(const FileBytes& file) {
    const FileBytes exact(file);  // a block of its size: the sanitizers see what is read behind it
    Check(ProductOutcome(exact), ModelOutcome([&] { return model::Stream(model::Load(file)); }));
  }
  void CheckImage(const FileBytes& image) {
    Check(ProductStream(image), ModelOutcome([&] { return model::Stream(image); }));
  }
  void Check(const std::string& product, const std::string& expected) {
    CHECK(product == expected);
    ++(expected == "refused" ? refused : accepted);
  }
};

// With many zeros in a row, so that thunk arrays end.
FileBytes RandomData(Random& random, std::size_t size) {
  FileBytes data;
  while (data.size() < size) {
    const auto value = static_cast<unsigned char>(random.OneIn(2) ? 0 : random.Below(256));
    data.insert(data.end(), 1 + random.Below(40), value);
  }
  data.resize(size);
  return data;
}

FileBytes RandomImage(Random& random) {
  static const char* const names[] = {".text", ".data", ".kvsign1", ".kvsign", ".kvsig", ""};
  static const std::uint32_t kinds[] = {CodeSection,     CodeSection,     ReadOnlySection,
                                        ReadOnlySection, WritableSection, DiscardableSection};
  ImageDescription image;
  image.plus = random.OneIn(2);
  image.sectionAlignment = 0x200u << random.Below(4);
  image.fileAlignment = std::min(image.sectionAlignment, 0x200u << random.Below(3));
  image.directoryCount = random.OneIn(8) ? random.Below(18) : 16;
  if (random.OneIn(2)) image.version.reset();
  image.signatureSection = random.OneIn(3);
  image.sections.resize(1 + random.Below(5));
  for (ImageSection& section : image.sections) {
    section = {names[random.Below(std::size(names))], RandomData(random, random.Below(0x600)),
               kinds[random.Below(std::size(kinds))]};
    if (random.OneIn(3)) section.virtualSize = random.Below(section.data.size() + 0x600);
  }
  image.sections.push_back({".reloc", {}, random.OneIn(20) ? DiscardableSection : ReadOnlySection});
  if (image.directoryCount < 6) {
    image.version.reset();
    return BuildImage(image);
  }
  for (std::uint32_t count = random.Below(4); count > 0; --count) {
    image.imports.push_back({"a.dll", std::vector<std::string>(random.Below(4), "f")});
  }
  image.importSection = random.Below(image.sections.size() - 1);
  image.thunkSection = random.Below(image.sections.size() - 1);
  FileBytes file = BuildImage(image);
  const std::uint32_t size = static_cast<std::uint32_t>(GetNumber(file, ImageOptionalHeader + 56, 4));
  std::uint32_t stray = 0;  // a target behind a section's data or close to its end
  for (std::uint32_t target = random.Below(size / 2); target < size; target += 8 + random.Below(0x300)) {
    for (std::size_t index = 0; index < image.sections.size(); ++index) {
      const std::uint32_t header = ImageSectionHeader(file, index);
      const std::uint64_t offset = target - GetNumber(file, header + 12, 4);
      const std::uint64_t virtualSize = GetNumber(file, header + 8, 4);
      const std::uint64_t rawSize = GetNumber(file, header + 16, 4);
      if (offset >= virtualSize + image.sectionAlignment) continue;
      if (offset >= virtualSize || offset >= rawSize) {
        if (stray != 0 || offset % image.sectionAlignment == 0 || !random.OneIn(10)) continue;
        if (random.OneIn(2)) target |= image.sectionAlignment - 1;
        stray = target;
      }
      image.relocations.push_back({target, image.plus && random.OneIn(2)});
      break;
    }
  }
  image.relocationSection = image.sections.size() - 1;
  file = BuildImage(image);

  // Thunk arrays anywhere, in place of some of the tidy ones.
  const std::uint64_t place = GetNumber(file, ImageSectionHeader(file, image.importSection) + 20, 4);
  const std::uint64_t address = GetNumber(file, ImageSectionHeader(file, image.importSection) + 12, 4);
  for (std::size_t index = 0; index < image.imports.size(); ++index) {
    const std::uint64_t field =
        GetNumber(file, ImageDirectory(file, 1), 4) - address + place + 20 * index + 16;
    if (!random.OneIn(2)) continue;
    const bool atStray = stray != 0 && random.OneIn(2);
    PutNumber(file, field, 4, atStray ? stray - random.Below(10) : random.OneIn(5) ? 0 : random.Below(size));
  }
  return file;
}

void Mutate(Random& random, FileBytes& bytes) {
  for (std::uint32_t count = 1 + random.Below(3); count > 0; --count) {
    const std::size_t width = 1u << random.Below(3);
    const std::size_t offset =
        random.Below((random.OneIn(3) ? bytes.size() : std::min<std::size_t>(bytes.size(), 0x280)) - 4);
    const std::uint64_t old = GetNumber(bytes, offset, width);
    const std::uint64_t bit = 1ull << random.Below(32), anywhere = random.Below(2 * bytes.size());
    const std::uint64_t numbers[] = {0, ~0ull, old ^ bit, old + 0x200, old - 0x200, old + 1, anywhere};
    PutNumber(bytes, offset, width, numbers[random.Below(std::size(numbers))]);
  }
  if (random.OneIn(20)) bytes.resize(bytes.size() / 2 + random.Below(bytes.size()));
}

// A linker's image; signatures demand that its sections stay in memory.
FileBytes LinkedImage(const char* name) {
  std::ifstream stream(std::string(SOURCE_ROOT "/tests/images/") + name, std::ios::binary);
  FileBytes file{std::istreambuf_iterator<char>(stream), {}};
  const std::size_t peHeader = GetNumber(file, 60, 4);
  const std::size_t table = peHeader + 24 + GetNumber(file, peHeader + 20, 2);
  for (std::size_t index = 0; index < GetNumber(file, peHeader + 6, 2); ++index) {
    file.at(table + 40 * index + 39) &= 0xFD;
  }
  return file;
}

constexpr const char* LinkedImages[] = {"driver32.sys", "driver64.sys", "library32.dll", "library64.dll"};

}  // namespace

TEST_CASE("images have the model's stream, and with random damage the model's answer") {
  const SmallHeap heap;
  Agreement whole, damaged, damagedInMemory;
  const auto examine = [&](Random random, FileBytes file) {
    whole.CheckFile(file);
    try {
      FileBytes image = model::Load(file);
      Mutate(random, image);
      damagedInMemory.CheckImage(image);
    } catch (const model::Refused&) {
    }
    Mutate(random, file);
    damaged.CheckFile(file);
  };
  for (std::uint32_t seed = 1; seed <= 2000; ++seed) {
    CAPTURE(seed);
    Random random{std::mt19937(seed)};
    const FileBytes file = RandomImage(random);
    examine(random, file);
  }
  CHECK(whole.accepted > 800);
  CHECK(whole.refused > 120);
  for (const char* const name : LinkedImages) {
    CAPTURE(name);
    const FileBytes file = LinkedImage(name);
    CHECK(ProductOutcome(file) != "refused");
    for (std::uint32_t seed = 1; seed <= 300; ++seed) {
      CAPTURE(seed);
      examine({std::mt19937(seed)}, file);
    }
  }
  for (const unsigned int count :
       {damaged.accepted, damaged.refused, damagedInMemory.accepted, damagedInMemory.refused}) {
    CHECK(count > 500);
  }
}

TEST_CASE("no part of an image passes for one") {
  const SmallHeap heap;
  Agreement parts;
  std::vector<FileBytes> files = {BuildImage(SampleDriver(true)), BuildImage(SampleDriver(false))};
  for (const char* const name : LinkedImages)
    files.push_back(LinkedImage(name));
  for (const FileBytes& file : files) {
    for (std::size_t size = 0; size < file.size(); ++size) {
      CAPTURE(size);
      parts.CheckFile({file.data(), file.data() + size});
    }
  }
  CHECK(parts.accepted == 0);
}

TEST_CASE("whichever byte of a signed image changes, the answer is the model's") {
  SystemSession session;
  Random random{std::mt19937(1)};
  for (const bool plus : {true, false}) {
    CAPTURE(plus);
    FileBytes file = BuildImage(SampleDriver(plus));
    SignImage(file);
    const std::uint32_t lastSize = ImageSectionHeader(file, 5) + 8;  // an image of 16 MB is enough
    unsigned int valid = 0;
    for (std::size_t offset = 0; offset < file.size(); ++offset) {
      CAPTURE(offset);
      const auto change = static_cast<unsigned char>(offset == lastSize + 3 ? 1 : 1 + random.Below(255));
      file[offset] ^= change;
      const std::string answer = model::Validity(file);
      CHECK(Validity(file) == answer);
      valid += answer == "valid" ? 1 : 0;
      file[offset] ^= change;
    }
    CHECK(Validity(file) == "valid");
    CHECK(valid > 500);
  }
}
