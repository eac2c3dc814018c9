# Debian packages: "cpack" in a build whose prefix is /usr, or scripts/package.sh, which makes such a build.
# The library is packed for either Qt, side by side; the programs, which nobody links with, once, with Qt 5.
find_program(VORN_SYNC_GENSYMBOLS dpkg-gensymbols)
find_program(VORN_SYNC_SHLIBDEPS dpkg-shlibdeps)
if(NOT VORN_SYNC_GENSYMBOLS OR NOT VORN_SYNC_SHLIBDEPS)
    message(STATUS "dpkg-dev is not found: no Debian packages")
    return()
endif()

set(VORN_SYNC_PACKAGE_CONTACT "VornSync maintainers <maintainers@vornsync.invalid>" CACHE STRING
    "Maintainer of the packages, as NAME <ADDRESS>")
set(vorn_sync_debian_dir ${PROJECT_SOURCE_DIR}/packaging/debian)
set(vorn_sync_debian_build_dir ${PROJECT_BINARY_DIR}/packaging)
set(vorn_sync_components runtime development)
# A package of a library is named after its SONAME: lib_sync_library.so.1, lib_sync_library_qt6.so.1.
string(REPLACE "_" "-" vorn_sync_library_package ${vorn_sync_library_name})
string(REGEX REPLACE "([0-9])$" "\\1-" vorn_sync_runtime_package ${vorn_sync_library_package})
string(APPEND vorn_sync_runtime_package ${PROJECT_VERSION_MAJOR})
set(vorn_sync_development_package ${vorn_sync_library_package}-dev)
set(vorn_sync_tools_package vorn-sync)
set(vorn_sync_monitor_package vorn-sync-monitor)
if(TARGET vorn_sync AND VORN_SYNC_QT_MAJOR EQUAL 5)
    list(APPEND vorn_sync_components tools)
endif()
if(TARGET vorn_sync_monitor AND VORN_SYNC_QT_MAJOR EQUAL 5)
    list(APPEND vorn_sync_components monitor)
endif()
set(vorn_sync_qt5_driver_package libqt5sql5-sqlite)
set(vorn_sync_qt6_driver_package libqt6sql6-sqlite)
set(vorn_sync_qt5_development_package qtbase5-dev)
set(vorn_sync_qt6_development_package qt6-base-dev)

file(STRINGS ${vorn_sync_debian_dir}/changelog vorn_sync_debian_version LIMIT_COUNT 1)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${vorn_sync_debian_dir}/changelog)
if(NOT vorn_sync_debian_version MATCHES "^vornsync \\(${PROJECT_VERSION}-([a-z0-9]+)\\)")
    message(FATAL_ERROR "packaging/debian/changelog does not begin with version ${PROJECT_VERSION}")
endif()
set(vorn_sync_debian_release ${CMAKE_MATCH_1})
set(vorn_sync_debian_version ${PROJECT_VERSION}-${vorn_sync_debian_release})

# The committed list says what the library exports; one symbol more or less fails the build of the packages.
set(vorn_sync_symbols ${vorn_sync_debian_build_dir}/symbols)
set(vorn_sync_triggers ${vorn_sync_debian_build_dir}/triggers)
file(WRITE ${vorn_sync_triggers} "activate-noawait ldconfig\n")
# For who does not read symbols.
set(vorn_sync_shlibs ${vorn_sync_debian_build_dir}/shlibs)
file(WRITE ${vorn_sync_shlibs}
    "${vorn_sync_library_name} ${PROJECT_VERSION_MAJOR} ${vorn_sync_runtime_package} (>= ${PROJECT_VERSION})\n")
