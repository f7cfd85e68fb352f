# Compiler settings every target shares.
add_library(zel_compile INTERFACE)
target_compile_options(zel_compile INTERFACE
  -Wall -Wextra -Wshadow -Wpointer-arith -Wcast-qual -Wformat=2 -Werror=format-security -Wvla
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual>
  $<$<BOOL:${ZEL_WERROR}>:-Werror>)
target_compile_definitions(zel_compile INTERFACE _GNU_SOURCE)

if(ZEL_SANITIZE)
  target_compile_options(zel_compile INTERFACE
    -fsanitize=${ZEL_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(zel_compile INTERFACE -fsanitize=${ZEL_SANITIZE})
endif()

# The router's flash is small: unused functions and data are left out of what is linked.
add_compile_options(-ffunction-sections -fdata-sections)
add_link_options(-Wl,--gc-sections -Wl,--as-needed)
