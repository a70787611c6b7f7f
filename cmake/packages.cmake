# What is handed out: a zip for Windows, elsewhere what is installed; the folder debian parts that into
# packages.
if(WIN32)
  # Target package-windows: the zip, in the build folder.
  set(package_name devprep-${PROJECT_VERSION}-windows)
  set(package_folder ${PROJECT_BINARY_DIR}/package/${package_name})
  add_custom_target(package-windows
    COMMAND ${CMAKE_COMMAND} -E rm -rf ${package_folder}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${package_folder}/devprep
    COMMAND ${CMAKE_COMMAND} -E copy
      $<TARGET_FILE:devprep_shared> $<TARGET_FILE:devprep_tool>
      $<TARGET_LINKER_FILE:devprep_shared> ${export_definitions}
      ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/LICENCE ${package_folder}
    COMMAND ${CMAKE_COMMAND} -E copy
      ${PROJECT_SOURCE_DIR}/include/devprep/devprep.h ${PROJECT_BINARY_DIR}/include/devprep/version.h
      ${package_folder}/devprep
    COMMAND ${CMAKE_COMMAND} -E copy_directory ${PROJECT_SOURCE_DIR}/share/schema ${package_folder}/share/schema
    COMMAND ${CMAKE_COMMAND} -E chdir ${PROJECT_BINARY_DIR}/package
      ${CMAKE_COMMAND} -E tar cf ${PROJECT_BINARY_DIR}/${package_name}.zip --format=zip
      ${package_name}
    DEPENDS devprep_shared devprep_tool VERBATIM)
  return()
endif()

install(FILES ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/LICENCE DESTINATION ${CMAKE_INSTALL_DOCDIR})
