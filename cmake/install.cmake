# The core for C++ users: find_package(numerical) or pkg-config numerical.
include(CMakePackageConfigHelpers)

install(TARGETS numerical_core EXPORT numericalTargets ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
set_target_properties(numerical_core PROPERTIES EXPORT_NAME core)
install(DIRECTORY src/numerical DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        FILES_MATCHING PATTERN "*.hpp")

set(config_folder ${CMAKE_INSTALL_LIBDIR}/cmake/numerical)
install(EXPORT numericalTargets NAMESPACE numerical:: DESTINATION ${config_folder})
configure_package_config_file(cmake/numericalConfig.cmake.in numericalConfig.cmake
                              INSTALL_DESTINATION ${config_folder})
write_basic_package_version_file(numericalConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/numericalConfig.cmake
              ${PROJECT_BINARY_DIR}/numericalConfigVersion.cmake
        DESTINATION ${config_folder})

configure_file(cmake/numerical.pc.in numerical.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/numerical.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
