# bus::ubus is libubus with libubox: the installed pair if there is one (the router's SDK, a PC that
# built them), else hostbus, our own for PCs, which has the same headers and names.
if(NOT ZEL_BUS MATCHES "^(auto|system|hostbus)$")
  message(FATAL_ERROR "ZEL_BUS is '${ZEL_BUS}'; it can be auto, system or hostbus.")
endif()
find_package(PkgConfig QUIET)
if(NOT ZEL_BUS STREQUAL "hostbus")
  if(PkgConfig_FOUND)
    pkg_check_modules(UBUS QUIET IMPORTED_TARGET libubus libubox)
  endif()
  find_path(UBUS_INCLUDE_DIR libubus.h)
  find_library(UBUS_LIBRARY ubus)
  find_library(UBOX_LIBRARY ubox)
endif()

if(NOT ZEL_BUS STREQUAL "hostbus" AND UBUS_FOUND)
  set(ZEL_BUS_IS system)
  add_library(bus::ubus ALIAS PkgConfig::UBUS)
elseif(NOT ZEL_BUS STREQUAL "hostbus" AND UBUS_INCLUDE_DIR AND UBUS_LIBRARY AND UBOX_LIBRARY)
  set(ZEL_BUS_IS system)
  add_library(zel_system_bus INTERFACE)
  target_include_directories(zel_system_bus SYSTEM INTERFACE ${UBUS_INCLUDE_DIR})
  target_link_libraries(zel_system_bus INTERFACE ${UBUS_LIBRARY} ${UBOX_LIBRARY})
  add_library(bus::ubus ALIAS zel_system_bus)
elseif(ZEL_BUS STREQUAL "system")
  message(FATAL_ERROR "ZEL_BUS=system, but libubus.h, libubus or libubox was not found. "
    "Set CMAKE_PREFIX_PATH to where they are installed, or use -DZEL_BUS=hostbus.")
elseif(CMAKE_CROSSCOMPILING AND NOT ZEL_BUS STREQUAL "hostbus")
  message(FATAL_ERROR "libubus.h, libubus or libubox was not found for ${CMAKE_SYSTEM_PROCESSOR}. A router has them: set "
    "CMAKE_FIND_ROOT_PATH or CMAKE_SYSROOT to the folder with its libraries and headers, PKG_CONFIG_LIBDIR to its "
    "pkgconfig folder. To build for tests under emulation only, use -DZEL_BUS=hostbus; it is never installed.")
else()
  set(ZEL_BUS_IS hostbus)
endif()

# A cross build is for a device, where the bus libraries of the build decide whether the library runs there.
set(bus "libubus and libubox of this tree (hostbus)")
if(ZEL_BUS_IS STREQUAL "system")
  set(bus "the installed ones: ${UBUS_LINK_LIBRARIES}${UBUS_LIBRARY}")
endif()
if(CMAKE_CROSSCOMPILING AND ZEL_BUS_IS STREQUAL "hostbus")
  message(WARNING "Bus libraries for ${CMAKE_SYSTEM_PROCESSOR}: ${bus}. They serve tests under emulation and are not "
    "installed. For a router use its own, with -DZEL_BUS=system.")
else()
  message(STATUS "Bus libraries for ${CMAKE_SYSTEM_PROCESSOR}: ${bus}")
endif()

if(ZEL_BUS_IS STREQUAL "hostbus" OR ZEL_TOOLS)
  add_subdirectory(hostbus)
endif()
if(ZEL_BUS_IS STREQUAL "hostbus")
  add_library(bus::ubus ALIAS hostbus_ubus)
endif()
