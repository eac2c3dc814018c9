# What a host installs: the shared library ("runtime"), its one header, the files for find_package and pkg-config
# ("development"), and the programs with what belongs to them ("tools", "monitor"). lib_utilities and the objects stay
# inside the shared library.
include(CMakePackageConfigHelpers)

set(vorn_sync_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/${vorn_sync_package_name})
set(vorn_sync_pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(TARGETS lib_sync_library
    EXPORT ${vorn_sync_package_name}Targets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
    PUBLIC_HEADER DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}${vorn_sync_include_subdir} COMPONENT development
)
install(EXPORT ${vorn_sync_package_name}Targets
    NAMESPACE VornSync::
    DESTINATION ${vorn_sync_package_dir}
    COMPONENT development
)

configure_package_config_file(packaging/VornSyncConfig.cmake.in
    ${PROJECT_BINARY_DIR}/${vorn_sync_package_name}Config.cmake
    INSTALL_DESTINATION ${vorn_sync_package_dir}
)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/${vorn_sync_package_name}ConfigVersion.cmake
    COMPATIBILITY SameMajorVersion
)
math(EXPR vorn_sync_other_qt "11 - ${VORN_SYNC_QT_MAJOR}")
configure_file(packaging/VornSyncConfigQt.cmake.in ${PROJECT_BINARY_DIR}/VornSyncConfigQt.cmake @ONLY)
file(READ ${PROJECT_BINARY_DIR}/VornSyncConfigQt.cmake vorn_sync_config_qt)
file(APPEND ${PROJECT_BINARY_DIR}/${vorn_sync_package_name}ConfigVersion.cmake "${vorn_sync_config_qt}")
install(FILES
    ${PROJECT_BINARY_DIR}/${vorn_sync_package_name}Config.cmake
    ${PROJECT_BINARY_DIR}/${vorn_sync_package_name}ConfigVersion.cmake
    DESTINATION ${vorn_sync_package_dir}
    COMPONENT development
)

# The prefix is told relative to the file, so that an installed tree may be moved.
file(RELATIVE_PATH vorn_sync_pkgconfig_to_prefix
    ${CMAKE_INSTALL_PREFIX}/${vorn_sync_pkgconfig_dir} ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "^lib" "" vorn_sync_linked_name ${vorn_sync_library_name})
configure_file(packaging/vornsync.pc.in ${PROJECT_BINARY_DIR}/${vorn_sync_pkgconfig_name}.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/${vorn_sync_pkgconfig_name}.pc
    DESTINATION ${vorn_sync_pkgconfig_dir}
    COMPONENT development
)

if(TARGET vorn_sync)
    # Debian's zsh looks below /usr in a directory of its own.
    if(CMAKE_INSTALL_PREFIX STREQUAL "/usr" AND EXISTS /etc/debian_version)
        set(vorn_sync_zsh_dir ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions)
    else()
        set(vorn_sync_zsh_dir ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)
    endif()
    install(TARGETS vorn_sync RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
    install(FILES packaging/vorn_sync.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
    # Not below CMAKE_INSTALL_LIBDIR: systemd has one place for all architectures.
    install(FILES packaging/vorn_sync.service DESTINATION lib/systemd/user COMPONENT tools)
    install(FILES packaging/completions/vorn_sync.bash
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
        RENAME vorn_sync
        COMPONENT tools
    )
    install(FILES packaging/completions/_vorn_sync DESTINATION ${vorn_sync_zsh_dir} COMPONENT tools)
    install(FILES packaging/completions/vorn_sync.fish
        DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d
        COMPONENT tools
    )
endif()
if(TARGET vorn_sync_monitor)
    install(TARGETS vorn_sync_monitor RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT monitor)
    install(FILES packaging/vorn_sync_monitor.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT monitor)
    install(FILES packaging/vorn_sync_monitor.desktop
        DESTINATION ${CMAKE_INSTALL_DATADIR}/applications
        COMPONENT monitor
    )
    # The sign of a mirror at rest, as the window draws it.
    install(FILES packaging/vorn_sync_monitor.svg
        DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps
        COMPONENT monitor
    )
endif()
