# For the files beside it, which say for which processor.
set(CMAKE_SYSTEM_NAME Windows)
# The compilers with Windows' own threads: those with POSIX threads bring a thread library that old systems cannot load.
set(CMAKE_CXX_COMPILER ${mingw_target}-g++-win32)
set(CMAKE_RC_COMPILER ${mingw_target}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${mingw_target})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
