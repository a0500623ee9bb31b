# What `cmake --install` puts in place, in three components that are the three Debian packages
# (cmake/debian/make-debs.sh):
#   runtime      lib/libkpxml.so.0*        the library with its SONAME (Windows: bin/KpXml.dll)
#   development  include/kpxml/*.h         the public headers
#                lib/libkpxml.so           the link the linker looks for (Windows: lib/libKpXml.dll.a
#                                          and lib/KpXml.def)
#                lib/cmake/KpXml/          the CMake package: find_package(KpXml) gives KpXml::kpxml
#                lib/pkgconfig/kpxml.pc    for pkg-config
#   tool         bin/kpxml, its manual page and bash completion (cli/CMakeLists.txt)
# and the licence (share/doc/KpXml/LICENSE; the Windows .zip has it at the top), which the Debian
# packages carry in their copyright files instead. "lib" is GNUInstallDirs' CMAKE_INSTALL_LIBDIR:
# lib/x86_64-linux-gnu when the prefix is /usr on Debian, as in the package preset.
# Every path in the CMake package and in kpxml.pc is relative to where they are installed, so an
# installed tree can be moved or unpacked anywhere.
include(CMakePackageConfigHelpers)

set(KPXML_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/KpXml)
set(KPXML_PKGCONFIG_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(TARGETS kpxml EXPORT KpXmlTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
if(WIN32 AND CMAKE_STRIP)
  # CMake strips executables on `cmake --install --strip` (and in cpack), but not a DLL.
  install(CODE "if(CMAKE_INSTALL_DO_STRIP)
    execute_process(COMMAND \"${CMAKE_STRIP}\" --strip-unneeded
      \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}/$<TARGET_FILE_NAME:kpxml>\" COMMAND_ERROR_IS_FATAL ANY)
  endif()" COMPONENT runtime)
endif()
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/kpxml DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  COMPONENT development)
if(WIN32)
  # The module definition file lets other toolchains make their own import library for the DLL.
  install(FILES ${KPXML_GENERATED_DIR}/KpXml.def DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
  install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION . COMPONENT licence)
else()
  install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/KpXml COMPONENT licence)
endif()

install(EXPORT KpXmlTargets NAMESPACE KpXml:: DESTINATION ${KPXML_CMAKE_DIR} COMPONENT development)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/KpXmlConfig.cmake.in
  ${PROJECT_BINARY_DIR}/KpXmlConfig.cmake
  INSTALL_DESTINATION ${KPXML_CMAKE_DIR})
# The same promise as the SONAME (libkpxml.so.0): any 0.x.y serves a request for 0.1.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/KpXmlConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/KpXmlConfig.cmake ${PROJECT_BINARY_DIR}/KpXmlConfigVersion.cmake
  DESTINATION ${KPXML_CMAKE_DIR} COMPONENT development)

# kpxml.pc finds the prefix from its own place (pcfiledir), so it needs the way back up from
# the pkgconfig folder: "../.." for lib/pkgconfig.
file(RELATIVE_PATH KPXML_PKGCONFIG_TO_PREFIX
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" KPXML_PKGCONFIG_TO_PREFIX "${KPXML_PKGCONFIG_TO_PREFIX}")
configure_file(${CMAKE_CURRENT_LIST_DIR}/kpxml.pc.in ${PROJECT_BINARY_DIR}/kpxml.pc.configured @ONLY)
file(GENERATE OUTPUT ${PROJECT_BINARY_DIR}/kpxml.pc INPUT ${PROJECT_BINARY_DIR}/kpxml.pc.configured)
install(FILES ${PROJECT_BINARY_DIR}/kpxml.pc DESTINATION ${KPXML_PKGCONFIG_DIR} COMPONENT development)

# Packages: for Linux the three Debian packages (the deb target of a build configured with the
# package preset), for Windows a .zip (cpack). A project that includes KpXml keeps its own packaging.
if(NOT PROJECT_IS_TOP_LEVEL)
  return()
endif()
if(NOT WIN32)
  if(TARGET kpxml_cli)
    add_custom_target(deb
      COMMAND bash ${CMAKE_CURRENT_LIST_DIR}/debian/make-debs.sh ${PROJECT_BINARY_DIR} ${PROJECT_BINARY_DIR}/packages
      DEPENDS kpxml kpxml_cli kpxml_man_page
      COMMENT "Making the Debian packages in ${PROJECT_BINARY_DIR}/packages"
      VERBATIM)
  endif()
  return()
endif()

# The maintainer is the one named in the Debian packages' control file.
file(STRINGS ${CMAKE_CURRENT_LIST_DIR}/debian/control KPXML_MAINTAINER REGEX "^Maintainer: " LIMIT_COUNT 1)
string(REGEX REPLACE "^Maintainer: " "" KPXML_MAINTAINER "${KPXML_MAINTAINER}")
set(CPACK_PACKAGE_NAME kpxml)
set(CPACK_PACKAGE_VENDOR "The KpXml developers")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Small C++17 XML library with a C interface")
set(CPACK_PACKAGE_CONTACT "${KPXML_MAINTAINER}")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_GENERATOR ZIP)
# The DLL and the tool without their debug information (CMAKE_STRIP, from the toolchain).
set(CPACK_STRIP_FILES ON)
include(CPack)
