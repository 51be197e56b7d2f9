# SPDX-License-Identifier: Apache-2.0
# Compiler flags for every target of this project; libraries' own headers are SYSTEM and stay quiet.
# The flags of whoever builds (CXXFLAGS, LDFLAGS, a toolchain file) stand before them on the command line and are
# never given a second time with another value.
include(CheckCXXCompilerFlag)
include(CheckLinkerFlag)

if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING
    "Debug, RelWithDebInfo, or None for the flags of the environment alone" FORCE)
endif()

add_library(ovo_flags INTERFACE)
target_compile_options(ovo_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor
  -Woverloaded-virtual -Wnull-dereference -Wformat=2)
if(OVO_WERROR)
  target_compile_options(ovo_flags INTERFACE -Werror)
endif()
# glibc's 32-bit interfaces get 64-bit file offsets and times.
target_compile_definitions(ovo_flags INTERFACE _FILE_OFFSET_BITS=64 _TIME_BITS=64)

# Hardening: overflows of the stack and jumps to where no function begins end the program; code is at addresses that
# nobody can guess, and nothing that is written is run. tests/programs holds the programs against this.
target_compile_options(ovo_flags INTERFACE -fPIE -fstack-protector-strong)
target_link_options(ovo_flags INTERFACE -pie -Wl,-z,relro,-z,now,-z,noexecstack)
# Not every architecture has these: control flow is protected on x86 by the second, on ARM's 64 bits by the third. Some
# compilers only warn of a flag that is another architecture's.
set(CMAKE_REQUIRED_FLAGS -Werror)
foreach(flag IN ITEMS -fstack-clash-protection -fcf-protection -mbranch-protection=standard)
  string(MAKE_C_IDENTIFIER "OVO_HAS${flag}" has)
  check_cxx_compiler_flag(${flag} ${has})
  if(${has})
    target_compile_options(ovo_flags INTERFACE ${flag})
  endif()
endforeach()
unset(CMAKE_REQUIRED_FLAGS)

if(NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
  if(NOT CMAKE_CXX_FLAGS MATCHES "_FORTIFY_SOURCE")
    target_compile_definitions(ovo_flags INTERFACE _FORTIFY_SOURCE=2)
  endif()
  # At -O2 g++ 12 reports null dereferences and overlapping copies inside the standard library's own
  # headers, and the value of an empty std::optional as used uninitialised.
  target_compile_options(ovo_flags INTERFACE -Wno-null-dereference
    $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict -Wno-maybe-uninitialized>)
  if(OVO_SMALL)
    # Beside it the daemon is optimised as a whole when it is linked (OPTIMISED_WHOLE of ovo_program). Other programs and
    # whoever takes the libraries link the objects as they are.
    target_compile_options(ovo_flags INTERFACE
      -Os -fvisibility=hidden -fvisibility-inlines-hidden -ffunction-sections -fdata-sections)
    target_link_options(ovo_flags INTERFACE -Wl,--gc-sections,--as-needed)
    # Relocations in a few bytes each. The loader must know them, as that of glibc 2.36 does. A linker that does not
    # know them for its architecture only warns.
    check_linker_flag(CXX -Wl,--fatal-warnings,-z,pack-relative-relocs OVO_HAS_PACKED_RELOCATIONS)
    if(OVO_HAS_PACKED_RELOCATIONS)
      target_link_options(ovo_flags INTERFACE -Wl,-z,pack-relative-relocs)
    endif()
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND NOT OVO_SANITIZE AND NOT OVO_COVERAGE)
      target_compile_options(ovo_flags INTERFACE
        "$<$<BOOL:$<TARGET_PROPERTY:OVO_PART_OF_DAEMON>>:-flto;-ffat-lto-objects>")
      # The table of lines is the compiler's: in such objects the assembler's names the directory of the build, and
      # the compiler does not tell it of -ffile-prefix-map.
      target_compile_options(ovo_flags INTERFACE -gno-as-loc-support)
      # One partition: in several, the compiler repeats what each of them needs.
      target_link_options(ovo_flags INTERFACE
        "$<IF:$<BOOL:$<TARGET_PROPERTY:OVO_OPTIMISED_WHOLE>>,-flto=auto;-flto-partition=one,-fno-lto>")
    endif()
  endif()
  # The same bytes wherever they are built. Distributions have names of their own for the sources.
  if(NOT CMAKE_CXX_FLAGS MATCHES "-prefix-map=")
    target_compile_options(ovo_flags INTERFACE
      -ffile-prefix-map=${PROJECT_SOURCE_DIR}=. -ffile-prefix-map=${PROJECT_BINARY_DIR}=./build)
  endif()
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
  # Counted in one step: threads that count at once would lose counts, and gcovr refuses the negative
  # ones that gcov then derives.
  add_compile_options(--coverage -fprofile-update=atomic)
  add_link_options(--coverage)
endif()

find_program(CCACHE ccache)
if(CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE})
endif()
