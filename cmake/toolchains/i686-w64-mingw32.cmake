set(CMAKE_SYSTEM_PROCESSOR X86)
set(mingw_target i686-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64.cmake)
