# Packages of the installed home: `cpack -G DEB` and `cpack -G TGZ` in the
# build directory. The .deb lays the home out below /opt/qelstd (bin/ with
# both libraries and the tools, conf/, include/, lib/cmake/, lib/pkgconfig/),
# as the library finds its configuration relative to its own file.
set(CPACK_PACKAGE_NAME "qelstd")
set(CPACK_PACKAGE_VENDOR "The QEL maintainers")
set(CPACK_PACKAGE_CONTACT "The QEL maintainers <qel-maintainers@example.org>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_RESOURCE_FILE_LICENSE "${PROJECT_SOURCE_DIR}/LICENSE")
set(CPACK_GENERATOR "DEB;TGZ")
set(CPACK_PACKAGING_INSTALL_PREFIX "/opt/qelstd")
set(CPACK_PACKAGE_FILE_NAME "qelstd-${PROJECT_VERSION}-${CMAKE_SYSTEM_PROCESSOR}")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION "libdevel")
# The run-time dependencies (ICU, Xerces-C, expat, the C++ library) are read
# from the built files by dpkg-shlibdeps.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "unixodbc-dev")
include(CPack)
