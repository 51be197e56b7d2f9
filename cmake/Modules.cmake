# SPDX-License-Identifier: Apache-2.0
# ovo_module(NAME SOURCES ... [FAST ...] [PUBLIC ...] [PRIVATE ...])
#
# One static library per module. Its include root is OVO_INCLUDE_ROOT of its part of the tree, or its
# own directory where there is none; headers of other modules are included by their path below it.
# FAST: those of the sources in which a run with many parameters spends its time; they are not optimised for size, and
# not together with the rest of the program: none of their functions becomes part of another source's (docs/size.md).
# scripts/check-structure holds includes of other modules against what the target links. What is
# OVO_PART_OF_DAEMON can be optimised with it.
#
# Where OVO_PACKAGE_PART is set ("core" or "linux") the module belongs to the installed CMake package
# (cmake/Package.cmake): as ovo::NAME, or as ovo::EXPORT_NAME where that is given.
function(ovo_module NAME)
  cmake_parse_arguments(M "" "EXPORT_NAME" "SOURCES;FAST;PUBLIC;PRIVATE" ${ARGN})
  add_library(${NAME} STATIC ${M_SOURCES})
  if(OVO_SMALL AND NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
    set_source_files_properties(${M_FAST} PROPERTIES COMPILE_OPTIONS "-O2;-fno-lto")
  endif()
  if(DEFINED OVO_INCLUDE_ROOT)
    set(root ${OVO_INCLUDE_ROOT})
  else()
    set(root ${CMAKE_CURRENT_SOURCE_DIR})
  endif()
  target_include_directories(${NAME} PUBLIC $<BUILD_INTERFACE:${root}>)
  target_link_libraries(${NAME} PUBLIC ${M_PUBLIC} PRIVATE $<BUILD_INTERFACE:ovo_flags> ${M_PRIVATE})
  set_target_properties(${NAME} PROPERTIES OVO_PART_OF_DAEMON "${OVO_PART_OF_DAEMON}")
  if(DEFINED OVO_PACKAGE_PART)
    ovo_package_module(${NAME} "${M_EXPORT_NAME}" ${root} ${M_PUBLIC} ${M_PRIVATE})
  endif()
endfunction()

# ovo_program(NAME SOURCES ... [LIBRARIES ...] [OPTIMISED_WHOLE]): an executable in bin/. Who starts it takes its property
# STARTED_AS (cmake/Emulation.cmake). OPTIMISED_WHOLE: all its code at once when it is linked, if it is built to be small.
function(ovo_program NAME)
  cmake_parse_arguments(P "OPTIMISED_WHOLE" "" "SOURCES;LIBRARIES" ${ARGN})
  add_executable(${NAME} ${P_SOURCES})
  ovo_started(${NAME} bin)
  target_link_libraries(${NAME} PRIVATE ovo_flags ${P_LIBRARIES})
  set_target_properties(${NAME} PROPERTIES
    OVO_OPTIMISED_WHOLE ${P_OPTIMISED_WHOLE} OVO_PART_OF_DAEMON "${OVO_PART_OF_DAEMON}")
endfunction()

# ovo_shipped(PROGRAM...): programs that are installed. With OVO_SPLIT_DEBUG, each is stripped and has its symbols in a file
# beside it, PROGRAM.debug, which debuggers find.
function(ovo_shipped)
  if(NOT OVO_SPLIT_DEBUG)
    return()
  endif()
  foreach(program IN LISTS ARGN)
    add_custom_command(TARGET ${program} POST_BUILD
      COMMAND ${CMAKE_OBJCOPY} --only-keep-debug --compress-debug-sections
        $<TARGET_FILE:${program}> $<TARGET_FILE:${program}>.debug
      COMMAND ${CMAKE_OBJCOPY} --strip-all --remove-section=.comment
        --add-gnu-debuglink=$<TARGET_FILE:${program}>.debug $<TARGET_FILE:${program}>
      VERBATIM)
  endforeach()
endfunction()

# ovo_test(NAME SOURCES ... [LIBRARIES ...] [TIMEOUT s] [SERIAL] [SLOW PATTERN...]): a GoogleTest executable, each of its
# tests a test of ctest. TIMEOUT: ten times as much under an emulator. SERIAL: never beside another test (measures time or
# uses the machine). SLOW: the tests that match one of the patterns (as in --gtest_filter) carry the label "slow" and are
# SERIAL; the test presets "debug", "clang" and "armhf" run those.
function(ovo_test NAME)
  cmake_parse_arguments(T "SERIAL" "TIMEOUT" "SOURCES;LIBRARIES;SLOW" ${ARGN})
  add_executable(${NAME} ${T_SOURCES})
  ovo_started(${NAME} tests)
  target_include_directories(${NAME} PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
  # stdc++: before the libraries that these name again. The index of an archive with objects for the optimisation of the
  # whole has functions of the C++ library that the objects themselves may lack; GoogleTest would be looked for there.
  target_link_libraries(${NAME} PRIVATE ovo_flags ${T_LIBRARIES} GTest::gmock GTest::gtest_main stdc++)
  if(NOT T_TIMEOUT)
    set(T_TIMEOUT 60)
  endif()
  if(CMAKE_CROSSCOMPILING_EMULATOR)
    math(EXPR T_TIMEOUT "10 * ${T_TIMEOUT}")
  endif()
  set(serial OFF)
  if(T_SERIAL)
    set(serial ON)
  endif()
  set(common DISCOVERY_MODE PRE_TEST TEST_PREFIX "${NAME}."
    PROPERTIES TIMEOUT ${T_TIMEOUT} RUN_SERIAL ${serial})
  if(T_SLOW)
    list(JOIN T_SLOW ":" slow)
    gtest_discover_tests(${NAME} TEST_FILTER "-${slow}" ${common})
    gtest_discover_tests(${NAME} TEST_FILTER "${slow}" ${common} RUN_SERIAL ON LABELS slow)
  else()
    gtest_discover_tests(${NAME} ${common})
  endif()
endfunction()
