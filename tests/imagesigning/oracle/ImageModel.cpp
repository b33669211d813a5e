#include "imagesigning/oracle/ImageModel.h"

#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/sha.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <utility>

namespace model {

namespace {

using Number = std::uint64_t;

void Must(bool kept) {
  if (!kept) throw Refused{};
}

Number U(const Bytes& bytes, Number at, Number width) {
  Must(at + width <= bytes.size());
  Number number = 0;
  while (width-- > 0) {
    number = number * 256 + bytes[at + width];
  }
  return number;
}

Number RoundUp(Number number, Number unit) {
  return (number + unit - 1) / unit * unit;
}

struct Section {
  std::string name;
  Number virtualSize, address, rawSize, rawPlace, flags, extent;
  Number DataEnd() const { return address + std::min(virtualSize, rawSize); }
  bool Discardable() const { return flags & 0x02000000; }
  bool Excluded() const { return Discardable() || flags & 0x80000000 || name.starts_with(".kvsign"); }
};

// Of a file and of an image in memory.
struct Headers {
  Number fileHeader, directories, directoryCount, tableEnd, alignment, fileAlignment;
  bool plus;
  std::vector<Section> sections;

  explicit Headers(const Bytes& bytes) {
    Must(bytes.size() >= 64 && U(bytes, 0, 2) == 0x5A4D);
    const Number peOffset = U(bytes, 60, 4);
    Must(U(bytes, peOffset, 4) == 0x4550);
    fileHeader = peOffset + 4;
    const Number magic = U(bytes, fileHeader + 20, 2);
    Must(magic == 0x10B || magic == 0x20B);
    plus = magic == 0x20B;
    directories = fileHeader + 20 + (plus ? 112 : 96);
    directoryCount = U(bytes, directories - 4, 4);
    const Number table = directories + 8 * directoryCount;
    Must(U(bytes, fileHeader + 16, 2) == table - fileHeader - 20);
    const Number count = U(bytes, fileHeader + 2, 2);
    Must(count >= 1 && count <= 96);
    tableEnd = table + 40 * count;
    Must(tableEnd <= bytes.size());
    alignment = U(bytes, fileHeader + 52, 4);
    fileAlignment = U(bytes, fileHeader + 56, 4);
    const auto isAllowed = [](Number number) {
      const Number allowed[] = {0x200, 0x400, 0x800, 0x1000, 0x2000, 0x4000, 0x8000, 0x10000};
      return std::find(allowed, allowed + 8, number) != allowed + 8;
    };
    Must(isAllowed(alignment) && isAllowed(fileAlignment) && alignment >= fileAlignment);
    for (Number at = table; at < tableEnd; at += 40) {
      const Number virtualSize = U(bytes, at + 8, 4);
      sections.push_back({std::string(&bytes[at], &bytes[at] + 8), virtualSize, U(bytes, at + 12, 4),
                          U(bytes, at + 16, 4), U(bytes, at + 20, 4), U(bytes, at + 36, 4),
                          RoundUp(virtualSize, alignment)});
    }
  }
};

// Its first byte and the byte behind it; an unused directory is empty.
std::pair<Number, Number> FindDirectory(const Bytes& image, const Headers& headers, Number number) {
  if (headers.directoryCount <= number) return {0, 0};
  const Number begin = U(image, headers.directories + 8 * number, 4);
  const Number size = U(image, headers.directories + 8 * number + 4, 4);
  if (begin == 0 || size == 0) return {0, 0};
  Must(begin + size <= image.size());
  for (const Section& section : headers.sections) {
    const Number sectionEnd = section.address + section.extent;
    const bool overlap = (begin < section.address && begin + size > section.address) ||
                         (begin >= section.address && begin < sectionEnd);
    Must(!(overlap && section.Discardable()));
  }
  return {begin, begin + size};
}

// Applies `paint` to the first byte of each thunk array and the byte behind it.
template <class Paint>
void PaintThunkArrays(const Bytes& image, const Headers& headers, Paint paint) {
  const auto directory = FindDirectory(image, headers, 1);
  if (directory.second == 0) return;
  const Number width = headers.plus ? 8 : 4;
  for (Number at = directory.first;; at += 20) {
    Must(at + 20 <= directory.second);
    if (U(image, at, 4) == 0) return;
    const Number start = U(image, at + 16, 4) != 0 ? U(image, at + 16, 4) : U(image, at, 4);
    Number end = start;
    while (U(image, end, width) != 0) {
      end += width;
    }
    paint(start, end + width);
  }
}

void CheckRelocations(const Bytes& image, const Headers& headers, const std::vector<bool>& painted) {
  const auto directory = FindDirectory(image, headers, 5);
  Number lastEnd = 0;
  for (Number block = directory.first; block != directory.second;) {
    Must(block + 8 <= directory.second);
    const Number page = U(image, block, 4), size = U(image, block + 4, 4);
    Must(size >= 8 && size % 2 == 0 && block + size <= directory.second);
    for (Number at = block + 8; at < block + size; at += 2) {
      const Number type = U(image, at, 2) >> 12, target = page + (U(image, at, 2) & 0xFFF);
      if (type == 0) continue;
      Must(type == 3 || (type == 10 && headers.plus));
      const Number end = target + (type == 3 ? 4 : 8);
      Must(end <= image.size() && target >= lastEnd);
      lastEnd = end;
      if (painted[target]) continue;
      for (const Section& section : headers.sections) {
        if (target < section.address || target >= section.address + section.extent) continue;
        Must(end <= section.address + section.extent && target < section.DataEnd());
      }
    }
    block += size;
  }
}

// One of the development key's public numbers.
BIGNUM* KeyNumber(const char* name) {
  std::FILE* const file = std::fopen(SOURCE_ROOT "/tests/keys/development.pub.pem", "r");
  EVP_PKEY* const key = PEM_read_PUBKEY(file, nullptr, nullptr, nullptr);
  std::fclose(file);
  BIGNUM* number = nullptr;
  EVP_PKEY_get_bn_param(key, name, &number);
  EVP_PKEY_free(key);
  return number;
}

// s^e mod n, least significant byte first.
Bytes Recover(const unsigned char* signature) {
  static BIGNUM* const e = KeyNumber(OSSL_PKEY_PARAM_RSA_E);
  static BIGNUM* const n = KeyNumber(OSSL_PKEY_PARAM_RSA_N);
  static BN_CTX* const context = BN_CTX_new();
  BIGNUM* const number = BN_lebin2bn(signature, 128, nullptr);
  BN_mod_exp(number, number, e, n, context);
  Bytes block(128);
  BN_bn2lebinpad(number, block.data(), 128);
  BN_free(number);
  return block;
}

// The file offset of the signature.
std::optional<Number> FindSignature(const Bytes& file) {
  Must(file.size() >= 64 && U(file, 0, 2) == 0x5A4D);
  const Number fileHeader = U(file, 60, 4) + 4;
  Must(U(file, fileHeader - 4, 4) == 0x4550);
  const Number count = U(file, fileHeader + 2, 2), optionalSize = U(file, fileHeader + 16, 2);
  Must(count != 0 && optionalSize != 0);
  const Number table = fileHeader + 20 + optionalSize;
  Must(table + 40 * count <= file.size());
  for (Number at = table; at < table + 40 * count; at += 40) {
    if (std::string(&file[at], &file[at] + 8) != ".kvsign1" || U(file, at + 36, 4) & 0x02000000) continue;
    if (U(file, at + 8, 4) < 128 || U(file, at + 16, 4) < 128) continue;
    Must(U(file, at + 20, 4) + U(file, at + 16, 4) <= file.size());
    return U(file, at + 20, 4);
  }
  return std::nullopt;
}

}  // namespace

Bytes Load(const Bytes& file) {
  const Headers headers(file);
  Number headerSize = 0;
  for (const Section& section : headers.sections) {
    if (headerSize == 0) headerSize = section.rawPlace;
  }
  if (headerSize == 0) headerSize = headers.tableEnd;
  Must(headerSize >= headers.tableEnd);
  Number size = RoundUp(headerSize, headers.alignment);
  for (const Section& section : headers.sections) {
    Must(section.rawPlace % headers.fileAlignment == 0 && section.rawSize % headers.fileAlignment == 0);
    Must(section.rawPlace < file.size() && section.rawPlace + section.rawSize <= file.size());
    Must(section.extent >= section.rawSize && section.address == size);
    size += section.extent;
    Must(size <= 0xFFFFFFFF);
  }
  if (size >= 0x2000000) throw TooLarge{};
  Bytes image(size);
  std::copy_n(file.begin(), headerSize, image.begin());
  for (const Section& section : headers.sections) {
    std::copy_n(&file[section.rawPlace], section.rawSize,
                image.begin() + static_cast<std::ptrdiff_t>(section.address));
  }
  return image;
}

Bytes Stream(const Bytes& image) {
  const Headers headers(image);
  Must(headers.directoryCount <= 16);
  Number end = headers.sections[0].address;
  Must(end >= headers.tableEnd);
  for (const Section& section : headers.sections) {
    Must(section.address == end && end % headers.alignment == 0);
    Must(section.rawSize % headers.fileAlignment == 0 && section.rawSize <= section.extent);
    end += section.extent;
    Must(end <= image.size());
  }
  Bytes stream = image;
  std::vector<bool> painted(image.size());
  const auto paint = [&](Number from, Number to) {
    for (Number at = from; at < to; ++at) {
      stream[at] = 0;
      painted[at] = true;
    }
  };
  const Number fields = headers.fileHeader;
  paint(0, fields + 2);
  paint(fields + 4, fields + 16);
  paint(fields + 18, fields + 36);
  paint(fields + 40, fields + 52);
  paint(fields + 60, fields + (headers.plus ? 128 : 112));
  paint(headers.tableEnd, headers.sections[0].address);
  PaintThunkArrays(image, headers, paint);
  for (const Section& section : headers.sections) {
    if (section.Excluded()) paint(section.address, section.DataEnd());
  }
  CheckRelocations(image, headers, painted);
  for (const Section& section : headers.sections) {
    paint(section.DataEnd(), section.address + section.extent);
  }
  stream.resize(end);
  return stream;
}

std::string Validity(const Bytes& file) {
  try {
    const auto place = FindSignature(file);
    if (!place) return "not found";
    const Bytes block = Recover(&file[*place]);
    const Bytes stream = Stream(Load(file));
    unsigned char digest[64];
    SHA512(stream.data(), stream.size(), digest);
    const std::size_t k = block[127];
    const bool valid = k <= 63 && std::equal(digest, digest + 64, &block[0]) &&
                       std::equal(digest, digest + 63 - k, &block[64]);
    return valid ? "valid" : "not valid";
  } catch (const Refused&) {
    return "invalid image";
  }
}

}  // namespace model
