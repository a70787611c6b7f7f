# Lives through the same machines with both libraries and compares what they print.
#   NATIVE, WINDOWS: the program and its library (lists); PYTHON; MAKE_WORLDS: the script that makes
#   worlds; EXAMPLES, WORK: folders
set(worlds 60)
file(REMOVE_RECURSE ${WORK}/worlds)
execute_process(COMMAND ${PYTHON} ${MAKE_WORLDS} ${WORK}/worlds ${worlds}
  COMMAND_ERROR_IS_FATAL ANY)
foreach(platform NATIVE WINDOWS)
  file(REMOVE_RECURSE ${WORK}/${platform})
  file(MAKE_DIRECTORY ${WORK}/${platform})
  execute_process(COMMAND ${${platform}} ${WORK}/${platform} ${EXAMPLES} ${WORK}/worlds
    OUTPUT_FILE ${WORK}/${platform}.txt RESULT_VARIABLE status)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${platform}: status ${status}, see ${WORK}/${platform}.txt")
  endif()
endforeach()
# The C library of Windows ends lines with CR LF.
execute_process(COMMAND diff --strip-trailing-cr ${WORK}/NATIVE.txt ${WORK}/WINDOWS.txt
  OUTPUT_VARIABLE difference RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  string(SUBSTRING "${difference}" 0 4000 difference)
  message(FATAL_ERROR "The platforms differ:\n${difference}")
endif()
file(STRINGS ${WORK}/NATIVE.txt lived REGEX "^== ")
list(LENGTH lived count)
if(count LESS worlds)
  message(FATAL_ERROR "only ${count} worlds were lived through")
endif()
message("${count} worlds leave the same registry")
