# SPDX-License-Identifier: Apache-2.0
# What "cmake --install" installs, by component:
#   daemon  the program, its units, users, directories, bus and manual page: all that a phone needs
#   tools   the command line programs, their manual pages, completion and the schema of provisioning files
#   doc     the documents and the manual page of provisioning files
#   debug   the programs' symbols, with OVO_SPLIT_DEBUG
#   dev     headers and libraries of the core, the interfaces and the platform
# A file that a list below names and that does not exist fails the configuration.

# Where systemd looks. Its own answer counts for a system's packages only: another prefix keeps everything below itself.
if(NOT DEFINED OVO_SYSTEMD_UNIT_DIR)
  set(units "")
  if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    pkg_check_modules(systemd QUIET systemd)
    if(systemd_FOUND)
      pkg_get_variable(units systemd systemdsystemunitdir)
    endif()
  endif()
  if(NOT units)
    set(units lib/systemd/system)
  endif()
  set(OVO_SYSTEMD_UNIT_DIR ${units} CACHE STRING "Directory of systemd's units")
endif()
set(OVO_SYSUSERS_DIR lib/sysusers.d CACHE STRING "Directory of systemd's system users")
set(OVO_TMPFILES_DIR lib/tmpfiles.d CACHE STRING "Directory of systemd's volatile files")

# ovo_install_file(FILE DIRECTORY COMPONENT [NAME [OPTION...]]): installs a file of the tree as NAME, with these options of
# install(). The values of the build that it names as @VARIABLE@, such as @PROJECT_VERSION@ and @CMAKE_INSTALL_FULL_SBINDIR@,
# are filled in; nothing else is changed. The build has it below the same directory of its own.
function(ovo_install_file FILE DIRECTORY COMPONENT)
  if(ARGC GREATER 3)
    list(POP_FRONT ARGN name)
  else()
    get_filename_component(name ${FILE} NAME)
  endif()
  set(configured ${CMAKE_BINARY_DIR}/${DIRECTORY}/${name})
  configure_file(${PROJECT_SOURCE_DIR}/${FILE} ${configured} @ONLY)
  install(FILES ${configured} DESTINATION ${DIRECTORY} COMPONENT ${COMPONENT} ${ARGN})
endfunction()

# ovo_install_manual(COMPONENT FILE...): manual pages, in the section that their suffix says.
function(ovo_install_manual COMPONENT)
  foreach(file IN LISTS ARGN)
    get_filename_component(suffix ${file} LAST_EXT)
    string(SUBSTRING ${suffix} 1 1 section)
    ovo_install_file(${file} ${CMAKE_INSTALL_MANDIR}/man${section} ${COMPONENT})
  endforeach()
endfunction()

# --- daemon
install(TARGETS ovo RUNTIME DESTINATION ${CMAKE_INSTALL_SBINDIR} COMPONENT daemon)
foreach(unit IN ITEMS ovo.service ovo-bus.service)
  ovo_install_file(packaging/systemd/${unit}.in ${OVO_SYSTEMD_UNIT_DIR} daemon ${unit})
endforeach()
ovo_install_file(packaging/systemd/ovo.sysusers ${OVO_SYSUSERS_DIR} daemon ovo.conf)
ovo_install_file(packaging/systemd/ovo.tmpfiles ${OVO_TMPFILES_DIR} daemon ovo.conf)
# It may hold the password of a proxy.
ovo_install_file(packaging/systemd/ovo.default ${CMAKE_INSTALL_FULL_SYSCONFDIR}/default daemon ovo
  PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ)
# The bus
foreach(file IN ITEMS bus.conf bus-services.acl bus-daemon.acl)
  ovo_install_file(packaging/bus/${file} ${CMAKE_INSTALL_FULL_SYSCONFDIR}/ovo daemon)
endforeach()
ovo_install_manual(daemon docs/man/ovo.8)

# --- tools
if(OVO_TOOLS)
  install(TARGETS ovoctl phone-simulator fault-server
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
  ovo_install_manual(tools docs/man/ovoctl.1 docs/man/phone-simulator.1 docs/man/fault-server.1)
  ovo_install_file(packaging/completion/ovoctl ${CMAKE_INSTALL_DATADIR}/bash-completion/completions tools)
  install(FILES docs/provisioning.rng DESTINATION ${CMAKE_INSTALL_DATADIR}/ovo COMPONENT tools)
endif()

# --- doc
install(FILES README.md CHANGELOG.md LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT doc)
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs COMPONENT doc
  FILES_MATCHING PATTERN "*.md" PATTERN "*.svg" PATTERN man EXCLUDE)
install(FILES docs/provisioning.rng DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs COMPONENT doc)
ovo_install_manual(doc docs/man/ovo-provisioning.5)

# --- debug: where debuggers look for the symbols of a program
if(OVO_SPLIT_DEBUG)
  set(programs ovo:${CMAKE_INSTALL_FULL_SBINDIR})
  if(OVO_TOOLS)
    foreach(program IN ITEMS ovoctl phone-simulator fault-server)
      list(APPEND programs ${program}:${CMAKE_INSTALL_FULL_BINDIR})
    endforeach()
  endif()
  foreach(entry IN LISTS programs)
    string(REPLACE ":" ";" entry ${entry})
    list(GET entry 0 program)
    list(GET entry 1 directory)
    install(FILES $<TARGET_FILE:${program}>.debug DESTINATION lib/debug${directory} COMPONENT debug)
  endforeach()
endif()

# --- dev
ovo_install_package()
# Only the compiler that made it can read what it left for the optimisation of the whole, and others refuse it.
install(CODE "
  file(GLOB libraries \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${OVO_LIBRARY_DIR}/*.a\")
  foreach(library IN LISTS libraries)
    execute_process(COMMAND \"${CMAKE_OBJCOPY}\" --enable-deterministic-archives --wildcard
      --remove-section=.gnu.lto_* --remove-section=.gnu.debuglto_* --strip-symbol=__gnu_lto_* \"\${library}\"
      COMMAND_ERROR_IS_FATAL ANY)
  endforeach()
" COMPONENT dev)
