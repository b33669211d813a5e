#include <nlohmann/json.hpp>

#include "InfoReport.h"

namespace kvsign {
namespace {

using nlohmann::json;

json OrNull(const auto& optional) {
  return optional ? json(*optional) : json(nullptr);
}

json SectionJson(const SectionFacts& section) {
  const IMAGE_SECTION_HEADER& header = section.header;
  json result = {{"name", section.name},
                 {"address", header.VirtualAddress},
                 {"virtualSize", header.Misc.VirtualSize},
                 {"fileOffset", header.PointerToRawData},
                 {"rawSize", header.SizeOfRawData},
                 {"characteristics", header.Characteristics},
                 {"signed", OrNull(section.covered)}};
  if (!section.reasons.empty()) result["reasons"] = section.reasons;
  return result;
}

json RangesJson(const std::vector<PeRange>& ranges) {
  json result = json::array();
  for (const PeRange& range : ranges) {
    result.push_back({{"begin", range.begin}, {"end", range.end}});
  }
  return result;
}

}  // namespace

json FactsJson(const ImageFacts& facts) {
  json result = {{"size", facts.fileSize},
                 {"refusal", facts.refusal ? RefusalJson(*facts.refusal) : json(nullptr)},
                 {"format", facts.plus ? json(*facts.plus ? "PE32+" : "PE32") : json(nullptr)},
                 {"signature", OrNull(facts.signature)},
                 {"headers", json::array()},
                 {"directories", json::array()},
                 {"sections", json::array()}};
  for (const FieldFacts& field : facts.fields) {
    result["headers"].push_back({{"name", field.name},
                                 {"offset", field.offset},
                                 {"size", field.size},
                                 {"value", field.value},
                                 {"signed", OrNull(field.covered)}});
  }
  for (const DirectoryFacts& directory : facts.directories) {
    result["directories"].push_back(
        {{"name", directory.name}, {"address", directory.address}, {"size", directory.size}});
  }
  for (const SectionFacts& section : facts.sections) {
    result["sections"].push_back(SectionJson(section));
  }
  if (!facts.refusal) {
    result["imageSize"] = facts.imageSize;
    result["zeros"] = RangesJson(facts.zeros);
    result["thunkArrays"] = RangesJson(facts.thunkArrays);
    result["relocations"] = facts.relocations;
    result["digest"] = facts.digest;
  }
  return result;
}

}  // namespace kvsign
