# Installs BUILD_DIR below WORK_DIR, moves the tree to where nobody expects it, and looks through its text files
# for paths of the machine that built it.

file(REMOVE_RECURSE "${WORK_DIR}")
execute_process(
  COMMAND "${CMAKE_COMMAND}" --install "${BUILD_DIR}" --prefix "${WORK_DIR}/first"
  OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
file(RENAME "${WORK_DIR}/first" "${WORK_DIR}/moved")

file(GLOB_RECURSE texts "${WORK_DIR}/moved/*.cmake" "${WORK_DIR}/moved/*.pc" "${WORK_DIR}/moved/*.h")
list(LENGTH texts count)
if(count LESS 6)
  message(FATAL_ERROR "only ${count} text files were installed")
endif()
foreach(text IN LISTS texts)
  file(READ "${text}" content)
  foreach(path IN ITEMS "${SOURCE_DIR}" "${BUILD_DIR}" "${WORK_DIR}")
    string(FIND "${content}" "${path}" position)
    if(NOT position EQUAL -1)
      message(FATAL_ERROR "${text} names ${path}")
    endif()
  endforeach()
endforeach()
