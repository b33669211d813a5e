#include <fmt/format.h>

#include <algorithm>
#include <new>
#include <nlohmann/json.hpp>
#include <optional>

#include "Commands.h"
#include "Errors.h"
#include "Image.h"
#include "Verify.h"
#include "common/Output.h"
#include "common/Terminal.h"

namespace kvsign {
namespace {

using nlohmann::json;

/// Whether the product was built without a key of its own.
constexpr bool HasDevelopmentKey = KVSIGN_DEVELOPMENT_KEY;

/// What is known of one file.
struct Outcome {
  ExitCode code;
  std::string text;  // as in "FILE: text"
  json document;
};

Outcome Describe(const Verification& verification) {
  switch (verification.verdict) {
    case Verdict::valid:
      return {ExitCode::done, "valid", {{"result", "valid"}}};
    case Verdict::otherSignature:
      return {ExitCode::notValid,
              "not valid: the signature is not this image's",
              {{"result", "other-signature"}}};
    case Verdict::noSignature:
      return {ExitCode::notValid, "not valid: no signature", {{"result", "no-signature"}}};
    case Verdict::refused:
      break;
  }
  const Refusal& refusal = verification.refusal.value();
  return {
      ExitCode::refused, RefusalText(refusal), {{"result", "refused"}, {"refusal", RefusalJson(refusal)}}};
}

Outcome VerifyFile(Session& session, const std::string& name, const PublicKey* key) {
  try {
    return Describe(Verify(session, ReadHostFile(name, MaximalImageSize).bytes, key));
  } catch (const FileError& error) {
    return {ExitCode::refused, {}, {{"result", "unreadable"}, {"message", error.what()}}};
  } catch (const std::bad_alloc&) {
    return {ExitCode::refused, {}, {{"result", "unreadable"}, {"message", NoMemory}}};
  }
}

}  // namespace

int Verify(const VerifyOptions& options) {
  std::optional<NamedPublicKey> key;
  if (options.key) key = ReadPublicKey(*options.key);
  Session session;
  json files = json::array();
  int code = ExitCode::done;
  bool anyValid = false;
  for (const std::string& name : options.files) {
    Outcome outcome = VerifyFile(session, name, key ? &key->numbers : nullptr);
    code = std::max<int>(code, outcome.code);
    anyValid = anyValid || outcome.code == ExitCode::done;
    if (outcome.text.empty()) {
      Warn(name, outcome.document["message"].get<std::string>());
    } else if (!options.json) {
      tools::Print(tools::OneLine(name + ": " + outcome.text) + '\n');
    }
    outcome.document["file"] = name;
    files.push_back(std::move(outcome.document));
  }
  const bool developmentKey = !key && HasDevelopmentKey;
  if (options.json) {
    tools::Print(tools::JsonText(
        {{"schema", JsonSchema}, {"developmentKey", developmentKey}, {"files", std::move(files)}}));
  }
  if (developmentKey && anyValid) {
    Warn("built-in key", "the development key, with which anybody can sign; build with -DKV_PUBLIC_KEY");
  }
  return code;
}

}  // namespace kvsign
