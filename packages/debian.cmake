# Two packages, by `cpack` in the build folder: k2r has the command line, the daemon, the module and their documents; libk2r-dev has
# what a media server compiles against.

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME k2r)
set(CPACK_PACKAGE_VENDOR "The libk2r developers")
set(CPACK_PACKAGE_CONTACT "The libk2r developers <developers@libk2r.invalid>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL runtime development)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME k2r)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION video)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
# The program loads libav and libmicrohttpd itself, so nothing finds them there. The names of libav's packages have the
# major versions.
find_package(PkgConfig REQUIRED)
foreach(library avformat avcodec avutil)
  pkg_check_modules(LIB REQUIRED lib${library})
  string(REGEX MATCH "^[0-9]+" major ${LIB_VERSION})
  list(APPEND libav_packages lib${library}${major})
endforeach()
list(TRANSFORM libav_packages REPLACE "^(libav(format|codec))([0-9]+)$" "\\1\\3 | \\1-extra\\3")
list(JOIN libav_packages ", " libav_packages)
# systemd-sysusers makes the user of the service.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "systemd | systemd-standalone-sysusers | systemd-sysusers, ${libav_packages}, libmicrohttpd12")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA
    ${CMAKE_CURRENT_SOURCE_DIR}/debian/conffiles ${CMAKE_CURRENT_SOURCE_DIR}/debian/postinst
    ${CMAKE_CURRENT_SOURCE_DIR}/debian/prerm ${CMAKE_CURRENT_SOURCE_DIR}/debian/postrm)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "recorder of media streams that survives crashes
Records files, cameras and live streams into fragmented MP4 segments with
an index. A recording is whole up to its last fragment whatever happens to
the process or the power, and can be continued.

This package has the command line k2r, a service that records many streams,
and the module that both share with media servers.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libk2r-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "k2r (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "interface of the k2r stream recorder
Headers, CMake package and pkg-config file for media servers that load the
module of the package k2r and record their streams with it.")

foreach(component runtime development)
  string(TOUPPER ${component} upper)
  set(package ${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
  set(folder ${CMAKE_CURRENT_BINARY_DIR}/${package})
  configure_file(changelog.in ${folder}/changelog @ONLY)
  execute_process(COMMAND gzip -9nkf ${folder}/changelog COMMAND_ERROR_IS_FATAL ANY)
  install(FILES ${folder}/changelog.gz copyright DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package}
          COMPONENT ${component})
endforeach()

include(CPack)
