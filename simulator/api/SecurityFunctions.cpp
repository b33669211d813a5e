#include "api/Call.h"

// Security descriptors, absolute ones in the caller's memory. The 8-bit-only systems have no security.

using namespace winsim;

namespace {

constexpr WORD DaclDefaulted = 0x0008;

DWORD CheckSupport(const Thread& thread) {
  return thread.GetMachine().settings.version.platformId == VER_PLATFORM_WIN32_NT
             ? ERROR_SUCCESS
             : ERROR_CALL_NOT_IMPLEMENTED;
}

}  // namespace

BOOL WINAPI InitializeSecurityDescriptor(PSECURITY_DESCRIPTOR descriptor, DWORD revision) {
  return BoolCall("InitializeSecurityDescriptor", {revision}, [&](Thread& thread) -> DWORD {
    if (const DWORD error = CheckSupport(thread); error != 0) {
      return error;
    }
    if (revision != SECURITY_DESCRIPTOR_REVISION) {
      return ERROR_UNKNOWN_REVISION;
    }
    *static_cast<SECURITY_DESCRIPTOR*>(descriptor) = {
        SECURITY_DESCRIPTOR_REVISION, 0, 0, nullptr, nullptr, nullptr, nullptr};
    return ERROR_SUCCESS;
  });
}

BOOL WINAPI SetSecurityDescriptorDacl(PSECURITY_DESCRIPTOR descriptor, BOOL present, PACL acl,
                                      BOOL defaulted) {
  return BoolCall("SetSecurityDescriptorDacl", {present, defaulted}, [&](Thread& thread) -> DWORD {
    if (const DWORD error = CheckSupport(thread); error != 0) {
      return error;
    }
    auto& target = *static_cast<SECURITY_DESCRIPTOR*>(descriptor);
    if (target.Revision != SECURITY_DESCRIPTOR_REVISION) {
      return ERROR_UNKNOWN_REVISION;
    }
    target.Control = static_cast<WORD>(target.Control & ~(SE_DACL_PRESENT | DaclDefaulted));
    if (present != FALSE) {
      target.Control =
          static_cast<WORD>(target.Control | SE_DACL_PRESENT | (defaulted != FALSE ? DaclDefaulted : 0));
      target.Dacl = acl;
    }
    return ERROR_SUCCESS;
  });
}
