# vorn_sync_add_test(name SOURCES file... [LIBRARIES target...] [TIMEOUT seconds] [LABELS label...])
# One executable and one CTest entry, labelled with its directory (unit, integration, storm).
# Names may be non-ASCII in every test, hence the UTF-8 locale.
function(vorn_sync_add_test name)
    cmake_parse_arguments(arg "" "TIMEOUT" "SOURCES;LIBRARIES;LABELS" ${ARGN})
    if(NOT arg_TIMEOUT)
        set(arg_TIMEOUT 300)
    endif()
    add_executable(${name} ${arg_SOURCES})
    target_link_libraries(${name} PRIVATE vorn_sync_test_support Qt${VORN_SYNC_QT_MAJOR}::Test ${arg_LIBRARIES})
    vorn_sync_target(${name})
    add_test(NAME ${name} COMMAND ${name})
    get_filename_component(kind ${CMAKE_CURRENT_SOURCE_DIR} NAME)
    list(APPEND arg_LABELS ${kind})
    list(REMOVE_DUPLICATES arg_LABELS)
    # The longest start first, or the end of a run waits for one test. Storms load the machine: one at a time.
    set(cost 1)
    if(kind STREQUAL "integration")
        set(cost 100)
    elseif(kind STREQUAL "storm")
        set(cost 1000)
        set_tests_properties(${name} PROPERTIES RESOURCE_LOCK storm)
    endif()
    set_tests_properties(${name} PROPERTIES
        TIMEOUT ${arg_TIMEOUT}
        COST ${cost}
        LABELS "${arg_LABELS}"
        ENVIRONMENT "LC_ALL=C.UTF-8;QT_QPA_PLATFORM=offscreen")
endfunction()
