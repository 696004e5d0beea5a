# What is installed, and the Debian package of it. Programs have to be built first; see scripts/deb.
include(GNUInstallDirs)
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)
install(TARGETS velmorin velmorin-sim velmorinctl)
install(FILES docs/man/velmorin.1 docs/man/velmorin-sim.1 docs/man/velmorinctl.1
        DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES docs/man/update.conf.5 DESTINATION ${CMAKE_INSTALL_MANDIR}/man5)
install(FILES docs/protocol.md docs/velmorin.dbc DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES docs/examples/update.conf DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "The velmorin developers <velmorin@localhost>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
"velmorin downloads a firmware image over SocketCAN and records the job,
velmorinctl shows, stages and downloads jobs, and velmorin-sim is a device
to try them on without a bus.")
# ifconfig and ip set the interface up; one that is up already needs neither.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "net-tools, iproute2")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS can-utils)
if(CMAKE_CROSSCOMPILING)
    set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE armhf)  # static: depends on no library
else()
    set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
endif()
include(CPack)
