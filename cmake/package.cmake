# What is installed, and the Debian package of it. Programs have to be built first; see scripts/deb.
include(GNUInstallDirs)
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)
install(TARGETS velmorin velmorin-sim velmorinctl)
install(FILES README.md docs/protocol.md docs/staging.md docs/fleet.md docs/velmorin.dbc
    DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs/examples DESTINATION ${CMAKE_INSTALL_DOCDIR} USE_SOURCE_PERMISSIONS)
install(FILES systemd/velmorin-download@.service systemd/velmorin-download@.timer DESTINATION lib/systemd/system)
set(completions ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
foreach(program velmorin velmorin-sim velmorinctl)  # each is looked for by its own name
    install(FILES completions/velmorin.bash DESTINATION ${completions} RENAME ${program})
endforeach()
install(CODE "
    set(source \"${PROJECT_SOURCE_DIR}\")
    set(work \"${PROJECT_BINARY_DIR}/package\")
    set(version ${PROJECT_VERSION})
    set(man \"${CMAKE_INSTALL_MANDIR}\")
    set(doc \"${CMAKE_INSTALL_DOCDIR}\")")
install(SCRIPT cmake/installdocs.cmake)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "the velmorin authors <maintainers@velmorin.invalid>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
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
    install(FILES cmake/static.lintian-overrides DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides
        RENAME velmorin)
else()
    set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
endif()
include(CPack)
