# Compiler and linker settings that every target shares. Targets link zeldc_options.

add_library(zeldc_options INTERFACE)
target_compile_options(zeldc_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wcast-qual -Wundef -Wformat=2 -Werror
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual>
  $<$<CXX_COMPILER_ID:GNU>:-Wduplicated-cond -Wlogical-op>)
# Unaligned states and buffers are legal, and types that say so are used for them; nothing may
# assume more.
if(ZELDC_SANITIZE)
  target_compile_options(zeldc_options INTERFACE -fsanitize=${ZELDC_SANITIZE}
    -fno-sanitize-recover=all -fno-omit-frame-pointer -g1)
  target_link_options(zeldc_options INTERFACE -fsanitize=${ZELDC_SANITIZE})
endif()
