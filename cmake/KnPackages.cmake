# Debian packages by CPack, one for each component: "cpack -G DEB" in the build tree, or scripts/package, which also
# checks them. The preset "package" is made for that: it installs below /usr, without search paths in the binaries.

set(KN_PACKAGE_MAINTAINER "knOpenSGAnim maintainers <maintainers@knopensganim.example>" CACHE STRING
  "Name and address of who stands for the Debian packages")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME knopensganim)
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
# The first line of each description below is a summary of its own.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_PACKAGE_CONTACT "${KN_PACKAGE_MAINTAINER}")
set(CPACK_PACKAGE_DIRECTORY "${PROJECT_BINARY_DIR}/packages")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL library development)
if(KN_BUILD_TOOLS)
  list(APPEND CPACK_COMPONENTS_ALL tool)
endif()
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SOURCE knopensganim)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(same_version "(= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")

# The package is called after the libraries' SONAME: a release that breaks binaries gets another name.
set(runtime_package "libknopensganim${PROJECT_VERSION_MAJOR}")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME "${runtime_package}")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY "=")
set(control_dir "${PROJECT_SOURCE_DIR}/cmake/package")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA "${control_dir}/triggers;${control_dir}/postinst;${control_dir}/postrm")
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION "keyframe animation for scene graphs - shared libraries
Keeps curves on the objects of a scene, evaluates them for a frame on all
cores, writes the values into the objects' fields and tells the program what
has changed. The scene graph that it works on is part of it.
.
This package holds the libraries that programs need to run.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libknopensganim-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${runtime_package} ${same_version}, libtbb-dev, libboost-dev (>= 1.74)")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "keyframe animation for scene graphs - development files
Keeps curves on the objects of a scene, evaluates them for a frame on all
cores, writes the values into the objects' fields and tells the program what
has changed. The scene graph that it works on is part of it.
.
This package holds the headers, the CMake package, the pkg-config files, and
the pages with their examples.")

set(CPACK_DEBIAN_TOOL_PACKAGE_NAME knanim)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS "${runtime_package} ${same_version}")
set(CPACK_DEBIAN_TOOL_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_TOOL_PACKAGE_SUGGESTS ffmpeg)
# Where the libraries are that the tool is linked to, and that no installed package holds yet.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${PROJECT_BINARY_DIR}/src")
set(CPACK_COMPONENT_TOOL_DESCRIPTION "play, draw, thin and convert keyframe animations
Reads the animations of glTF, FBX, Collada, BVH and other models, plays them,
tells what is in them, draws film strips and curves, reduces their keys, and
saves them as glTF or in scene files of its own.")

# What Debian wants beside each package: terms, and the changes of the program and of its packaging.
set(notes_dir "${PROJECT_BINARY_DIR}/package-notes")
string(TIMESTAMP package_year "%Y" UTC)
string(TIMESTAMP package_date "%a, %d %b %Y %H:%M:%S +0000" UTC)
configure_file("${PROJECT_SOURCE_DIR}/cmake/package/copyright.in" "${notes_dir}/copyright" @ONLY)
configure_file("${PROJECT_SOURCE_DIR}/cmake/package/changelog.Debian.in" "${notes_dir}/changelog.Debian" @ONLY)
configure_file("${PROJECT_SOURCE_DIR}/CHANGELOG.md" "${notes_dir}/changelog" COPYONLY)
find_program(GZIP_PROGRAM gzip)
mark_as_advanced(GZIP_PROGRAM)
if(NOT GZIP_PROGRAM)
  return()
endif()
foreach(text IN ITEMS changelog.Debian changelog)
  execute_process(COMMAND "${GZIP_PROGRAM}" --best --no-name --force --keep "${notes_dir}/${text}" COMMAND_ERROR_IS_FATAL ANY)
endforeach()
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER "${component}" upper)
  install(FILES "${notes_dir}/copyright" "${notes_dir}/changelog.Debian.gz" "${notes_dir}/changelog.gz"
    DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME}"
    COMPONENT ${component} EXCLUDE_FROM_ALL)
endforeach()

# Whoever develops with it reads the pages and the examples where Debian puts them.
set(pages_dir "${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME}")
install(FILES "${PROJECT_SOURCE_DIR}/README.md" "${PROJECT_SOURCE_DIR}/CHANGELOG.md" DESTINATION "${pages_dir}"
  COMPONENT development EXCLUDE_FROM_ALL)
install(DIRECTORY "${PROJECT_SOURCE_DIR}/docs" "${PROJECT_SOURCE_DIR}/examples" DESTINATION "${pages_dir}"
  COMPONENT development EXCLUDE_FROM_ALL PATTERN Doxyfile EXCLUDE PATTERN CMakeLists.txt EXCLUDE)

include(CPack)
