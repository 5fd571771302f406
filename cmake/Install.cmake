# SPDX-License-Identifier: MIT
# Where everything goes on the host, the pkg-config file, and the package for find_package(bxd).

include(CMakePackageConfigHelpers)

install(TARGETS bxd EXPORT bxdTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY include/bxd DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")
if(BXD_BUILD_TOOLS)
    install(TARGETS bxd_tool RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
if(EXISTS ${PROJECT_SOURCE_DIR}/docs/bxd.1)
    install(FILES docs/bxd.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
endif()

# The pkg-config file stays true when the whole prefix is moved.
file(RELATIVE_PATH bxd_prefix_from_pc /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(cmake/bxd.pc.in bxd.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/bxd.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

set(bxd_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/bxd)
install(EXPORT bxdTargets NAMESPACE bxd:: DESTINATION ${bxd_package_dir})
configure_package_config_file(cmake/bxdConfig.cmake.in bxdConfig.cmake INSTALL_DESTINATION ${bxd_package_dir})
write_basic_package_version_file(bxdConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/bxdConfig.cmake ${PROJECT_BINARY_DIR}/bxdConfigVersion.cmake
        DESTINATION ${bxd_package_dir})
