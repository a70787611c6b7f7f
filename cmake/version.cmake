# What tells the project's version: a public header, the man pages (in their folder) and, on Windows,
# a resource in each program.
configure_file(${PROJECT_SOURCE_DIR}/include/devprep/version.h.in
  ${PROJECT_BINARY_DIR}/include/devprep/version.h @ONLY)

file(GLOB man_pages CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/*.1.in)
set(man_folder ${PROJECT_BINARY_DIR}/docs)
foreach(page ${man_pages})
  cmake_path(GET page STEM LAST_ONLY name)
  configure_file(${page} ${man_folder}/${name} @ONLY)
endforeach()

# add_version_resource(TARGET DLL|APP FILE DESCRIPTION); nothing elsewhere than on Windows.
function(add_version_resource target kind file description)
  if(NOT WIN32)
    return()
  endif()
  set(resource_type VFT_${kind})
  set(resource_file ${file})
  set(resource_description ${description})
  file(STRINGS ${PROJECT_SOURCE_DIR}/LICENCE resource_copyright REGEX "^Copyright")
  configure_file(${PROJECT_SOURCE_DIR}/src/platform/windows/version.rc.in
    ${PROJECT_BINARY_DIR}/${target}.rc @ONLY)
  target_sources(${target} PRIVATE ${PROJECT_BINARY_DIR}/${target}.rc)
endfunction()

if(WIN32)
  enable_language(RC)
endif()
