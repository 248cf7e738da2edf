# Install rules and the CMake and pkg-config packages a host finds the installed library by.
# Components: runtime (the shared library), development (headers, CMake package,
# pkg-config file), tools (the tolvana tool) and server (the translation server); the Debian
# packages are cut along them.
include(CMakePackageConfigHelpers)

set(TOLVANA_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Tolvana)

install(TARGETS tolvana EXPORT TolvanaTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development)
install(DIRECTORY include/tolvana DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development
  FILES_MATCHING PATTERN "*.h")
install(FILES ${PROJECT_BINARY_DIR}/include/tolvana/Version.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tolvana COMPONENT development)

install(EXPORT TolvanaTargets NAMESPACE Tolvana:: DESTINATION ${TOLVANA_CMAKE_DIR} COMPONENT development)
configure_package_config_file(cmake/TolvanaConfig.cmake.in ${PROJECT_BINARY_DIR}/TolvanaConfig.cmake
  INSTALL_DESTINATION ${TOLVANA_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/TolvanaConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/TolvanaConfig.cmake ${PROJECT_BINARY_DIR}/TolvanaConfigVersion.cmake
  DESTINATION ${TOLVANA_CMAKE_DIR} COMPONENT development)

# The pkg-config file finds its prefix from its own place, so a package installed under any
# prefix (or unpacked elsewhere) still answers with the right paths.
file(RELATIVE_PATH TOLVANA_PC_TO_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" TOLVANA_PC_TO_PREFIX "${TOLVANA_PC_TO_PREFIX}")
configure_file(cmake/tolvana.pc.in ${PROJECT_BINARY_DIR}/tolvana.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/tolvana.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

# The Qt adapter, as the package's component "Qt" (Tolvana::tolvana-qt), in a Debian package
# of its own so that hosts without Qt do not pull it in.
if(TARGET tolvana-qt)
  install(TARGETS tolvana-qt EXPORT TolvanaQtTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT qt NAMELINK_COMPONENT development)
  install(DIRECTORY adapters/qt/include/tolvana DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development
    FILES_MATCHING PATTERN "*.h")
  install(EXPORT TolvanaQtTargets NAMESPACE Tolvana:: FILE Tolvana-QtTargets.cmake DESTINATION ${TOLVANA_CMAKE_DIR}
    COMPONENT development)
endif()

# The web bridge, as the component "QtWeb" (Tolvana::tolvana-qt-web), in a Debian package of
# its own so that Qt hosts without web views do not pull in the web engine.
if(TARGET tolvana-qt-web)
  install(TARGETS tolvana-qt-web EXPORT TolvanaQtWebTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT qtweb NAMELINK_COMPONENT development)
  install(DIRECTORY adapters/qt/web/include/tolvana DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development
    FILES_MATCHING PATTERN "*.h")
  install(EXPORT TolvanaQtWebTargets NAMESPACE Tolvana:: FILE Tolvana-QtWebTargets.cmake
    DESTINATION ${TOLVANA_CMAKE_DIR} COMPONENT development)
endif()

# QML scenes and the QML module, as the component "QtQuick" (Tolvana::tolvana-qt-quick), in a
# Debian package of its own so that Widgets hosts do not pull in QtQuick.
if(TARGET tolvana-qt-quick)
  install(TARGETS tolvana-qt-quick EXPORT TolvanaQtQuickTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT qtquick NAMELINK_COMPONENT development)
  install(DIRECTORY adapters/qt/quick/include/tolvana DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development
    FILES_MATCHING PATTERN "*.h")
  install(EXPORT TolvanaQtQuickTargets NAMESPACE Tolvana:: FILE Tolvana-QtQuickTargets.cmake
    DESTINATION ${TOLVANA_CMAKE_DIR} COMPONENT development)
endif()

# The Objective-C binding, as the component "ObjC" (Tolvana::tolvana-objc), in a Debian package
# of its own so that hosts without GNUstep do not pull it in. Its interface brings GNUstep's
# flags and libraries (Tolvana::gnustep-foundation), so that an app's target needs nothing more.
if(TARGET tolvana-objc)
  install(TARGETS tolvana-objc tolvana_gnustep EXPORT TolvanaObjCTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT objc NAMELINK_COMPONENT development)
  install(DIRECTORY bindings/objc/include/tolvana DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development
    FILES_MATCHING PATTERN "*.h")
  install(FILES bindings/objc/shim/objc/blocks_runtime.h
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tolvana/objc/shim/objc COMPONENT development)
  install(EXPORT TolvanaObjCTargets NAMESPACE Tolvana:: FILE Tolvana-ObjCTargets.cmake DESTINATION ${TOLVANA_CMAKE_DIR}
    COMPONENT development)
endif()

if(TARGET tolvana-cli)
  install(TARGETS tolvana-cli RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
endif()
# The translation server, in a package of its own: a team's server needs none of the tools.
if(TARGET tolvana-server)
  install(TARGETS tolvana-server RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT server)
  install(FILES server/README.md DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/tolvana-server COMPONENT server)
endif()
