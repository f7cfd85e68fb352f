# What is installed, in components that can be had alone (cmake --install BUILD --component NAME):
#   library      libzel.so.0, all that a plug-in needs to run
#   development  headers, libzel.pc, the CMake package with zel::zel, manual pages of the calls (ZEL_MANUALS)
#   tools        zelctl
#   box          routerbox and its servers
#   hostbus      the broker, and on PCs that have none libubus and libubox
include(GNUInstallDirs)

# Programs in a folder of somebody's own find the libraries beside them. In the system's folders the loader knows
# where to look, and a run path would keep it from what an administrator prefers.
set(system_folders / /usr /usr/local)
if(NOT CMAKE_INSTALL_PREFIX IN_LIST system_folders)
  cmake_path(RELATIVE_PATH CMAKE_INSTALL_FULL_LIBDIR BASE_DIRECTORY ${CMAKE_INSTALL_FULL_BINDIR}
    OUTPUT_VARIABLE libraries_from_programs)
  set(CMAKE_INSTALL_RPATH "\$ORIGIN" "\$ORIGIN/${libraries_from_programs}")
endif()

# What nothing else has to find may have a folder of its own: packages for PCs put the host bus there, out of the way
# of the genuine libraries.
set(ZEL_HOSTBUS_LIBDIR ${CMAKE_INSTALL_LIBDIR} CACHE STRING "Folder below the prefix for the host bus's libraries")
if(NOT ZEL_HOSTBUS_LIBDIR STREQUAL CMAKE_INSTALL_LIBDIR)
  list(APPEND CMAKE_INSTALL_RPATH ${CMAKE_INSTALL_PREFIX}/${ZEL_HOSTBUS_LIBDIR})
endif()

# zel_install_hostbus(...): install(), but where the genuine libraries are or belong nothing takes their place.
function(zel_install_hostbus)
  if(ZEL_BUS_IS STREQUAL "hostbus" AND NOT CMAKE_CROSSCOMPILING)
    install(${ARGN} COMPONENT hostbus)
  endif()
endfunction()

function(zel_install_development)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/zel DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
    COMPONENT development FILES_MATCHING PATTERN "*.h" PATTERN "*.hpp")

  set(package ${CMAKE_INSTALL_LIBDIR}/cmake/zel)
  include(CMakePackageConfigHelpers)
  # The major version is the SONAME.
  write_basic_package_version_file(${PROJECT_BINARY_DIR}/CMakeFiles/zelConfigVersion.cmake COMPATIBILITY SameMajorVersion)
  # No export of CMake's own: that would ask plug-ins for the bus libraries, which only the loader has to find.
  configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/zelConfig.cmake.in ${PROJECT_BINARY_DIR}/CMakeFiles/zelConfig.cmake
    INSTALL_DESTINATION ${package} PATH_VARS CMAKE_INSTALL_LIBDIR CMAKE_INSTALL_INCLUDEDIR
    NO_CHECK_REQUIRED_COMPONENTS_MACRO)
  install(FILES ${PROJECT_BINARY_DIR}/CMakeFiles/zelConfig.cmake ${PROJECT_BINARY_DIR}/CMakeFiles/zelConfigVersion.cmake
    DESTINATION ${package} COMPONENT development)

  # Its prefix is known when it is installed.
  set(pc ${PROJECT_BINARY_DIR}/libzel.pc)
  install(CODE "
    set(LIBDIR \"${CMAKE_INSTALL_LIBDIR}\")
    set(INCLUDEDIR \"${CMAKE_INSTALL_INCLUDEDIR}\")
    set(DESCRIPTION \"${PROJECT_DESCRIPTION}\")
    set(VERSION \"${PROJECT_VERSION}\")
    configure_file(\"${PROJECT_SOURCE_DIR}/cmake/libzel.pc.in\" \"${pc}\" @ONLY)" COMPONENT development)
  install(FILES ${pc} DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endfunction()

# The manual pages, each with the component of what it describes.
function(zel_install_manuals)
  foreach(program doxygen lowdown)
    find_program(${program}_program ${program})
    if(NOT ${program}_program)
      message(FATAL_ERROR "${program} is missing, which ZEL_MANUALS needs; Debian has it in the package ${program}")
    endif()
  endforeach()
  set(manuals ${PROJECT_BINARY_DIR}/manuals)
  file(GLOB sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/include/zel/*.h ${PROJECT_SOURCE_DIR}/docs/pages/reference/*.md)
  add_custom_command(OUTPUT ${manuals}/made COMMAND ${PROJECT_SOURCE_DIR}/docs/manuals ${manuals}
    COMMAND ${CMAKE_COMMAND} -E touch ${manuals}/made
    DEPENDS ${sources} ${PROJECT_SOURCE_DIR}/docs/manuals ${PROJECT_SOURCE_DIR}/docs/Doxyfile
      ${PROJECT_SOURCE_DIR}/docs/doxygen-filter ${PROJECT_SOURCE_DIR}/src/exports.txt VERBATIM)
  add_custom_target(manuals ALL DEPENDS ${manuals}/made)
  install(DIRECTORY ${manuals}/man3 DESTINATION ${CMAKE_INSTALL_MANDIR} COMPONENT development)
  install(FILES ${manuals}/man1/zelctl.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
  install(FILES ${manuals}/man5/packages.json.5 DESTINATION ${CMAKE_INSTALL_MANDIR}/man5 COMPONENT tools)
  if(ZEL_BOX)
    install(FILES ${manuals}/man1/routerbox.1 ${manuals}/man1/hostbusd.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1
      COMPONENT box)
    install(FILES ${manuals}/man5/box.toml.5 ${manuals}/man5/box.bats.5 DESTINATION ${CMAKE_INSTALL_MANDIR}/man5
      COMPONENT box)
  endif()
endfunction()
