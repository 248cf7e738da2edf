# Debian packages, one per install component: libtolvana2 (the shared library),
# libtolvana-qt2 (the Qt adapter, when built), libtolvana-qt-web2 (its web views, when
# built), libtolvana-qt-quick2 (its QML scenes, when built), libtolvana-objc2 (the Objective-C
# binding, when built), libtolvana-dev (headers, CMake package, pkg-config file), tolvana-tools
# (the tool) and tolvana-server (the translation server). Their dependencies on other libraries
# come from what the binaries actually link (dpkg-shlibdeps). scripts/package builds them.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tolvana)
set(CPACK_PACKAGE_VENDOR "Tolvana contributors")
set(CPACK_PACKAGE_CONTACT "Tolvana contributors <maintainers@tolvana.io>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Over-the-air localisation library for applications")
set(CPACK_PACKAGE_HOMEPAGE_URL "https://tolvana.io")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL runtime development tools server)
if(TARGET tolvana-qt)
  list(APPEND CPACK_COMPONENTS_ALL qt)
endif()
if(TARGET tolvana-qt-web)
  list(APPEND CPACK_COMPONENTS_ALL qtweb)
endif()
if(TARGET tolvana-qt-quick)
  list(APPEND CPACK_COMPONENTS_ALL qtquick)
endif()
if(TARGET tolvana-objc)
  list(APPEND CPACK_COMPONENTS_ALL objc)
endif()

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libtolvana${PROJECT_VERSION_MAJOR})
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "Tolvana localisation library (runtime)\n"
    " Answers an application's string look-ups from local translation stores kept current\n"
    " from a translation server.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libtolvana-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libtolvana${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "Tolvana localisation library (development files)\n"
    " C++20 and C headers, the CMake package (find_package(Tolvana)) and the pkg-config file.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME tolvana-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION devel)
# "tolvana serve" runs the server, which most users of the tool also want.
set(CPACK_DEBIAN_TOOLS_PACKAGE_RECOMMENDS tolvana-server)
set(CPACK_COMPONENT_TOOLS_DESCRIPTION "Tolvana command-line tool\n"
    " tolvana looks up, inspects and updates an app's translations, packs settings archives\n"
    " and serves a project directory for development.")

set(CPACK_DEBIAN_SERVER_PACKAGE_NAME tolvana-server)
set(CPACK_DEBIAN_SERVER_PACKAGE_SECTION net)
set(CPACK_COMPONENT_SERVER_DESCRIPTION "Tolvana translation server\n"
    " Serves apps their translations, takes their missing strings, screenshots and issues,\n"
    " and offers an admin API; keeps its data in SQLite or, for several instances behind a\n"
    " load balancer, in PostgreSQL.")

set(CPACK_DEBIAN_QT_PACKAGE_NAME libtolvana-qt${PROJECT_VERSION_MAJOR})
# The adapters link libtolvana (and the web views libtolvana-qt) from the packages beside
# them, which dpkg-shlibdeps finds here.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR} ${PROJECT_BINARY_DIR}/adapters/qt
    ${PROJECT_BINARY_DIR}/bindings/objc)
set(CPACK_DEBIAN_QT_PACKAGE_DEPENDS "libtolvana${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_QT_DESCRIPTION "Tolvana localisation library (Qt adapter)\n"
    " Linked into a Qt Widgets application, answers its tr() look-ups from Tolvana's stores\n"
    " with no code of the application's own.")

set(CPACK_DEBIAN_QTWEB_PACKAGE_NAME libtolvana-qt-web${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_QTWEB_PACKAGE_DEPENDS "libtolvana-qt${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_QTWEB_DESCRIPTION "Tolvana localisation library (Qt web views)\n"
    " Linked into a Qt application, translates the pages of its QWebEngineView widgets from\n"
    " Tolvana's stores, and page scripts in a QJSEngine the application hands over.")

set(CPACK_DEBIAN_QTQUICK_PACKAGE_NAME libtolvana-qt-quick${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_QTQUICK_PACKAGE_DEPENDS "libtolvana-qt${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_QTQUICK_DESCRIPTION "Tolvana localisation library (Qt Quick)\n"
    " Linked into a QML application, retranslates its scenes when Tolvana's stores change,\n"
    " brings the review tools to its QML windows and offers the QML module \"Tolvana\".")

set(CPACK_DEBIAN_OBJC_PACKAGE_NAME libtolvana-objc${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_OBJC_PACKAGE_DEPENDS "libtolvana${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_OBJC_DESCRIPTION "Tolvana localisation library (Objective-C binding on GNUstep Foundation)\n"
    " Linked into an Objective-C application, answers its NSLocalizedString look-ups from\n"
    " Tolvana's stores with no code of the application's own, and offers the class Tolvana.")

include(CPack)
