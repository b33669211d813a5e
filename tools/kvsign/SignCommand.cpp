#include <fmt/format.h>

#include <algorithm>
#include <new>
#include <utility>

#include "Commands.h"
#include "Errors.h"
#include "Image.h"
#include "PeFile.h"
#include "Session.h"
#include "Verify.h"
#include "common/Output.h"
#include "common/Terminal.h"
#include "imagesigning/PeSignatureSection.h"

namespace kvsign {
namespace {

using DriverManagement::ImageSigning1::FindSignature;
using DriverManagement::ImageSigning1::ImageBytes;
using DriverManagement::ImageSigning1::PeRefusal;
using DriverManagement::ImageSigning1::PeRule;

bool HasSignatureSection(const PeFile& file) {
  const Bytes& bytes = file.Contents();
  try {
    return FindSignature(ImageBytes(bytes.data(), static_cast<std::uint32_t>(bytes.size()))).has_value();
  } catch (const PeRefusal& refusal) {
    throw Refusal{refusal, false};
  }
}

/// Takes the discardable flag from the sections that must not have it and tells about each of them, until the
/// rules accept the image. Throws Refusal when it is refused for another reason, or `keep` is set.
std::vector<std::string> MakeAcceptable(PeFile& file, bool keep) {
  std::vector<std::string> notes;
  for (;;) {
    try {
      LoadImage(file.Contents());
      return notes;
    } catch (const Refusal& refusal) {
      const bool imports = refusal.rule.rule == PeRule::importDiscardable;
      if (keep || (!imports && refusal.rule.rule != PeRule::relocationDiscardable)) throw;
      for (const std::string& name :
           file.KeepSections(imports ? IMAGE_DIRECTORY_ENTRY_IMPORT : IMAGE_DIRECTORY_ENTRY_BASERELOC)) {
        notes.push_back(
            fmt::format("section {} is no longer discardable: it holds the {}, which a signed image keeps",
                        name, imports ? "import directory" : "base relocations"));
      }
    }
  }
}

/// The digest, its beginning once more, and zero: no byte is left unexamined.
Block BlockOf(const Digest& digest) {
  Block block = {};
  std::copy(digest.begin(), digest.end(), block.begin());
  std::copy(digest.begin(), digest.end() - 1, block.begin() + digest.size());
  return block;
}

struct SignedImage {
  Bytes bytes;
  bool added;  // the section
  std::vector<std::string> notes;
};

SignedImage SignImage(Session& session, Bytes bytes, const SigningKey& key, bool keepDiscardable) {
  PeFile file(std::move(bytes));
  if (file.HasCertificates()) {
    throw std::runtime_error(
        "carries an Authenticode signature, and an image cannot have both; sign it as the linker made it");
  }
  SignedImage result = {{}, false, MakeAcceptable(file, keepDiscardable)};
  result.added = !HasSignatureSection(file);
  if (result.added) file.AddSignatureSection();
  file.SetSignature(key.Apply(BlockOf(DigestOf(LoadImage(file.Contents())))));

  const PublicKey publicKey = key.Public();
  if (Verify(session, file.Contents(), &publicKey).verdict != Verdict::valid) {
    throw std::runtime_error(
        "does not verify with its new signature; is the key whole ('openssl pkey -check'), "
        "and has its section .kvsign1 data of its own?");
  }
  result.bytes = file.Contents();
  return result;
}

}  // namespace

int Sign(const SignOptions& options) {
  const SigningKey key(options.key);
  HostFile input = ReadHostFile(options.input, MaximalImageSize);
  SignedImage image;
  {
    Session session;
    try {
      image = SignImage(session, std::move(input.bytes), key, options.keepDiscardable);
    } catch (const Refusal& refusal) {
      throw FileError(options.input, RefusalText(refusal));
    } catch (const std::bad_alloc&) {
      throw FileError(options.input, NoMemory);
    } catch (const std::runtime_error& error) {
      throw FileError(options.input, error.what());
    }
  }
  WriteHostFile(options.output, image.bytes, input.mode);
  for (const std::string& note : image.notes) {
    Warn(options.output, note);
  }
  tools::Print(
      tools::OneLine(fmt::format("{}: signed, {}", options.output,
                                 image.added ? "section .kvsign1 added" : "in its section .kvsign1")) +
      '\n');
  return ExitCode::done;
}

}  // namespace kvsign
