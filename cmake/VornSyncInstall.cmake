# What a host installs: the shared library, its one header, find_package(VornSync), the pkg-config file and
# the applications. lib_utilities and the objects stay inside the shared library.
include(CMakePackageConfigHelpers)

set(vorn_sync_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/VornSync)
set(vorn_sync_pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(TARGETS lib_sync_library
    EXPORT VornSyncTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    PUBLIC_HEADER DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
)
install(EXPORT VornSyncTargets NAMESPACE VornSync:: DESTINATION ${vorn_sync_package_dir})

configure_package_config_file(packaging/VornSyncConfig.cmake.in
    ${PROJECT_BINARY_DIR}/VornSyncConfig.cmake
    INSTALL_DESTINATION ${vorn_sync_package_dir}
)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/VornSyncConfigVersion.cmake
    COMPATIBILITY SameMajorVersion
)
math(EXPR vorn_sync_other_qt "11 - ${VORN_SYNC_QT_MAJOR}")
configure_file(packaging/VornSyncConfigQt.cmake.in ${PROJECT_BINARY_DIR}/VornSyncConfigQt.cmake @ONLY)
file(READ ${PROJECT_BINARY_DIR}/VornSyncConfigQt.cmake vorn_sync_config_qt)
file(APPEND ${PROJECT_BINARY_DIR}/VornSyncConfigVersion.cmake "${vorn_sync_config_qt}")
install(FILES
    ${PROJECT_BINARY_DIR}/VornSyncConfig.cmake
    ${PROJECT_BINARY_DIR}/VornSyncConfigVersion.cmake
    DESTINATION ${vorn_sync_package_dir}
)

# The prefix is told relative to the file, so that an installed tree may be moved.
file(RELATIVE_PATH vorn_sync_pkgconfig_to_prefix
    ${CMAKE_INSTALL_PREFIX}/${vorn_sync_pkgconfig_dir} ${CMAKE_INSTALL_PREFIX})
configure_file(packaging/vornsync.pc.in ${PROJECT_BINARY_DIR}/vornsync.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vornsync.pc DESTINATION ${vorn_sync_pkgconfig_dir})

foreach(program vorn_sync vorn_sync_monitor)
    if(TARGET ${program})
        install(TARGETS ${program} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
    endif()
endforeach()
