#pragma once

#include <optional>

#include "HostFile.h"
#include "Key.h"
#include "Refusal.h"
#include "Session.h"

namespace kvsign {

enum class Verdict { valid, otherSignature, noSignature, refused };

struct Verification {
  Verdict verdict;
  /// Of a refused image.
  std::optional<Refusal> refusal = {};
};

/// Checks an image file's embedded signature with the product's own classes: with the key built into them
/// when `key` is null, else with that one. Throws std::bad_alloc.
Verification Verify(Session& session, const Bytes& file, const PublicKey* key);

}  // namespace kvsign
