#include "imagesigning/Cases.h"
#include "imagesigning/ImageFile.h"
#include "imagesigning/PeContainer.h"
#include "imagesigning/PeSignatureRawReader.h"
#include "support/ImageSigner.h"
#include "support/SystemSession.h"

using namespace DriverManagement::ImageSigning1;

TEST_CASE("files whose size does not fit into 32 bits are refused by their size alone") {
  SystemSession session;
  FileBytes sample = BuildImage(SampleDriver(true));
  SignImage(sample);
  const ImageFile file(sample);
  const auto view = file.View();
  const auto answers = [&] {
    return Outcome([&] { return PeSignatureRawReader::Read(view), "signature"; }) + ", " +
           Outcome([&] { return PeContainer(view).GetImage(), "image"; });
  };
  CHECK(answers() == "signature, image");
  // The view stays as it is; only the size that the file tells changes.
  winsim::FileNode& node = *session.Machine().files.Find(MachineText(file.name));
  node.SetHostFile("nowhere", 0x1'0000'0000);
  CHECK(answers() == "invalid image, invalid image");
  node.SetHostFile("nowhere", 0xFFFF'FFFF);
  CHECK(Outcome([&] { return PeSignatureRawReader::Read(view), "signature"; }) == "invalid image");
}
