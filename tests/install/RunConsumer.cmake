# Builds and runs the consumer program (tests/install/consumer) against the
# library, the way MODE says:
#   home          install BINARY_DIR into a fresh home, check its layout, use
#                 find_package from it
#   prefix        use find_package from an existing home (QEL_HOME, e.g. a .deb
#                 extracted with dpkg -x)
#   subdirectory  the library's source as a subproject (add_subdirectory)
#   fetchcontent  the library fetched with FetchContent from SOURCE_DIR's git
#                 repository at its current commit
# Subproject builds build only the consumer target and also check that the
# parent's build type stands and that nothing of the library is installed.
# -P script arguments: SOURCE_DIR, WORK_DIR, CXX, MODE, and BINARY_DIR
# (home), QEL_HOME (prefix), SANITIZE (optional).
cmake_minimum_required(VERSION 3.16...3.25)

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(rc)
    message(FATAL_ERROR "${ARGN}\nfailed (${rc}):\n${out}${err}")
  endif()
  set(run_output "${out}${err}" PARENT_SCOPE)
endfunction()

function(check_home_layout home)
  foreach(f bin/libQELStd.so bin/libQELI18n.so conf/QELSetup.xml include/QELStd.h
            include/QELString.h include/QELExport.h include/QELVersion.h
            lib/cmake/QELStd/QELStdConfig.cmake lib/cmake/QELStd/QELStdConfigVersion.cmake
            lib/cmake/QELStd/QELStdTargets.cmake lib/pkgconfig/qelstd.pc)
    if(NOT EXISTS ${home}/${f})
      message(FATAL_ERROR "installed home lacks ${f}")
    endif()
  endforeach()
  if(NOT IS_DIRECTORY ${home}/conf/QELI18n/Localization)
    message(FATAL_ERROR "installed home lacks conf/QELI18n/Localization/")
  endif()
endfunction()

# Nothing but the consumer itself may land in a parent's prefix.
function(check_parent_install build)
  set(prefix ${WORK_DIR}/parent-prefix)
  run(${CMAKE_COMMAND} --install ${build} --prefix ${prefix})
  file(GLOB_RECURSE installed RELATIVE ${prefix} ${prefix}/*)
  if(NOT installed STREQUAL "bin/consumer")
    message(FATAL_ERROR "a subproject build installed: ${installed}")
  endif()
endfunction()

file(REMOVE_RECURSE ${WORK_DIR})
set(args -S ${SOURCE_DIR}/tests/install/consumer -B ${WORK_DIR}/build -DCMAKE_CXX_COMPILER=${CXX})
if(SANITIZE)
  list(APPEND args "-DCMAKE_CXX_FLAGS=-fsanitize=address,undefined")
endif()
if(MODE STREQUAL "home")
  set(QEL_HOME ${WORK_DIR}/home)
  run(${CMAKE_COMMAND} --install ${BINARY_DIR} --prefix ${QEL_HOME})
  check_home_layout(${QEL_HOME})
  list(APPEND args -DQEL_CONSUME=package -DCMAKE_PREFIX_PATH=${QEL_HOME})
elseif(MODE STREQUAL "prefix")
  check_home_layout(${QEL_HOME})
  list(APPEND args -DQEL_CONSUME=package -DCMAKE_PREFIX_PATH=${QEL_HOME})
elseif(MODE STREQUAL "subdirectory")
  list(APPEND args -DQEL_CONSUME=subdirectory -DQEL_SOURCE_DIR=${SOURCE_DIR}
       -DCMAKE_BUILD_TYPE=Debug -DQEL_PARENT_BUILD_TYPE=Debug)
elseif(MODE STREQUAL "fetchcontent")
  run(git -C ${SOURCE_DIR} rev-parse HEAD)
  string(STRIP "${run_output}" commit)
  list(APPEND args -DQEL_CONSUME=fetchcontent -DQEL_GIT_URL=file://${SOURCE_DIR}
       -DQEL_GIT_TAG=${commit} -DQEL_PARENT_BUILD_TYPE=)
else()
  message(FATAL_ERROR "MODE: unknown value '${MODE}'")
endif()

run(${CMAKE_COMMAND} ${args})
run(${CMAKE_COMMAND} --build ${WORK_DIR}/build --target consumer -j2)
run(${WORK_DIR}/build/consumer)
message("${run_output}")
if(MODE STREQUAL "subdirectory" OR MODE STREQUAL "fetchcontent")
  check_parent_install(${WORK_DIR}/build)
endif()
