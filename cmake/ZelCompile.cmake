# Compiler settings every target shares.
add_library(zel_compile INTERFACE)
target_compile_options(zel_compile INTERFACE
  -Wall -Wextra -Wshadow -Wpointer-arith -Wcast-qual -Wformat=2 -Werror=format-security -Wvla
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual>
  $<$<COMPILE_LANG_AND_ID:CXX,Clang>:-Wno-invalid-offsetof>
  $<$<BOOL:${ZEL_WERROR}>:-Werror>)
target_compile_definitions(zel_compile INTERFACE _GNU_SOURCE)

if(ZEL_SANITIZE)
  target_compile_options(zel_compile INTERFACE
    -fsanitize=${ZEL_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(zel_compile INTERFACE -fsanitize=${ZEL_SANITIZE})
endif()

# Hardened, where the tool chain can; packaging/router/README.md has what each step weighs. The sanitizers see more
# than all of it.
include(CheckPIESupported)
check_pie_supported()
if(NOT ZEL_SANITIZE)
  add_compile_options(-fstack-protector $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE$<SEMICOLON>-D_FORTIFY_SOURCE=2>)
  # Compilers for MIPS ask for an executable stack unless the linker says otherwise.
  add_link_options(-Wl,-z,relro,-z,now,-z,noexecstack)
endif()
if(ZEL_PAGE_SIZE)
  add_link_options(-Wl,-z,max-page-size=${ZEL_PAGE_SIZE})
endif()
if(ZEL_STATIC_RUNTIME)
  add_link_options($<$<LINK_LANGUAGE:CXX>:-static-libstdc++> $<$<LINK_LANGUAGE:CXX>:-static-libgcc>)
endif()

# zel_headers_once(TARGET HEADER...): large headers of programs, compiled once for all that ask for them with
# target_precompile_headers(... REUSE_FROM TARGET). A source still includes what it uses: scripts/lint compiles without.
function(zel_headers_once target)
  set(source ${CMAKE_CURRENT_BINARY_DIR}/${target}.cpp)
  file(CONFIGURE OUTPUT ${source} CONTENT "")
  add_library(${target} OBJECT ${source})
  target_precompile_headers(${target} PRIVATE ${ARGN})
endfunction()

# zel_need_library(TARGET): whatever loads the target loads ZEL_NEEDED_LIBRARY, although nothing here calls it.
function(zel_need_library target)
  if(ZEL_NEEDED_LIBRARY)
    target_link_options(${target} PRIVATE -Wl,--push-state,--no-as-needed,-l:${ZEL_NEEDED_LIBRARY},--pop-state)
  endif()
endfunction()

# The router's flash is small: unused functions and data are left out of what is linked.
add_compile_options(-ffunction-sections -fdata-sections)
add_link_options(-Wl,--gc-sections -Wl,--as-needed)

# zel_export_only(TARGET LIST): the shared library exports the names of the file and nothing else. The linker
# refuses a listed name that is missing. "Class::name" stands for all members of that name: the names that the
# linker sees hold the argument types, and size_t is spelled differently on the router and on a PC.
function(zel_export_only target list)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${list})
  file(STRINGS ${list} names REGEX "^[^#]")
  set(members ${names})
  list(FILTER names EXCLUDE REGEX "::")
  list(FILTER members INCLUDE REGEX "::")
  list(TRANSFORM members REPLACE "~" "?")  # a tilde is no part of the linker's patterns
  list(TRANSFORM members REPLACE "(.+)" "extern \"C++\" { \\1[!A-Za-z0-9_]* }")
  list(APPEND names ${members})
  list(JOIN names ";\n    " names)
  set(map ${CMAKE_CURRENT_BINARY_DIR}/${target}.map)
  file(CONFIGURE OUTPUT ${map} CONTENT "{\n  global:\n    ${names};\n  local:\n    *;\n};\n")
  target_link_options(${target} PRIVATE -Wl,--version-script=${map} -Wl,--no-undefined-version)
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${map})
endfunction()
