# What every object file of the project is compiled with: warnings as errors, wchar_t of 16 bits on every
# platform, and the sanitizers when they are asked for. Every target links code_rules.
add_library(code_rules INTERFACE)
# -Wrestrict of GCC 12 is wrong about short literals assigned to strings (its bug 105651).
target_compile_options(code_rules INTERFACE $<$<COMPILE_LANGUAGE:CXX>:
  -Wall -Wextra -Wconversion -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Werror
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>
  $<$<CXX_COMPILER_ID:GNU>:-fno-gnu-unique>
  $<$<NOT:$<PLATFORM_ID:Windows>>:-fshort-wchar>>)

if(KV_SANITIZE)
  # -fno-elide-constructors: the copies that compilers may leave out are made, so that nothing lives from their absence.
  target_compile_options(code_rules INTERFACE
    -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer -fno-elide-constructors)
  target_link_options(code_rules INTERFACE -fsanitize=address,undefined)
endif()

if(KV_FUZZ)
  target_compile_options(code_rules INTERFACE -fsanitize=fuzzer-no-link)
endif()
