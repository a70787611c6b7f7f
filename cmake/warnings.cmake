# Compiler settings shared by everything that is built here. Warnings are errors.
add_library(devprep_settings INTERFACE)
target_compile_options(devprep_settings INTERFACE
  -Wall -Wextra -Wpedantic -Werror -Wconversion -Wsign-conversion -Wshadow -Wold-style-cast
  -Wnon-virtual-dtor -Woverloaded-virtual -Wformat=2 -Wundef -Wcast-qual)
# GCC 12 takes the move of a text that a text was put in front of for a copy onto itself.
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  target_compile_options(devprep_settings INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-Wno-restrict>)
endif()
if(DEVPREP_SANITIZE)
  target_compile_options(devprep_settings INTERFACE
    -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(devprep_settings INTERFACE -fsanitize=address,undefined)
endif()
