# What a parent must find after adding the library as a subproject: the two
# aliased targets, its own build type untouched, and no tests, tools,
# examples or install rules of the library.
foreach(target QELStd::QELStd QELStd::QELI18n)
  if(NOT TARGET ${target})
    message(FATAL_ERROR "subproject: no target ${target}")
  endif()
endforeach()
foreach(target test_QELString qelconfig qel-example-strings)
  if(TARGET ${target})
    message(FATAL_ERROR "subproject: ${target} is built by default")
  endif()
endforeach()
if(NOT "${CMAKE_BUILD_TYPE}" STREQUAL "${QEL_PARENT_BUILD_TYPE}")
  message(FATAL_ERROR "subproject: build type changed to '${CMAKE_BUILD_TYPE}'")
endif()
