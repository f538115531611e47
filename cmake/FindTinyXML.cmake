# Finds TinyXML, which comes without a package file of its own for CMake, and defines TinyXML::TinyXML.

find_path(TinyXML_INCLUDE_DIR tinyxml.h)
find_library(TinyXML_LIBRARY tinyxml)
mark_as_advanced(TinyXML_INCLUDE_DIR TinyXML_LIBRARY)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(TinyXML REQUIRED_VARS TinyXML_LIBRARY TinyXML_INCLUDE_DIR)

if(TinyXML_FOUND AND NOT TARGET TinyXML::TinyXML)
  add_library(TinyXML::TinyXML UNKNOWN IMPORTED)
  set_target_properties(TinyXML::TinyXML PROPERTIES
    IMPORTED_LOCATION "${TinyXML_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${TinyXML_INCLUDE_DIR}"
    INTERFACE_COMPILE_DEFINITIONS TIXML_USE_STL)
endif()
