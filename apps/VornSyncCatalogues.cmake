# vorn_sync_catalogues(program result): the catalogues translations/<program>_<language>.ts of this directory as a
# source file with the resources ":/translations/<program>_<language>.qm", whose path is stored in `result`. Its
# resource name is <program>_translations.
function(vorn_sync_catalogues program result)
    set(files)
    set(catalogues)
    foreach(language en fr)
        set(name ${program}_${language})
        set(source ${CMAKE_CURRENT_SOURCE_DIR}/translations/${name}.ts)
        add_custom_command(
            OUTPUT ${name}.qm
            COMMAND Qt${VORN_SYNC_QT_MAJOR}::lrelease -idbased -silent ${source} -qm ${name}.qm
            DEPENDS ${source}
            VERBATIM
        )
        list(APPEND catalogues ${CMAKE_CURRENT_BINARY_DIR}/${name}.qm)
        string(APPEND files "<file>${name}.qm</file>")
    endforeach()
    # The catalogues stand beside it.
    file(CONFIGURE OUTPUT translations.qrc @ONLY
        CONTENT "<RCC><qresource prefix=\"/translations\">@files@</qresource></RCC>\n")
    add_custom_command(
        OUTPUT qrc_translations.cpp
        COMMAND Qt${VORN_SYNC_QT_MAJOR}::rcc --name ${program}_translations -o qrc_translations.cpp translations.qrc
        DEPENDS ${catalogues} ${CMAKE_CURRENT_BINARY_DIR}/translations.qrc
        VERBATIM
    )
    set(${result} ${CMAKE_CURRENT_BINARY_DIR}/qrc_translations.cpp PARENT_SCOPE)
endfunction()
