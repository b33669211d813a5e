#pragma once

#include <cstdint>
#include <optional>

#include "imagesigning/ImageBytes.h"

namespace DriverManagement::ImageSigning1 {

/// The name of the section that holds a signature, without a terminator.
constexpr char PeSignatureSectionName[] = {'.', 'k', 'v', 's', 'i', 'g', 'n', '1'};
/// Bytes of a signature.
constexpr std::uint32_t PeSignatureSize = 128;

/// The offset in a PE file of the signature: the beginning of the data of the first section ".kvsign1" that
/// is not discardable and has room for a signature, in memory and in the file. Nothing when there is no such
/// section. Throws `PeRefusal` when the headers do not lead to a section table or the section's data does not
/// lie in the file.
std::optional<std::uint32_t> FindSignature(ImageBytes file);

}  // namespace DriverManagement::ImageSigning1
