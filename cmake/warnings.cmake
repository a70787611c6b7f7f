# Compiler settings shared by everything that is built here. Warnings are errors.
add_library(devprep_settings INTERFACE)
target_compile_options(devprep_settings INTERFACE
  -Wall -Wextra -Wpedantic -Werror -Wconversion -Wsign-conversion -Wshadow -Wold-style-cast
  -Wnon-virtual-dtor -Woverloaded-virtual -Wformat=2 -Wundef -Wcast-qual)
if(DEVPREP_SANITIZE)
  target_compile_options(devprep_settings INTERFACE
    -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(devprep_settings INTERFACE -fsanitize=address,undefined)
endif()
