# Builds for Windows: nothing beside the program but what every Windows has, small, the same bytes every time and
# wherever the folders are.
target_compile_options(code_rules INTERFACE $<$<COMPILE_LANGUAGE:CXX>:
  -ffile-prefix-map=${CMAKE_SOURCE_DIR}=. -ffile-prefix-map=${CMAKE_BINARY_DIR}=build>)
target_link_options(code_rules INTERFACE
  -static -Wl,--gc-sections -Wl,--no-insert-timestamp -Wl,--dynamicbase -Wl,--nxcompat)
if(CMAKE_SIZEOF_VOID_P EQUAL 8)
  target_link_options(code_rules INTERFACE -Wl,--high-entropy-va)
endif()

# What stands behind system/WindowsApi.h. Other libraries are loaded at run time, see system/Library.h.
add_library(windows_api INTERFACE)
target_link_libraries(windows_api INTERFACE advapi32)

# kv_whole_program(<name> LIBRARIES <folder library>... SOURCES <file>...): a program compiled as one source, made of
# the sources of the libraries and its own. The compiler then knows that nobody else calls a function or derives from
# a class, which makes the program a fifth smaller than one linked from the libraries. Its symbols lie beside it, in
# <name>.exe.debug, where debuggers find them.
function(kv_whole_program name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "LIBRARIES;SOURCES")
  add_executable(${name} WIN32 ${arg_SOURCES})
  foreach(library ${arg_LIBRARIES})
    get_target_property(sources ${library} SOURCES)
    target_sources(${name} PRIVATE ${sources})
  endforeach()
  set_target_properties(${name} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 0)
  target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR}/src ${CMAKE_CURRENT_BINARY_DIR})
  # -malign-data=abi: constants without gaps. The seed names what would otherwise be named at random.
  target_compile_options(${name} PRIVATE
    $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-g -fwhole-program -malign-data=abi -frandom-seed=${name}>)
  target_link_libraries(${name} PRIVATE code_rules windows_api)
  # -p: the tools would put the time of day into the headers.
  add_custom_command(TARGET ${name} POST_BUILD
    COMMAND ${CMAKE_OBJCOPY} -p --only-keep-debug $<TARGET_FILE:${name}> $<TARGET_FILE:${name}>.debug
    COMMAND ${CMAKE_STRIP} -p $<TARGET_FILE:${name}>
    COMMAND ${CMAKE_OBJCOPY} -p --add-gnu-debuglink=$<TARGET_FILE:${name}>.debug $<TARGET_FILE:${name}>
    BYPRODUCTS ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${name}.exe.debug)
endfunction()
