# From src/exports.list: the version script (export_map) and the definition file for Windows
# (export_definitions), in the build folder. Elsewhere than on Windows the exports are symbols of the
# version export_version, so that a program never takes another generation of them for these.
set(export_list ${PROJECT_SOURCE_DIR}/src/exports.list)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${export_list})
file(STRINGS ${export_list} exports REGEX "^[0-9]+ [A-Za-z]+$")
list(JOIN exports "\n" exports)
string(REGEX REPLACE "([0-9]+) ([A-Za-z]+)" "    \\2;" exports_of_map "${exports}")
string(REGEX REPLACE "([0-9]+) ([A-Za-z]+)" "  \\2 @\\1" exports_of_definitions "${exports}")
set(export_version DEVPREP_${PROJECT_VERSION_MAJOR})
set(export_map ${PROJECT_BINARY_DIR}/devprep.map)
set(export_definitions ${PROJECT_BINARY_DIR}/devprep.def)
file(CONFIGURE OUTPUT ${export_map}
  CONTENT "@export_version@ {\n  global:\n@exports_of_map@\n  local:\n    *;\n};\n" @ONLY)
file(CONFIGURE OUTPUT ${export_definitions}
  CONTENT "LIBRARY DEVPREP.dll\nEXPORTS\n@exports_of_definitions@\n" @ONLY)
