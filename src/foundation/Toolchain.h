#pragma once

// The one place that knows compilers apart.

#if defined(_MSC_VER)
#define L_FUNCTION __FUNCSIG__
#else
#define L_FUNCTION __PRETTY_FUNCTION__
#endif
