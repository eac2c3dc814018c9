# Run by cpack on what it is about to pack: manual pages are compressed in packages, and only there.
file(GLOB_RECURSE vorn_sync_pages ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*/usr/share/man/man1/*.1)
foreach(page IN LISTS vorn_sync_pages)
    execute_process(COMMAND gzip -9n ${page} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
