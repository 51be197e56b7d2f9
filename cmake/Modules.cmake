# SPDX-License-Identifier: Apache-2.0
# ovo_module(NAME SOURCES ... [PUBLIC ...] [PRIVATE ...])
#
# One static library per module. Its include root is OVO_INCLUDE_ROOT of its part of the tree, or its
# own directory where there is none; headers of other modules are included by their path below it.
# scripts/check-structure holds includes of other modules against what the target links. Modules of a
# part with OVO_INSTALLED_PART are installed for developers.
function(ovo_module NAME)
  cmake_parse_arguments(M "" "" "SOURCES;PUBLIC;PRIVATE" ${ARGN})
  add_library(${NAME} STATIC ${M_SOURCES})
  if(DEFINED OVO_INCLUDE_ROOT)
    target_include_directories(${NAME} PUBLIC ${OVO_INCLUDE_ROOT})
  else()
    target_include_directories(${NAME} PUBLIC ${CMAKE_CURRENT_SOURCE_DIR})
  endif()
  target_link_libraries(${NAME} PUBLIC ${M_PUBLIC} PRIVATE ovo_flags ${M_PRIVATE})
  if(OVO_INSTALLED_PART)
    set_property(GLOBAL APPEND PROPERTY OVO_LIBRARIES ${NAME})
  endif()
endfunction()

# ovo_program(NAME SOURCES ... [LIBRARIES ...]): an executable in bin/. Who starts it takes its property
# STARTED_AS (cmake/Emulation.cmake).
function(ovo_program NAME)
  cmake_parse_arguments(P "" "" "SOURCES;LIBRARIES" ${ARGN})
  add_executable(${NAME} ${P_SOURCES})
  ovo_started(${NAME} bin)
  target_link_libraries(${NAME} PRIVATE ovo_flags ${P_LIBRARIES})
endfunction()

# ovo_test(NAME SOURCES ... [LIBRARIES ...] [TIMEOUT s] [SERIAL] [SLOW PATTERN...]): a GoogleTest
# executable, each of its tests a test of ctest. SERIAL: never beside another test (measures time or
# uses the machine). SLOW: the tests that match one of the patterns (as in --gtest_filter) carry the
# label "slow" and are SERIAL; only the test preset "debug" runs those.
function(ovo_test NAME)
  cmake_parse_arguments(T "SERIAL" "TIMEOUT" "SOURCES;LIBRARIES;SLOW" ${ARGN})
  add_executable(${NAME} ${T_SOURCES})
  ovo_started(${NAME} tests)
  target_include_directories(${NAME} PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
  target_link_libraries(${NAME} PRIVATE ovo_flags ${T_LIBRARIES} GTest::gmock GTest::gtest_main)
  if(NOT T_TIMEOUT)
    set(T_TIMEOUT 60)
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
