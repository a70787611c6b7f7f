# Lives through the same machines with both libraries and compares what they print.
#   NATIVE, WINDOWS: the program and its library (lists); EXAMPLES, WORK: folders
set(worlds 60)
foreach(platform NATIVE WINDOWS)
  file(REMOVE_RECURSE ${WORK}/${platform})
  file(MAKE_DIRECTORY ${WORK}/${platform})
  execute_process(COMMAND ${${platform}} ${EXAMPLES} ${WORK}/${platform} ${worlds}
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
