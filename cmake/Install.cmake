# The installed home: bin/ (both libraries and the tools), conf/, include/,
# lib/cmake/QELStd/ (imported targets QELStd::QELStd, QELStd::QELI18n) and
# lib/pkgconfig/qelstd.pc, and share/doc/qelstd/ (LICENSE, CHANGELOG.md).
# Included only when QEL_INSTALL is on (by default at the top level).
include(CMakePackageConfigHelpers)

install(TARGETS QELStd QELI18n EXPORT QELStdTargets
  LIBRARY DESTINATION bin
  RUNTIME DESTINATION bin
  INCLUDES DESTINATION include)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/ DESTINATION include
  FILES_MATCHING PATTERN "*.h")
install(FILES ${PROJECT_BINARY_DIR}/include/QELVersion.h DESTINATION include)
install(FILES ${PROJECT_SOURCE_DIR}/conf/QELSetup.xml DESTINATION conf)
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE ${PROJECT_SOURCE_DIR}/CHANGELOG.md DESTINATION share/doc/qelstd)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/conf/QELI18n DESTINATION conf)

install(EXPORT QELStdTargets NAMESPACE QELStd:: DESTINATION lib/cmake/QELStd)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/QELStdConfig.cmake.in
  ${PROJECT_BINARY_DIR}/QELStdConfig.cmake
  INSTALL_DESTINATION lib/cmake/QELStd)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/QELStdConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/QELStdConfig.cmake
              ${PROJECT_BINARY_DIR}/QELStdConfigVersion.cmake
        DESTINATION lib/cmake/QELStd)

configure_file(${PROJECT_SOURCE_DIR}/cmake/qelstd.pc.in ${PROJECT_BINARY_DIR}/qelstd.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/qelstd.pc DESTINATION lib/pkgconfig)
