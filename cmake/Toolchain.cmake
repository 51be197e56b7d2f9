# SPDX-License-Identifier: Apache-2.0
# Compiler flags for every target of this project; libraries' own headers are SYSTEM and stay quiet.

add_library(ovo_flags INTERFACE)
target_compile_options(ovo_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor
  -Woverloaded-virtual -Wnull-dereference -Wformat=2 -fstack-protector-strong)
if(OVO_WERROR)
  target_compile_options(ovo_flags INTERFACE -Werror)
endif()
# glibc's 32-bit interfaces get 64-bit file offsets and times.
target_compile_definitions(ovo_flags INTERFACE _FILE_OFFSET_BITS=64 _TIME_BITS=64)
if(NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
  target_compile_definitions(ovo_flags INTERFACE _FORTIFY_SOURCE=2)
  # At -O2 g++ 12 reports null dereferences and overlapping copies inside the standard library's own
  # headers, and the value of an empty std::optional as used uninitialised.
  target_compile_options(ovo_flags INTERFACE -Wno-null-dereference
    $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict -Wno-maybe-uninitialized>)
endif()

if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_SYSTEM_PROCESSOR MATCHES "^arm")
  # g++ notes for many templates of the standard library that their calling convention was another
  # one before g++ 7.1.
  target_compile_options(ovo_flags INTERFACE -Wno-psabi)
endif()

if(OVO_SANITIZE)
  add_compile_options(-fsanitize=${OVO_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${OVO_SANITIZE})
  # g++ 12 reports false null dereferences and stringop overflows in instrumented code.
  target_compile_options(ovo_flags INTERFACE -Wno-null-dereference)
  if(OVO_SANITIZE MATCHES "thread" AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # std::atomic_thread_fence in library headers, which the instrumentation does not model.
    target_compile_options(ovo_flags INTERFACE -Wno-tsan)
  endif()
endif()
if(OVO_COVERAGE)
  add_compile_options(--coverage)
  add_link_options(--coverage)
endif()

find_program(CCACHE ccache)
if(CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE})
endif()
