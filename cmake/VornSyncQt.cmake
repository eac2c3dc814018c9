# Which Qt the whole project is built with. A process can't hold two: in a host that has found one, that one.
if(TARGET Qt6::Core)
    set(vorn_sync_qt_default 6)
else()
    set(vorn_sync_qt_default 5)
endif()
set(VORN_SYNC_QT_MAJOR ${vorn_sync_qt_default} CACHE STRING
    "Major version of Qt: 5 (5.15 or later) or 6 (6.4 or later)")
set_property(CACHE VORN_SYNC_QT_MAJOR PROPERTY STRINGS 5 6)

set(vorn_sync_qt5_minimum 5.15)
set(vorn_sync_qt6_minimum 6.4)
if(NOT VORN_SYNC_QT_MAJOR MATCHES "^[56]$")
    message(FATAL_ERROR "VORN_SYNC_QT_MAJOR is 5 or 6, not '${VORN_SYNC_QT_MAJOR}'")
endif()
set(vorn_sync_qt_minimum ${vorn_sync_qt${VORN_SYNC_QT_MAJOR}_minimum})

# What is installed for developers and what hosts are linked with: those of Qt 6 say so in their names, so that both
# stand side by side in one prefix. Targets have the same names with both.
if(VORN_SYNC_QT_MAJOR EQUAL 5)
    set(vorn_sync_library_name lib_sync_library)
    set(vorn_sync_package_name VornSync)
    set(vorn_sync_pkgconfig_name vornsync)
    set(vorn_sync_include_subdir "")
else()
    set(vorn_sync_library_name lib_sync_library_qt${VORN_SYNC_QT_MAJOR})
    set(vorn_sync_package_name VornSyncQt${VORN_SYNC_QT_MAJOR})
    set(vorn_sync_pkgconfig_name vornsync-qt${VORN_SYNC_QT_MAJOR})
    set(vorn_sync_include_subdir /vornsync-qt${VORN_SYNC_QT_MAJOR})
endif()

# vorn_sync_find_qt(component...): the components of that Qt, for the directory that asks and those below it. A macro:
# what Qt's package files set is for the caller.
macro(vorn_sync_find_qt)
    find_package(Qt${VORN_SYNC_QT_MAJOR} ${vorn_sync_qt_minimum} REQUIRED COMPONENTS ${ARGN})
endmacro()
