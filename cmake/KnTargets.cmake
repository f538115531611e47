# What every target of this project has in common.

include_guard(GLOBAL)

# Compiles through ccache, when there is one and no other launcher was asked for. What includes a precompiled header
# is cacheable only with the sloppiness given here.
function(kn_use_ccache)
  find_program(CCACHE_PROGRAM ccache)
  mark_as_advanced(CCACHE_PROGRAM)
  if(CCACHE_PROGRAM AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_CXX_COMPILER_LAUNCHER
      "${CMAKE_COMMAND};-E;env;CCACHE_SLOPPINESS=pch_defines,time_macros;${CCACHE_PROGRAM}" PARENT_SCOPE)
  endif()
endfunction()

# Links by mold or lld, whichever comes first, where the compiler can call it.
function(kn_use_fast_linker)
  include(CheckLinkerFlag)
  foreach(linker IN ITEMS mold lld)
    check_linker_flag(CXX -fuse-ld=${linker} KN_LINKS_BY_${linker})
    if(KN_LINKS_BY_${linker})
      add_link_options(-fuse-ld=${linker})
      return()
    endif()
  endforeach()
endfunction()

# Language level, visibility, warnings and sanitizers of a library or a program.
function(kn_configure_target target)
  # One precompiled header serves all targets only if all are compiled alike: programs as the libraries are.
  get_target_property(type ${target} TYPE)
  if(type STREQUAL "EXECUTABLE")
    target_compile_options(${target} PRIVATE -fPIC)
    set(position_independent OFF)
  else()
    set(position_independent ON)
  endif()
  set_target_properties(${target} PROPERTIES
    CXX_EXTENSIONS OFF
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    POSITION_INDEPENDENT_CODE ${position_independent}
    INTERPROCEDURAL_OPTIMIZATION ${KN_LTO})
  target_compile_features(${target} PUBLIC cxx_std_20)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wshadow -Wconversion)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # Precompiled headers are found by ccache, and the compiler does not stop to collect garbage below 1 GB.
    target_compile_options(${target} PRIVATE -fpch-preprocess --param=ggc-min-heapsize=1000000)
  endif()
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    # With -O3 it takes joined strings for copies onto themselves.
    target_compile_options(${target} PRIVATE $<$<CONFIG:Release>:-Wno-restrict>)
  endif()
  if(KN_WARNINGS_AS_ERRORS)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  # Bounds of the standard containers are checked wherever assertions are on.
  target_compile_definitions(${target} PRIVATE $<$<CONFIG:Debug>:_GLIBCXX_ASSERTIONS>)
  target_link_options(${target} PRIVATE -Wl,--as-needed)
  kn_sanitize_target(${target})
endfunction()

# Compiles the given headers once, for all targets that call kn_use_precompiled. They are to be headers of other
# libraries only: then an edit of a header rebuilds what includes it and no more. A source still includes all that it
# uses; the release preset builds without precompiled headers and so finds what is missing.
function(kn_precompile name)
  set(source "${PROJECT_BINARY_DIR}/cmake/${name}.cpp")
  file(CONFIGURE OUTPUT "${source}" CONTENT "")
  add_library(${name} OBJECT "${source}")
  kn_configure_target(${name})
  target_precompile_headers(${name} PRIVATE ${ARGN})
endfunction()

function(kn_use_precompiled target name)
  target_precompile_headers(${target} REUSE_FROM ${name})
endfunction()

function(kn_sanitize_target target)
  if(NOT KN_SANITIZE)
    target_link_options(${target} PRIVATE -Wl,--no-undefined)
    return()
  endif()
  target_compile_options(${target} PRIVATE
    -fsanitize=${KN_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(${target} PRIVATE -fsanitize=${KN_SANITIZE})
  if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    target_compile_options(${target} PRIVATE
      "-fsanitize-ignorelist=${PROJECT_SOURCE_DIR}/cmake/sanitizers/ignored-by-clang.txt")
  endif()
  get_target_property(type ${target} TYPE)
  if(KN_SANITIZE MATCHES "thread" AND type MATCHES "SHARED_LIBRARY|EXECUTABLE")
    kn_show_tbb(${target})
  endif()
endfunction()

# Links a stand-in for those parts of TBB that the thread sanitizer cannot see into. It stays hidden in the
# library or program, so that TBB itself goes on calling its own.
function(kn_show_tbb target)
  if(NOT TARGET kn_visible_tbb)
    add_library(kn_visible_tbb OBJECT "${PROJECT_SOURCE_DIR}/cmake/sanitizers/VisibleTbb.cpp")
    set_target_properties(kn_visible_tbb PROPERTIES POSITION_INDEPENDENT_CODE ON)
    target_link_libraries(kn_visible_tbb PRIVATE TBB::tbb)
    kn_configure_target(kn_visible_tbb)
  endif()
  target_sources(${target} PRIVATE $<TARGET_OBJECTS:kn_visible_tbb>)
  target_link_libraries(${target} PRIVATE TBB::tbb ${CMAKE_DL_LIBS})
endfunction()
