#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "ImageFacts.h"
#include "common/Terminal.h"

namespace kvsign {

/// The facts about an image file for people, in tables of at most 80 columns unless a number needs more.
std::string FactsText(const std::string& name, const ImageFacts& facts, const tools::Terminal& terminal);

/// The same for programs.
nlohmann::json FactsJson(const ImageFacts& facts);

}  // namespace kvsign
