# Stops where the library cannot be built. Also runs alone, by cmake -P, with the variables given: the tests do so.
set(system ${CMAKE_SYSTEM_NAME})
set(compiler "${CMAKE_CXX_COMPILER_ID} ${CMAKE_CXX_COMPILER_VERSION}")
if(NOT system STREQUAL "Linux")
  message(FATAL_ERROR "This is the SDK of a router that runs Linux; ${system} has none of its interfaces (System V "
    "segments, /proc, namespaces). Build on Linux, or for it with a tool chain file whose CMAKE_SYSTEM_NAME is Linux.")
endif()

# The oldest that every change is compiled with.
set(oldest_GNU 11)
set(oldest_Clang 14)
if(NOT DEFINED oldest_${CMAKE_CXX_COMPILER_ID} OR
    CMAKE_CXX_COMPILER_VERSION VERSION_LESS oldest_${CMAKE_CXX_COMPILER_ID})
  message(FATAL_ERROR "The C++ compiler is ${compiler}; it has to be GCC ${oldest_GNU} or later or clang "
    "${oldest_Clang} or later. On Debian: apt-get install g++, or set CMAKE_CXX_COMPILER.")
endif()
