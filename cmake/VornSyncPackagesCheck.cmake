# Read by cpack: what was configured for another prefix would not be where Debian looks for it.
if(NOT CPACK_VORN_SYNC_PREFIX STREQUAL "/usr")
    message(FATAL_ERROR
        "Packages need a build with -DCMAKE_INSTALL_PREFIX=/usr -DCMAKE_SKIP_INSTALL_RPATH=ON (scripts/package.sh)")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} --build ${CPACK_VORN_SYNC_BINARY_DIR} --target vorn_sync_packages
    RESULT_VARIABLE vorn_sync_result)
if(NOT vorn_sync_result EQUAL 0)
    message(FATAL_ERROR "The files of the packages could not be made: does packaging/debian/*.symbols hold what the library exports?")
endif()
