#pragma once

#include "foundation/UnicodeStringArray.h"

namespace Main {

/// The process's command line split into the program path, as element 0, and the arguments.
LUnicodeStringArray GetArguments();

/// The splitting rules. The program path ends at the first blank or tab outside double quotes, which are
/// dropped; it is element 0 even when it is empty. In the arguments behind it double quotes have no meaning:
/// blanks and tabs separate them, and none is empty.
LUnicodeStringArray SplitCommandLine(LUnicodeString commandLine);

}  // namespace Main
