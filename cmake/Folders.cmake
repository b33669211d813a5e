# kv_folder_library(<name> <target linked publicly>...): the static library of the current source folder, made
# of all its sources. Headers are included by their path below src/ ("foundation/Buffer.h").
function(kv_folder_library name)
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  add_library(${name} STATIC ${sources})
  target_include_directories(${name} PUBLIC ${CMAKE_SOURCE_DIR}/src)
  target_link_libraries(${name} PUBLIC code_rules ${ARGN})
endfunction()

# kv_folder_test(<name> <target linked>...): the test program of the current source folder, made of all its
# sources, registered with CTest under its name. For Windows those that need the simulated machine are left out.
function(kv_folder_test name)
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  if(WIN32)
    list(FILTER sources EXCLUDE REGEX "OnMachine")
  endif()
  add_executable(${name} ${sources})
  target_compile_options(${name} PRIVATE -include ${CMAKE_SOURCE_DIR}/tests/support/Readable.h)
  target_link_libraries(${name} PRIVATE test_support ${ARGN})
  add_test(NAME ${name} COMMAND ${name})
endfunction()
