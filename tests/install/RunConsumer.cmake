# Installs the build into a fresh home, checks its layout, then configures,
# builds and runs a consumer that finds the library with find_package.
file(REMOVE_RECURSE ${WORK_DIR})
set(home ${WORK_DIR}/home)
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BINARY_DIR} --prefix ${home}
  RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "install failed")
endif()
foreach(f bin/libQELStd.so bin/libQELI18n.so conf/QELSetup.xml include/QELStd.h
          include/QELString.h lib/cmake/QELStd/QELStdConfig.cmake
          lib/cmake/QELStd/QELStdTargets.cmake lib/pkgconfig/qelstd.pc)
  if(NOT EXISTS ${home}/${f})
    message(FATAL_ERROR "installed home lacks ${f}")
  endif()
endforeach()
if(NOT IS_DIRECTORY ${home}/conf/QELI18n/Localization)
  message(FATAL_ERROR "installed home lacks conf/QELI18n/Localization/")
endif()
set(san "")
if(SANITIZE)
  set(san "-DCMAKE_CXX_FLAGS=-fsanitize=address,undefined")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} -S ${SOURCE_DIR}/tests/install/consumer
    -B ${WORK_DIR}/build -DCMAKE_PREFIX_PATH=${home} -DCMAKE_CXX_COMPILER=${CXX} ${san}
  RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "consumer configure failed")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} --build ${WORK_DIR}/build RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "consumer build failed")
endif()
execute_process(COMMAND ${WORK_DIR}/build/consumer ${home}
  RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
message("${out}${err}")
if(rc)
  message(FATAL_ERROR "consumer failed with ${rc}")
endif()
