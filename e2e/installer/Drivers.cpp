#include "Drivers.h"

#include <cstdio>

#include "foundation/Assert.h"

using namespace DriverManagement;
using namespace DriverManagement::Gen4;

namespace {

template <class Manager, class LifeTime, class... Mode>
ClientDriver Make(LPtrRef<BasePeModuleContainer> image, const wchar_t* unique, const wchar_t* file,
                  Mode... mode) {
  const LPtrRef<LifeTime> lifeTime = LMakeRef<LifeTime>(unique, file);
  return {LMakeRef<Manager>(image, lifeTime, mode...), lifeTime};
}

}  // namespace

ImageContainer::ImageContainer(const wchar_t* path) {
  std::FILE* const file = _wfopen(path, L"rb");
  if (file == nullptr) return;
  for (int unit = std::fgetc(file); unit != EOF; unit = std::fgetc(file)) {
    m_body.push_back(static_cast<unsigned char>(unit));
  }
  std::fclose(file);
}

ClientDriver MakeDriver(const LUnicodeString& name, const wchar_t* unique, const wchar_t* file,
                        const wchar_t* path) {
  const LPtrRef<BasePeModuleContainer> image = LMakeRef<ImageContainer>(path);
  constexpr unsigned int checkSignature = 1;
  if (name == L"kvlnk03")
    return Make<kvlnk03sys::Manager, kvlnk03sys::LifeTime>(image, unique, file, checkSignature);
  if (name == L"kvlnk04") {
    return Make<WinNT::kvlnk04::Manager, WinNT::kvlnk04::LifeTime>(image, unique, file, checkSignature);
  }
  if (name == L"kvvol02") return Make<kvvol02sys::Manager, kvvol02sys::LifeTime>(image, unique, file);
  if (name == L"kvaux02") return Make<kvaux02sys::Manager, kvaux02sys::LifeTime>(image, unique, file);
  if (name == L"kvenv01") return Make<kvenv01sys::Manager, kvenv01sys::LifeTime>(image, unique, file);
  L_ASSERT(name == L"kvenv01a");
  return Make<WinNT::kvenv01a::Manager, WinNT::kvenv01a::LifeTime>(image, unique, file);
}
