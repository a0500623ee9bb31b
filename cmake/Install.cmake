# What `cmake --install` puts in place, and the packages CPack makes from it:
#   include/kpxml/*.h                      the public headers
#   lib/libkpxml.so*                       the library with its SONAME (Windows: bin/KpXml.dll,
#                                          lib/libKpXml.dll.a and lib/KpXml.def)
#   lib/cmake/KpXml/                       the CMake package: find_package(KpXml) gives KpXml::kpxml
#   lib/pkgconfig/kpxml.pc                 for pkg-config
# Every path in the CMake package and in kpxml.pc is relative to where they are installed, so an
# installed tree can be moved or unpacked anywhere.
include(CMakePackageConfigHelpers)

set(KPXML_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/KpXml)
set(KPXML_PKGCONFIG_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(TARGETS kpxml EXPORT KpXmlTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/kpxml DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
if(WIN32)
  # The module definition file lets other toolchains make their own import library for the DLL.
  install(FILES ${KPXML_GENERATED_DIR}/KpXml.def DESTINATION ${CMAKE_INSTALL_LIBDIR})
endif()

install(EXPORT KpXmlTargets NAMESPACE KpXml:: DESTINATION ${KPXML_CMAKE_DIR})
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/KpXmlConfig.cmake.in
  ${PROJECT_BINARY_DIR}/KpXmlConfig.cmake
  INSTALL_DESTINATION ${KPXML_CMAKE_DIR})
# The same promise as the SONAME (libkpxml.so.0): any 0.x.y serves a request for 0.1.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/KpXmlConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/KpXmlConfig.cmake ${PROJECT_BINARY_DIR}/KpXmlConfigVersion.cmake
  DESTINATION ${KPXML_CMAKE_DIR})

# kpxml.pc finds the prefix from its own place (pcfiledir), so it needs the way back up from
# the pkgconfig folder: "../.." for lib/pkgconfig.
file(RELATIVE_PATH KPXML_PKGCONFIG_TO_PREFIX
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" KPXML_PKGCONFIG_TO_PREFIX "${KPXML_PKGCONFIG_TO_PREFIX}")
configure_file(${CMAKE_CURRENT_LIST_DIR}/kpxml.pc.in ${PROJECT_BINARY_DIR}/kpxml.pc.configured @ONLY)
file(GENERATE OUTPUT ${PROJECT_BINARY_DIR}/kpxml.pc INPUT ${PROJECT_BINARY_DIR}/kpxml.pc.configured)
install(FILES ${PROJECT_BINARY_DIR}/kpxml.pc DESTINATION ${KPXML_PKGCONFIG_DIR})

# Packages: a .deb for Linux, a .zip for Windows. A tool built in cli/ is packaged with the
# library when it installs itself. A project that includes KpXml keeps its own packaging.
if(NOT PROJECT_IS_TOP_LEVEL)
  return()
endif()
set(CPACK_PACKAGE_NAME kpxml)
set(CPACK_PACKAGE_VENDOR "KpXml")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Small C++17 XML library with a C interface")
set(CPACK_PACKAGE_CONTACT "KpXml maintainers")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_STRIP_FILES ON)
if(WIN32)
  set(CPACK_GENERATOR ZIP)
else()
  set(CPACK_GENERATOR DEB)
  set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_PACKAGE_SECTION libs)
  # The package's dependencies (libc6, libstdc++6, and whatever the tool links) are read from
  # the installed binaries.
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
endif()
include(CPack)
