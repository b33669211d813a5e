#pragma once

// Every wrapper over a platform function with text.

#include "system/PlatformFiles.h"
#include "system/PlatformRegistry.h"
#include "system/PlatformServices.h"
#include "system/PlatformSetup.h"
#include "system/PlatformSystem.h"
