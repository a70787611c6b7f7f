# An installed copy serves a caller, found through CMake and through pkg-config, shared and static.
#   cmake -D BUILD=... -D SOURCE=... -D WORK=... -D CC=... -D FLAGS=... -P install_test.cmake
function(run)
  execute_process(COMMAND ${ARGV} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

# Runs a consumer on a registry with a home and the log switched on.
function(run_consumer consumer)
  file(WRITE ${WORK}/consumer.reg "REGEDIT4

[HKEY_LOCAL_MACHINE\\SOFTWARE\\Tamberline\\Vaultkeep\\Base\\Path]
\"HOME\"=\"${WORK}\"

[HKEY_LOCAL_MACHINE\\SOFTWARE\\Tamberline\\Vaultkeep\\Base\\TapeEngine\\Debug]
\"Level\"=dword:00000001
")
  execute_process(COMMAND ${consumer} OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
  if(NOT output MATCHES "^Unable to load ACSLSLNK.DLL .*\nstatus 0 and 0, 0 devices\n$")
    message(FATAL_ERROR "${consumer} printed: ${output}")
  endif()
endfunction()

# The options to compile and link with, as pkg-config tells them.
function(pkg_config_options result)
  execute_process(COMMAND pkg-config --define-variable=prefix=${WORK}/prefix ${ARGN} --cflags --libs devprep
    OUTPUT_VARIABLE options OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  separate_arguments(options UNIX_COMMAND "${options}")
  set(${result} ${options} PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK})
run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}/prefix)
file(WRITE ${WORK}/empty.capture "REGEDIT4\n")
set(ENV{DEVPREP_REGISTRY} ${WORK}/consumer.reg)
set(ENV{DEVPREP_HARDWARE} ${WORK}/empty.capture)
set(ENV{ASAN_OPTIONS} detect_leaks=0)

run(${CMAKE_COMMAND} -S ${SOURCE} -B ${WORK}/build -D CMAKE_PREFIX_PATH=${WORK}/prefix
  -D CMAKE_C_COMPILER=${CC} -D CMAKE_C_FLAGS=${FLAGS})
run(${CMAKE_COMMAND} --build ${WORK}/build)
run_consumer(${WORK}/build/consumer)
run_consumer(${WORK}/build/consumer_static)

file(GLOB_RECURSE pc ${WORK}/prefix/devprep.pc)
cmake_path(GET pc PARENT_PATH pc_folder)
set(ENV{PKG_CONFIG_PATH} ${pc_folder})
cmake_path(GET pc_folder PARENT_PATH libraries)
set(ENV{LD_LIBRARY_PATH} ${libraries})
separate_arguments(flags UNIX_COMMAND "${FLAGS}")
pkg_config_options(shared)
run(${CC} ${flags} -Wall -Werror ${SOURCE}/consumer.c ${shared} -o ${WORK}/consumer)
run_consumer(${WORK}/consumer)
pkg_config_options(static --static)
list(TRANSFORM static REPLACE "^-ldevprep$" "-l:libdevprep.a")
run(${CC} ${flags} -Wall -Werror ${SOURCE}/consumer.c ${static} -o ${WORK}/consumer_static)
run_consumer(${WORK}/consumer_static)
