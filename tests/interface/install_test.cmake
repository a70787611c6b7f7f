# An installed copy serves a caller, found through CMake and through pkg-config.
#   cmake -D BUILD=... -D SOURCE=... -D WORK=... -D CC=... -D FLAGS=... -P install_test.cmake
function(run)
  execute_process(COMMAND ${ARGV} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK})
run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}/prefix)
set(ENV{DEVPREP_REGISTRY} ${WORK}/none.reg)
set(ENV{ASAN_OPTIONS} detect_leaks=0)

run(${CMAKE_COMMAND} -S ${SOURCE} -B ${WORK}/build -D CMAKE_PREFIX_PATH=${WORK}/prefix
  -D CMAKE_C_COMPILER=${CC} -D CMAKE_C_FLAGS=${FLAGS})
run(${CMAKE_COMMAND} --build ${WORK}/build)
run(${WORK}/build/consumer)

file(GLOB_RECURSE pc ${WORK}/prefix/devprep.pc)
cmake_path(GET pc PARENT_PATH pc_folder)
set(ENV{PKG_CONFIG_PATH} ${pc_folder})
execute_process(COMMAND pkg-config --define-variable=prefix=${WORK}/prefix --cflags --libs devprep
  OUTPUT_VARIABLE options OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
separate_arguments(options UNIX_COMMAND "${options}")
separate_arguments(flags UNIX_COMMAND "${FLAGS}")
run(${CC} ${flags} -Wall -Werror ${SOURCE}/consumer.c ${options} -o ${WORK}/consumer)
cmake_path(GET pc_folder PARENT_PATH libraries)
set(ENV{LD_LIBRARY_PATH} ${libraries})
run(${WORK}/consumer)
