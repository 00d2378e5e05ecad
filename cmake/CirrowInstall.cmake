# What an install holds, in these components:
#   runtime     libcirrow.so.<major>: what goes on the aircraft beside its middleware
#   dev         the public headers, the versioned SONAME link, the CMake package and cirrow.pc
#   host-tools  everything that only runs on a development host: the middleware stand-in
#               (libmbus.so, cirrow::mbus, its headers under include/cirrow-platform and
#               cirrow-mbus.pc), the calibration tool stand-in and any later simulator, launcher
#               or capture tool under platform/.
#   stand-in    a cross build only, and only when asked for (`--component stand-in`): the stand-in
#               middleware built for the aircraft's processor, with its headers, cirrow::mbus and
#               cirrow-mbus.pc, so that an application cross-built against the sysroot flies on
#               the desk under qemu-arm against cirrow-aircraft. A plain install leaves it out: it
#               must never shadow the aircraft's own middleware in a sysroot.
# The rule for host tools: install them with cw_install_host_tool, never with install() directly.
# A cross build (CMAKE_CROSSCOMPILING, the aircraft) installs no host tool at all, whatever
# CW_INSTALL_HOST_TOOLS says, so an aircraft prefix holds the library and its headers only.
include_guard(GLOBAL)
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

if(CMAKE_CROSSCOMPILING)
  set(CW_INSTALL_HOST_TOOLS OFF CACHE BOOL "Install the host tools (always off when cross-compiling)" FORCE)
else()
  option(CW_INSTALL_HOST_TOOLS "Install the host tools (stand-ins, simulator, launcher, capture tools)" ON)
endif()

set(CW_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/cirrow)
set(CW_INSTALL_PLATFORM_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/cirrow-platform)

# cw_install_host_tool([TARGETS <target>...] [EXPORT] [FILES <file>...] [DESTINATION <dir>])
#   TARGETS      executables (to bin/) and shared libraries (to lib/) of the host tools
#   EXPORT       also export the targets as cirrow::<target> in the CMake package (libraries that
#                applications link on a host, such as the stand-in middleware)
#   FILES        data files of a host tool (a dissector, a scenario), to DESTINATION
#                (default share/cirrow)
# Does nothing in a cross build or with CW_INSTALL_HOST_TOOLS off.
function(cw_install_host_tool)
  cmake_parse_arguments(arg "EXPORT" "DESTINATION" "TARGETS;FILES" ${ARGN})
  if(arg_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "cw_install_host_tool: unknown arguments ${arg_UNPARSED_ARGUMENTS}")
  endif()
  if(CMAKE_CROSSCOMPILING OR NOT CW_INSTALL_HOST_TOOLS)
    return()
  endif()
  cw_install_in_component(host-tools "" ${ARGN})
endfunction()

# cw_install_stand_in(TARGETS <target>... [FILES <file>... DESTINATION <dir>]): the stand-in
# middleware (exported as cirrow::<target>) and its files. On a host they are host tools; in a
# cross build they go to the component stand-in, left out of a plain install.
function(cw_install_stand_in)
  if(NOT CMAKE_CROSSCOMPILING)
    cw_install_host_tool(${ARGN})
  else()
    cw_install_in_component(stand-in EXCLUDE_FROM_ALL ${ARGN})
  endif()
endfunction()

# The install() calls of the two functions above, into <component>.
function(cw_install_in_component component exclude)
  cmake_parse_arguments(arg "EXPORT" "DESTINATION" "TARGETS;FILES" ${ARGN})
  if(arg_TARGETS)
    set(export_args)
    if(arg_EXPORT OR component STREQUAL "stand-in")
      set(export_args EXPORT cirrowHostTargets)
      set_property(GLOBAL PROPERTY CW_HOST_TARGETS_EXPORTED ${component})
    endif()
    install(TARGETS ${arg_TARGETS} ${export_args}
      RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT ${component} ${exclude}
      LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${component} NAMELINK_COMPONENT ${component} ${exclude}
      ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${component} ${exclude}
      PUBLIC_HEADER DESTINATION ${CW_INSTALL_PLATFORM_INCLUDEDIR} COMPONENT ${component} ${exclude})
  endif()
  if(arg_FILES)
    if(NOT arg_DESTINATION)
      set(arg_DESTINATION ${CMAKE_INSTALL_DATADIR}/cirrow)
    endif()
    install(FILES ${arg_FILES} DESTINATION ${arg_DESTINATION} COMPONENT ${component} ${exclude})
  endif()
endfunction()

# cw_install_package(): the library (runtime, dev), its headers, cirrowConfig.cmake with its
# version file, cirrow.pc, and the host export set when a host tool asked for one. Call it once,
# after every host tool has been added.
function(cw_install_package)
  install(TARGETS cirrow EXPORT cirrowTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/cirrow DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
    COMPONENT dev FILES_MATCHING PATTERN "*.h")
  install(EXPORT cirrowTargets NAMESPACE cirrow:: DESTINATION ${CW_INSTALL_CMAKEDIR} COMPONENT dev)
  # The stand-in's export set: host-tools on a host, stand-in (asked for by name) in a cross build.
  get_property(host_exported GLOBAL PROPERTY CW_HOST_TARGETS_EXPORTED)
  if(host_exported)
    set(exclude)
    if(host_exported STREQUAL "stand-in")
      set(exclude EXCLUDE_FROM_ALL)
    endif()
    install(EXPORT cirrowHostTargets NAMESPACE cirrow:: DESTINATION ${CW_INSTALL_CMAKEDIR}
      COMPONENT ${host_exported} ${exclude})
  endif()

  configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/cirrowConfig.cmake.in
    ${PROJECT_BINARY_DIR}/cirrowConfig.cmake INSTALL_DESTINATION ${CW_INSTALL_CMAKEDIR})
  write_basic_package_version_file(${PROJECT_BINARY_DIR}/cirrowConfigVersion.cmake
    VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
  install(FILES ${PROJECT_BINARY_DIR}/cirrowConfig.cmake ${PROJECT_BINARY_DIR}/cirrowConfigVersion.cmake
    DESTINATION ${CW_INSTALL_CMAKEDIR} COMPONENT dev)

  # pkg-config files find their prefix relative to themselves, so `cmake --install --prefix`
  # anywhere gives working files.
  if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}" OR IS_ABSOLUTE "${CMAKE_INSTALL_INCLUDEDIR}")
    message(FATAL_ERROR "cirrow installs with relative CMAKE_INSTALL_LIBDIR and CMAKE_INSTALL_INCLUDEDIR")
  endif()
  file(RELATIVE_PATH CW_PC_PREFIX_FROM_PCDIR /root/${CMAKE_INSTALL_LIBDIR}/pkgconfig /root)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/cirrow.pc.in ${PROJECT_BINARY_DIR}/cirrow.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/cirrow.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)
  if(host_exported)
    configure_file(${PROJECT_SOURCE_DIR}/cmake/cirrow-mbus.pc.in ${PROJECT_BINARY_DIR}/cirrow-mbus.pc @ONLY)
    cw_install_stand_in(FILES ${PROJECT_BINARY_DIR}/cirrow-mbus.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
  endif()
endfunction()
