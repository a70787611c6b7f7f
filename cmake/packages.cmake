# What is handed out: a zip for Windows, a Debian package elsewhere.
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
    COMMAND ${CMAKE_COMMAND} -E chdir ${PROJECT_BINARY_DIR}/package
      ${CMAKE_COMMAND} -E tar cf ${PROJECT_BINARY_DIR}/${package_name}.zip --format=zip
      ${package_name}
    DEPENDS devprep_shared devprep_tool VERBATIM)
  return()
endif()

install(FILES ${PROJECT_SOURCE_DIR}/README.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES ${PROJECT_SOURCE_DIR}/LICENCE DESTINATION ${CMAKE_INSTALL_DOCDIR} RENAME copyright)
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "the DEVPREP authors <devprep@localhost>")
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
# Loaded when an iSCSI library is to be reached; what the service of the check needs.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "libiscsi7, jq")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
  "It finds the SCSI tape drives and media changers attached now and keeps device
numbers, settings, groups and tape RAIDs with their devices. The package holds
the library, its development files and the command devprep.")
include(CPack)
