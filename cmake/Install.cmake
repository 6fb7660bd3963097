# What "cmake --install" puts in place, and the Debian package that "cpack -G DEB" makes of it. Nothing in the
# installed files names the prefix: it may be chosen as late as the installing.

include(CMakePackageConfigHelpers)

set(HOSTMETRICS_INSTALL_INCLUDES ${CMAKE_INSTALL_INCLUDEDIR}/hostmetrics)
set(HOSTMETRICS_INSTALL_CONFIG ${CMAKE_INSTALL_LIBDIR}/cmake/hostmetrics)
set(HOSTMETRICS_INSTALL_DOCS ${CMAKE_INSTALL_DATADIR}/doc/hostmetrics)

install(TARGETS hostmetrics_driver RUNTIME)
install(TARGETS hostmetrics EXPORT hostmetricsTargets ARCHIVE INCLUDES DESTINATION ${HOSTMETRICS_INSTALL_INCLUDES})

# A folder of our own keeps collect/ and lib/ from clashing with anything. The header left out is no user's, and
# wants the include path of libtirpc.
install(DIRECTORY collect inventory lib DESTINATION ${HOSTMETRICS_INSTALL_INCLUDES}
    FILES_MATCHING PATTERN *.h PATTERN NfsRpc.h EXCLUDE)
install(FILES driver/RunConfig.h DESTINATION ${HOSTMETRICS_INSTALL_INCLUDES}/driver)

install(EXPORT hostmetricsTargets NAMESPACE hostmetrics:: DESTINATION ${HOSTMETRICS_INSTALL_CONFIG})
set(HOSTMETRICS_INSTALL_RUNTIME ${CMAKE_INSTALL_DATADIR}/hostmetrics/runtime)
configure_package_config_file(cmake/hostmetricsConfig.cmake.in ${PROJECT_BINARY_DIR}/hostmetricsConfig.cmake
    INSTALL_DESTINATION ${HOSTMETRICS_INSTALL_CONFIG} PATH_VARS HOSTMETRICS_INSTALL_RUNTIME)
# Before 1.0 a minor version may change what is public.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/hostmetricsConfigVersion.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/hostmetricsConfig.cmake ${PROJECT_BINARY_DIR}/hostmetricsConfigVersion.cmake
    DESTINATION ${HOSTMETRICS_INSTALL_CONFIG})

file(RELATIVE_PATH prefix_from_pc ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/hostmetrics.pc.in hostmetrics.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/hostmetrics.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# The runtime tree. Its data folders are written to: below /usr they are links into /var/lib.
install(DIRECTORY runtime/ DESTINATION ${HOSTMETRICS_INSTALL_RUNTIME} USE_SOURCE_PERMISSIONS)
install(CODE "
    set(agent \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${HOSTMETRICS_INSTALL_RUNTIME}/agent\")
    set(data \"\${agent}\")
    if(CMAKE_INSTALL_PREFIX STREQUAL /usr)
        set(data \"\$ENV{DESTDIR}/var/lib/hostmetrics\")
        file(RELATIVE_PATH from \"\${agent}\" \"\${data}\")
        foreach(folder aproc buffer)
            file(CREATE_LINK \"\${from}/\${folder}\" \"\${agent}/\${folder}\" SYMBOLIC)
        endforeach()
    endif()
    file(MAKE_DIRECTORY \"\${data}/aproc/shell\" \"\${data}/aproc/inv\" \"\${data}/buffer\")")

install(FILES man/hostmetrics.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES README.md CHANGELOG.md CONTRIBUTING.md cmake/debian/copyright DESTINATION ${HOSTMETRICS_INSTALL_DOCS})
install(DIRECTORY docs examples DESTINATION ${HOSTMETRICS_INSTALL_DOCS} USE_SOURCE_PERMISSIONS)

if(NOT PROJECT_IS_TOP_LEVEL)
    return() # the package is the business of who adds this folder
endif()
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "hostmetrics maintainers <hostmetrics@localhost>"
    CACHE STRING "Maintainer in the Debian package")
set(CPACK_PACKAGE_DESCRIPTION "hostmetrics samples processors, memory, paging, disks, network interfaces, filesystems
and processes from the kernel's text files. This package holds the console program,
the static library that monitoring agents embed, and their runtime tree.")
set(CPACK_SET_DESTDIR ON) # so that the rules above see the prefix as it will be
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "libtirpc-dev, pkgconf")
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/debian/prerm
    ${PROJECT_SOURCE_DIR}/cmake/debian/postrm)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
include(CPack)
