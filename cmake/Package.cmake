# SPDX-License-Identifier: Apache-2.0
# The CMake package "ovo" (install component "dev"): the core, the interfaces and the platform on Linux
# as static libraries, for programs that put other platform libraries in the place of some of these. Its
# parts are "core" (ovo::daemon, ovo::core, ovo::interfaces, ovo::common) and "linux" (ovo::linux_...).
# docs/porting.md describes its use.

include(CMakePackageConfigHelpers)

set(OVO_PACKAGE_DIRECTORY ${CMAKE_INSTALL_LIBDIR}/cmake/ovo)
set(OVO_LIBRARY_DIR ${CMAKE_INSTALL_LIBDIR}/ovo)
# Folders with headers, and the include roots that are made of them: each a directory of its own.
set(OVO_HEADER_FOLDERS common platform/interfaces platform/linux src)
set(OVO_HEADER_ROOTS common interfaces linux core)
list(TRANSFORM OVO_HEADER_ROOTS PREPEND ${CMAKE_INSTALL_INCLUDEDIR}/ovo/)

# ovo_package_module(NAME EXPORT_NAME FOLDER [LIBRARIES...]): called for each module of the package. FOLDER:
# the one of OVO_HEADER_FOLDERS that holds its headers.
function(ovo_package_module NAME EXPORT_NAME FOLDER)
  foreach(folder root IN ZIP_LISTS OVO_HEADER_FOLDERS OVO_HEADER_ROOTS)
    if(FOLDER STREQUAL "${PROJECT_SOURCE_DIR}/${folder}")
      set(headers ${root})
    endif()
  endforeach()
  target_include_directories(${NAME} INTERFACE $<INSTALL_INTERFACE:${headers}>)
  target_compile_features(${NAME} INTERFACE cxx_std_20)
  # Sizes and times in headers are what the libraries were compiled with.
  target_compile_definitions(${NAME} INTERFACE
    $<INSTALL_INTERFACE:_FILE_OFFSET_BITS=64> $<INSTALL_INTERFACE:_TIME_BITS=64>)
  if(EXPORT_NAME)
    set_target_properties(${NAME} PROPERTIES EXPORT_NAME ${EXPORT_NAME})
  endif()
  install(TARGETS ${NAME} EXPORT ovo-${OVO_PACKAGE_PART}
    ARCHIVE DESTINATION ${OVO_LIBRARY_DIR} COMPONENT dev)
  set_property(GLOBAL APPEND PROPERTY ovo_modules_${OVO_PACKAGE_PART} ${NAME})
  set_property(GLOBAL PROPERTY ovo_libraries_${NAME} "${ARGN}")
endfunction()

# Names of the modules of pkg-config that a module of the package needs, with those of its own libraries.
function(ovo_package_needs NAME RESULT)
  get_property(libraries GLOBAL PROPERTY ovo_libraries_${NAME})
  set(needs "")
  foreach(library IN LISTS libraries)
    if(library MATCHES "^PkgConfig::(.*)$")
      list(APPEND needs ${CMAKE_MATCH_1})
    elseif(NOT library MATCHES "::")
      ovo_package_needs(${library} further)
      list(APPEND needs ${further})
    endif()
  endforeach()
  list(REMOVE_DUPLICATES needs)
  set(${RESULT} "${needs}" PARENT_SCOPE)
endfunction()

# Installs headers, exported targets and the package's own files, after all of its modules.
function(ovo_install_package)
  set(OVO_PACKAGE_NEEDS "")
  get_property(core GLOBAL PROPERTY ovo_modules_core)
  get_property(linux GLOBAL PROPERTY ovo_modules_linux)
  set(all "")
  foreach(module IN LISTS core)
    ovo_package_needs(${module} needs)
    list(APPEND all ${needs})
  endforeach()
  list(REMOVE_DUPLICATES all)
  string(APPEND OVO_PACKAGE_NEEDS "set(_ovo_needs_core \"${all}\")\n")
  foreach(module IN LISTS linux)
    ovo_package_needs(${module} needs)
    list(APPEND all ${needs})
    string(APPEND OVO_PACKAGE_NEEDS "set(_ovo_needs_${module} \"${needs}\")\n")
  endforeach()
  list(REMOVE_DUPLICATES all)
  string(APPEND OVO_PACKAGE_NEEDS "set(_ovo_needs_linux \"${all}\")\n")
  # Where pkg-config names a library otherwise than the targets do.
  foreach(name IN LISTS all)
    string(APPEND OVO_PACKAGE_NEEDS "set(_ovo_module_${name} ${${name}_MODULE_NAME})\n")
  endforeach()
  list(TRANSFORM OVO_PLATFORM_LIBRARIES PREPEND ovo:: OUTPUT_VARIABLE OVO_PLATFORM_TARGETS)

  foreach(part IN ITEMS core linux)
    install(EXPORT ovo-${part} NAMESPACE ovo:: FILE ovo-${part}.cmake
      DESTINATION ${OVO_PACKAGE_DIRECTORY} COMPONENT dev)
  endforeach()
  foreach(folder root IN ZIP_LISTS OVO_HEADER_FOLDERS OVO_HEADER_ROOTS)
    if(folder STREQUAL "common")
      # Its headers are named by a path that begins with the folder.
      string(APPEND root /common)
    endif()
    install(DIRECTORY ${PROJECT_SOURCE_DIR}/${folder}/ DESTINATION ${root} COMPONENT dev
      FILES_MATCHING PATTERN "*.h")
  endforeach()
  configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/ovoConfig.cmake.in
    ${PROJECT_BINARY_DIR}/cmake/ovoConfig.cmake INSTALL_DESTINATION ${OVO_PACKAGE_DIRECTORY}
    NO_SET_AND_CHECK_MACRO)
  # Before 1.0 every minor version may change an interface.
  write_basic_package_version_file(${PROJECT_BINARY_DIR}/cmake/ovoConfigVersion.cmake
    COMPATIBILITY SameMinorVersion)
  install(FILES ${PROJECT_BINARY_DIR}/cmake/ovoConfig.cmake
    ${PROJECT_BINARY_DIR}/cmake/ovoConfigVersion.cmake
    DESTINATION ${OVO_PACKAGE_DIRECTORY} COMPONENT dev)
endfunction()
