# Install rules, the CMake package and the pkg-config files. Everything installed names its place relative to
# itself, so that an installed tree can be moved. There are three components, which the packages follow: "library", what
# a program needs that runs; "development", what it needs to be built; "tool", the command-line host.

include(CMakePackageConfigHelpers)

# The animation library finds the scene layer beside it, wherever the two are.
set_target_properties(knOpenSGAnim PROPERTIES INSTALL_RPATH "$ORIGIN")
install(TARGETS knScene knOpenSGAnim EXPORT knOpenSGAnimTargets
  RUNTIME COMPONENT library
  LIBRARY COMPONENT library NAMELINK_COMPONENT development)
if(KN_BUILD_TOOLS)
  file(RELATIVE_PATH libdir_from_bindir
    "${CMAKE_INSTALL_FULL_BINDIR}" "${CMAKE_INSTALL_FULL_LIBDIR}")
  set_target_properties(knanim PROPERTIES INSTALL_RPATH "$ORIGIN/${libdir_from_bindir}")
  install(TARGETS knanim COMPONENT tool)
endif()

set(header_dir "${CMAKE_INSTALL_INCLUDEDIR}/knOpenSGAnim")
install(DIRECTORY "${PROJECT_SOURCE_DIR}/include/" DESTINATION "${header_dir}"
  COMPONENT development FILES_MATCHING PATTERN "*.h")
install(DIRECTORY "${PROJECT_SOURCE_DIR}/src/model" DESTINATION "${header_dir}"
  COMPONENT development FILES_MATCHING PATTERN "*.h")

set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/knOpenSGAnim")
install(EXPORT knOpenSGAnimTargets NAMESPACE knOpenSGAnim:: DESTINATION "${package_dir}"
  COMPONENT development)
configure_package_config_file(
  "${PROJECT_SOURCE_DIR}/cmake/knOpenSGAnimConfig.cmake.in" "${PROJECT_BINARY_DIR}/knOpenSGAnimConfig.cmake"
  INSTALL_DESTINATION "${package_dir}"
  NO_SET_AND_CHECK_MACRO NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/knOpenSGAnimConfigVersion.cmake"
  COMPATIBILITY SameMinorVersion)
install(FILES
  "${PROJECT_BINARY_DIR}/knOpenSGAnimConfig.cmake" "${PROJECT_BINARY_DIR}/knOpenSGAnimConfigVersion.cmake"
  DESTINATION "${package_dir}" COMPONENT development)

set(pkgconfig_dir "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
file(RELATIVE_PATH prefix_from_pkgconfig
  "${CMAKE_INSTALL_PREFIX}/${pkgconfig_dir}" "${CMAKE_INSTALL_PREFIX}")
string(REGEX REPLACE "/$" "" prefix_from_pkgconfig "${prefix_from_pkgconfig}")
foreach(library IN ITEMS knScene knOpenSGAnim)
  configure_file("${PROJECT_SOURCE_DIR}/cmake/${library}.pc.in" "${PROJECT_BINARY_DIR}/${library}.pc" @ONLY)
  install(FILES "${PROJECT_BINARY_DIR}/${library}.pc" DESTINATION "${pkgconfig_dir}"
    COMPONENT development)
endforeach()
