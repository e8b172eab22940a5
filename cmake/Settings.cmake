include(CheckLinkerFlag)

# What every target of ours is compiled and linked with. Third-party code never sees it.
add_library(vesk_settings INTERFACE)
target_include_directories(vesk_settings INTERFACE ${CMAKE_SOURCE_DIR})
target_compile_options(vesk_settings INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wnon-virtual-dtor)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # GCC 12 sees an overlap in the standard library's own string concatenation (GCC bug 105651).
  target_compile_options(vesk_settings INTERFACE -Wno-restrict)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  # The headers of GCC 12's library use what they themselves deprecate (in std::stable_sort), and Clang tells it.
  target_compile_options(vesk_settings INTERFACE -Wno-deprecated-declarations)
endif()
if(VESK_WERROR)
  target_compile_options(vesk_settings INTERFACE -Werror)
endif()
if(CMAKE_BUILD_TYPE STREQUAL "Debug")
  target_compile_definitions(vesk_settings INTERFACE _GLIBCXX_ASSERTIONS)
endif()

if(VESK_SANITIZE)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # GCC loses sight of what is initialised behind its own sanitizer calls.
    target_compile_options(vesk_settings INTERFACE -Wno-maybe-uninitialized)
  endif()
  # Line numbers are enough for a report, and make for a much quicker build.
  add_compile_options(-fsanitize=${VESK_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all -g1)
  add_link_options(-fsanitize=${VESK_SANITIZE})
endif()
if(VESK_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# Programs that are started for a moment (vesk-mcp, vesk) carry ICU and the C++ runtime inside: loading shared libraries
# would take most of the time of a short run. Without sanitizers only, which bring a runtime of their own.
add_library(vesk_program INTERFACE)
target_link_libraries(vesk_program INTERFACE vesk_settings)
if(NOT VESK_SANITIZE)
  target_link_options(vesk_program INTERFACE -static-libstdc++ -static-libgcc -Wl,--gc-sections)
  # Addresses to fill in at the start, packed: reading the plain list takes a good part of it. Needs glibc 2.36.
  check_linker_flag(CXX -Wl,-z,pack-relative-relocs VESK_CAN_PACK_RELOCATIONS)
  if(VESK_CAN_PACK_RELOCATIONS)
    target_link_options(vesk_program INTERFACE -Wl,-z,pack-relative-relocs)
  endif()
endif()
