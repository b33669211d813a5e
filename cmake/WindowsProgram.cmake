# Builds for Windows: nothing beside the program but what every Windows has, small, the same bytes every time.
target_compile_options(code_rules INTERFACE
  $<$<COMPILE_LANGUAGE:CXX>:-ffunction-sections -fdata-sections -ffile-prefix-map=${CMAKE_SOURCE_DIR}=.>)
target_link_options(code_rules INTERFACE
  -static -Wl,--gc-sections -Wl,--no-insert-timestamp -Wl,--dynamicbase -Wl,--nxcompat)
if(CMAKE_SIZEOF_VOID_P EQUAL 8)
  target_link_options(code_rules INTERFACE -Wl,--high-entropy-va)
endif()

# What stands behind system/WindowsApi.h. The set-up functions are looked up at run time.
add_library(windows_api INTERFACE)
target_link_libraries(windows_api INTERFACE advapi32 user32 version)
