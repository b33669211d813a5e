#pragma once

#include <doctest/doctest.h>

#include <optional>
#include <vector>

#include "imagesigning/ImageBytes.h"
#include "support/ImageBuilder.h"
#include "support/TestHeap.h"

using FileBytes = std::vector<unsigned char>;

/// A number stored over what a sample has there; with width 0 the sample ends there.
struct Edit {
  std::size_t offset;
  std::size_t width = 0;
  std::uint64_t number = 0;
};
using Edits = std::vector<Edit>;

/// The edited sample in a block of exactly its size, so that the sanitizers see what is read behind it.
inline FileBytes Edited(FileBytes bytes, const Edits& edits) {
  for (const Edit& edit : edits) {
    if (edit.width == 0) bytes.resize(edit.offset);
    PutNumber(bytes, edit.offset, edit.width, edit.number);
  }
  bytes.shrink_to_fit();
  return bytes;
}

inline DriverManagement::ImageSigning1::ImageBytes View(const FileBytes& bytes) {
  return {bytes.data(), static_cast<std::uint32_t>(bytes.size())};
}

/// Each of the edits, made to the sample by itself, has the same result.
template <class Result>
struct EditCase {
  Result result;
  std::vector<Edits> samples;
};

template <class Result, class Operation>
void CheckEdits(const FileBytes& sample, const std::vector<EditCase<Result>>& cases, Operation operation) {
  for (const EditCase<Result>& each : cases) {
    for (std::size_t index = 0; index < each.samples.size(); ++index) {
      CAPTURE(index);
      CHECK(operation(Edited(sample, each.samples[index])) == each.result);
    }
  }
}

/// The rule that `operation` finds broken.
template <class Operation>
std::optional<DriverManagement::ImageSigning1::PeRule> BrokenRule(Operation operation) {
  try {
    operation();
  } catch (const DriverManagement::ImageSigning1::PeRefusal& refusal) {
    return refusal.rule;
  }
  return std::nullopt;
}
using RuleCase = EditCase<std::optional<DriverManagement::ImageSigning1::PeRule>>;
