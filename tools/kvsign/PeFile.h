#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "HostFile.h"
#include "Key.h"
#include "imagesigning/PeHeaders.h"

namespace kvsign {

/// A PE file that is made ready for a signature and gets it. Everything that the loaders of an image need is
/// kept, and so is what lies behind the last section. An operation that throws leaves the file half changed.
class PeFile {
 public:
  /// Throws Refusal when the headers are not of the accepted form.
  explicit PeFile(Bytes bytes);

  const Bytes& Contents() const { return m_bytes; }
  /// Whether the file carries an Authenticode signature.
  bool HasCertificates() const;

  /// Takes the discardable flag from the sections that hold a part of data directory `number`; the names of
  /// those that had it. The file is one that BuildImage accepts, with the directory inside the image.
  std::vector<std::string> KeepSections(std::uint32_t number);

  /// Adds the section that holds the signature, behind all that is in the file, and where the section table
  /// has no room for it, makes some. The file is one that LoadImage accepts. Throws std::runtime_error with
  /// the reason when there is no room to be had.
  void AddSignatureSection();

  /// Stores the signature in the section that is there for it (FindSignature finds one), and the checksum of
  /// the file.
  void SetSignature(const Block& signature);

 private:
  template <class T>
  T Get(std::uint32_t offset) const;
  template <class T>
  void Set(std::uint32_t offset, const T& value);
  void Reload();

  IMAGE_SECTION_HEADER Section(std::uint32_t index) const;
  void MakeRoomForSectionHeader();
  void EnlargeHeaders(std::uint32_t dataStart, std::uint32_t growth);
  void MoveDebugData(std::uint32_t dataStart, std::uint32_t growth);
  std::uint32_t CheckSum() const;

  Bytes m_bytes;
  DriverManagement::ImageSigning1::PeHeaders m_headers;
};

}  // namespace kvsign
