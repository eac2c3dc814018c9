# Run by cpack on what it is about to pack: as Debian has it in packages, and only there.
file(GLOB_RECURSE vorn_sync_pages ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*/usr/share/man/man1/*.1)
foreach(page IN LISTS vorn_sync_pages)
    execute_process(COMMAND gzip -9n ${page} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
# cpack has stripped the symbols.
file(GLOB_RECURSE vorn_sync_binaries
    ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*/usr/bin/*
    ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*/usr/lib/*/lib_sync_library*.so.*.*)
foreach(binary IN LISTS vorn_sync_binaries)
    execute_process(COMMAND strip --remove-section=.comment --remove-section=.note ${binary} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
