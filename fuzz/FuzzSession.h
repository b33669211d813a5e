#pragma once

#include <cstddef>
#include <cstdint>

#include "foundation/PtrRef.h"
#include "system/FileMapping.h"

/// Ends the process unless `holds`.
void Require(bool holds, const char* what);

// One machine, process and heap serves all inputs of a run; each operation sets them up when they are not
// there yet. The heap refuses blocks above 64 MB, so that headers that declare gigabytes end in
// `std::bad_alloc` at once.

void SetUpHeap();

constexpr const wchar_t* InputPath = L"C:\\input.sys";
/// Makes the input the contents of the file of that name.
void WriteInput(const std::uint8_t* data, std::size_t size);
/// A view of all of that file, which must not be empty.
LPtrRef<LCommon::System::FileMappingView> MapInput();
