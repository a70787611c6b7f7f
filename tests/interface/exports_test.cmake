# The shared library exports the functions of exports.list, as symbols of one version, and nothing else.
#   cmake -D NM=... -D LIBRARY=... -D LIST=... -D VERSION=... -P exports_test.cmake
execute_process(COMMAND ${NM} -D --defined-only --with-symbol-versions --format=posix ${LIBRARY}
  OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "[^\n]+" symbols "${symbols}")
list(TRANSFORM symbols REPLACE " .*" "")
# What the sanitizers add is not ours.
list(FILTER symbols EXCLUDE REGEX "^(__|_init$|_fini$|_edata|_end)")
list(SORT symbols)
file(STRINGS ${LIST} wanted REGEX "^[0-9]")
list(TRANSFORM wanted REPLACE "^[0-9]+ (.*)" "\\1@@${VERSION}")
# The version itself is one, too.
list(APPEND wanted ${VERSION})
list(SORT wanted)
if(NOT symbols STREQUAL wanted)
  message(FATAL_ERROR "exported: ${symbols}\nwanted: ${wanted}")
endif()
