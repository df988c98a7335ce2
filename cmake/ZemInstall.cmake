# The package that other projects find with find_package(zem_db).

include(CMakePackageConfigHelpers)

set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/zem_db")
get_property(installed GLOBAL PROPERTY ZEM_INSTALLED_TARGETS)
if(installed)
    install(EXPORT zem_db_targets NAMESPACE zem_db:: DESTINATION "${package_dir}")
endif()
configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/zem_dbConfig.cmake.in"
    "${PROJECT_BINARY_DIR}/zem_dbConfig.cmake"
    INSTALL_DESTINATION "${package_dir}"
    PATH_VARS CMAKE_INSTALL_LIBDIR)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/zem_dbConfigVersion.cmake"
    COMPATIBILITY SameMinorVersion)
install(FILES
    "${PROJECT_BINARY_DIR}/zem_dbConfig.cmake"
    "${PROJECT_BINARY_DIR}/zem_dbConfigVersion.cmake"
    DESTINATION "${package_dir}")
install(FILES "${PROJECT_SOURCE_DIR}/LICENSE"
    DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/zem_db")