add_custom_command(
    OUTPUT ${vorn_sync_symbols}
    COMMAND ${VORN_SYNC_GENSYMBOLS} -c4 -q -v${vorn_sync_debian_version} -p${vorn_sync_runtime_package}
        -I${vorn_sync_debian_dir}/${vorn_sync_runtime_package}.symbols
        -e$<TARGET_FILE:lib_sync_library> -O${vorn_sync_symbols}
    DEPENDS lib_sync_library ${vorn_sync_debian_dir}/${vorn_sync_runtime_package}.symbols
    VERBATIM
)
set(vorn_sync_package_files ${vorn_sync_symbols})
foreach(pair changelog:changelog.Debian.gz ../../CHANGELOG.md:changelog.gz)
    string(REPLACE ":" ";" pair ${pair})
    list(GET pair 0 source)
    list(GET pair 1 compressed)
    set(compressed ${vorn_sync_debian_build_dir}/${compressed})
    add_custom_command(
        OUTPUT ${compressed}
        COMMAND sh -c "gzip -9nc \"$1\" >\"$2\"" gzip ${vorn_sync_debian_dir}/${source} ${compressed}
        DEPENDS ${vorn_sync_debian_dir}/${source}
        VERBATIM
    )
    list(APPEND vorn_sync_package_files ${compressed})
endforeach()
add_custom_target(vorn_sync_packages DEPENDS ${vorn_sync_package_files})

# What Debian wants of every package; a plain installation has none of it.
foreach(component IN LISTS vorn_sync_components)
    install(FILES
        ${vorn_sync_debian_build_dir}/changelog.Debian.gz
        ${vorn_sync_debian_build_dir}/changelog.gz
        ${vorn_sync_debian_dir}/copyright
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${vorn_sync_${component}_package}
        COMPONENT ${component}
        OPTIONAL # made for packages only; lintian misses them
        EXCLUDE_FROM_ALL
    )
    set(overrides ${vorn_sync_debian_dir}/${component}.lintian-overrides)
    if(EXISTS ${overrides})
        install(FILES ${overrides}
            DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides
            RENAME ${vorn_sync_${component}_package}
            COMPONENT ${component}
            EXCLUDE_FROM_ALL
        )
    endif()
    string(TOUPPER ${component} upper)
    file(READ ${vorn_sync_debian_dir}/${component}.txt CPACK_DEBIAN_${upper}_DESCRIPTION)
    string(STRIP "${CPACK_DEBIAN_${upper}_DESCRIPTION}" CPACK_DEBIAN_${upper}_DESCRIPTION)
    string(CONFIGURE "${CPACK_DEBIAN_${upper}_DESCRIPTION}" CPACK_DEBIAN_${upper}_DESCRIPTION @ONLY)
    set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${vorn_sync_${component}_package})
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vornsync)
# The descriptions of the packages have a first line each.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_PACKAGE_CONTACT ${VORN_SYNC_PACKAGE_CONTACT})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_COMPONENTS_ALL ${vorn_sync_components})
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/VornSyncPackagesFinish.cmake)
set(CPACK_PROJECT_CONFIG_FILE ${PROJECT_SOURCE_DIR}/cmake/VornSyncPackagesCheck.cmake)
set(CPACK_VORN_SYNC_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_VORN_SYNC_BINARY_DIR ${PROJECT_BINARY_DIR})

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SOURCE vornsync)
set(CPACK_DEBIAN_PACKAGE_RELEASE ${vorn_sync_debian_release})
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/libraries/lib_sync_library)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# The driver is a plug-in, which no program is linked with.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS ${vorn_sync_qt${VORN_SYNC_QT_MAJOR}_driver_package})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA "${vorn_sync_symbols};${vorn_sync_shlibs};${vorn_sync_triggers}")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "${vorn_sync_runtime_package} (= ${vorn_sync_debian_version}), ${vorn_sync_qt${VORN_SYNC_QT_MAJOR}_development_package} (>= ${vorn_sync_qt_minimum})")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
# What of the library the programs use is the exported class alone, but they are made and tested with this one.
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${vorn_sync_runtime_package} (= ${vorn_sync_debian_version})")
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_MONITOR_PACKAGE_DEPENDS
    "${vorn_sync_runtime_package} (= ${vorn_sync_debian_version}), qml-module-qtquick2, qml-module-qtquick-controls2, qml-module-qtquick-layouts, qml-module-qtquick-templates2, qml-module-qtquick-window2")
# Qt's own dialogs in the user's language.
set(CPACK_DEBIAN_MONITOR_PACKAGE_RECOMMENDS qttranslations5-l10n)
set(CPACK_DEBIAN_MONITOR_PACKAGE_SECTION utils)
include(CPack)
