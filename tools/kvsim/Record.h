#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "machine/Registry.h"

namespace kvsim {

/// A client's entry in a driver's lifetime record.
struct Claim {
  enum class Kind { file, time, broken };
  /// What is wrong with a broken one: a value, what is there of it, and what its client should have written.
  struct Fault {
    std::string value;
    std::string found;
    std::string expected;
  };

  std::string client;
  Kind kind = Kind::broken;
  /// File-bound: the path that it names.
  std::u16string file;
  /// Time-bound: the time that it carries, and when it lapses.
  std::uint64_t time = 0;
  std::uint64_t lapses = 0;
  Fault fault;
};

/// A driver's lifetime record, read as the program reads it.
struct Record {
  /// "Auto", when that is a number, and what is there of it.
  std::optional<std::uint32_t> automatic;
  std::string automaticFound;
  std::vector<Claim> claims;

  bool AllowsRemoval() const { return automatic.value_or(0) != 0; }
};

/// What is in the key of a lifetime record.
Record ReadRecord(const winsim::RegistryNode& key);

}  // namespace kvsim
