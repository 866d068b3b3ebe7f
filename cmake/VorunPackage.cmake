# What an installation holds: the library, its headers, and the two ways in which hosts find them.

include(CMakePackageConfigHelpers)

set(vorun_package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/VorunEngine")

install(TARGETS VorunEngine EXPORT VorunEngineTargets
        RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}"
        LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
        ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}")
install(DIRECTORY "${PROJECT_SOURCE_DIR}/include/vorun" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")

# find_package(VorunEngine CONFIG) and the target VorunEngine::VorunEngine.
install(EXPORT VorunEngineTargets NAMESPACE VorunEngine:: DESTINATION "${vorun_package_dir}")
configure_package_config_file(cmake/VorunEngineConfig.cmake.in VorunEngineConfig.cmake
                              INSTALL_DESTINATION "${vorun_package_dir}"
                              NO_SET_AND_CHECK_MACRO)
# Before 1.0 a new minor version may change the interface.
write_basic_package_version_file(VorunEngineConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES "${PROJECT_BINARY_DIR}/VorunEngineConfig.cmake"
              "${PROJECT_BINARY_DIR}/VorunEngineConfigVersion.cmake"
        DESTINATION "${vorun_package_dir}")

# pkg-config VorunEngine. The prefix is found from the file's own place, so that an installed tree
# can be moved.
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX
           BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/pkgconfig"
           OUTPUT_VARIABLE pc_prefix)
set(pc_prefix "\${pcfiledir}/${pc_prefix}")
configure_file(cmake/VorunEngine.pc.in VorunEngine.pc @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/VorunEngine.pc"
        DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
