# SPDX-License-Identifier: Apache-2.0
# Programs of another architecture in tests. Nothing of this file does anything in a native build.
#
# A program that starts itself or another one calls the kernel, which cannot run foreign programs. So
# each has a link of its name in emulated/ to a script that calls the emulator, and that link is what
# is started; the program itself stays what is installed.

set(OVO_EMULATED ${CMAKE_BINARY_DIR}/emulated)
if(CMAKE_CROSSCOMPILING_EMULATOR)
  list(JOIN CMAKE_CROSSCOMPILING_EMULATOR " " EMULATOR)
  configure_file(${CMAKE_CURRENT_LIST_DIR}/emulate.in ${OVO_EMULATED}/emulate @ONLY
    FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
  # Of every target that is made from here on.
  set(CMAKE_CROSSCOMPILING_EMULATOR ${OVO_EMULATED}/emulate)
endif()

# ovo_started(NAME DIRECTORY): the executable NAME, built in DIRECTORY of the build tree, is started by
# others. The target's property STARTED_AS is the file that they start.
function(ovo_started NAME DIRECTORY)
  set_target_properties(${NAME} PROPERTIES
    RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/${DIRECTORY}
    STARTED_AS ${CMAKE_BINARY_DIR}/${DIRECTORY}/${NAME})
  if(CMAKE_CROSSCOMPILING_EMULATOR)
    file(CREATE_LINK emulate ${OVO_EMULATED}/${NAME} SYMBOLIC)
    set_target_properties(${NAME} PROPERTIES STARTED_AS ${OVO_EMULATED}/${NAME})
  endif()
endfunction()
