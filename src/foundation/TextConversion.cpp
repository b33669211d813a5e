#include "foundation/TextConversion.h"

namespace {

LTextConversion* g_conversion = nullptr;

}  // namespace

void LInstallTextConversion(LTextConversion* conversion) {
  g_conversion = conversion;
}

LTextConversion* LInstalledTextConversion() {
  return g_conversion;
}
