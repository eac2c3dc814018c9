# The target "reference": the public header and the documents as HTML, in reference/html. Not part of "all"; what was
# made is installed. A warning is an error: a member without a word, a parameter of another name, a link that leads
# nowhere.
find_package(Doxygen 1.9.4 QUIET)
find_package(Python3 QUIET COMPONENTS Interpreter)
if(NOT DOXYGEN_FOUND OR NOT Python3_FOUND)
    message(STATUS "Doxygen or Python 3 is not found: no reference")
    return()
endif()

set(DOXYGEN_PROJECT_NAME VornSync)
set(DOXYGEN_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/reference)
set(DOXYGEN_STRIP_FROM_PATH ${PROJECT_SOURCE_DIR})
set(DOXYGEN_USE_MDFILE_AS_MAINPAGE ${PROJECT_SOURCE_DIR}/README.md)
set(DOXYGEN_INPUT_FILTER "${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/cmake/reference_filter.py")
set(DOXYGEN_IMAGE_PATH ${PROJECT_SOURCE_DIR}/docs)
set(DOXYGEN_TOC_INCLUDE_HEADINGS 3)
set(DOXYGEN_WARN_AS_ERROR FAIL_ON_WARNINGS)
set(DOXYGEN_WARN_NO_PARAMDOC NO)
set(DOXYGEN_WARN_IF_UNDOCUMENTED YES)
set(DOXYGEN_QUIET YES)
set(DOXYGEN_HAVE_DOT NO)
set(DOXYGEN_GENERATE_TREEVIEW YES)
set(DOXYGEN_DISABLE_INDEX NO)
set(DOXYGEN_QT_AUTOBRIEF YES)
set(DOXYGEN_MULTILINE_CPP_IS_BRIEF YES)
# One class: a picture of its base, an index of its initials and a hierarchy tell nothing.
set(DOXYGEN_CLASS_GRAPH NO)
set(DOXYGEN_ALPHABETICAL_INDEX NO)
set(DOXYGEN_TIMESTAMP NO)
set(DOXYGEN_HTML_TIMESTAMP NO)
set(DOXYGEN_VERBATIM_HEADERS NO)
set(DOXYGEN_SHOW_INCLUDE_FILES NO)
set(DOXYGEN_HIDE_FRIEND_COMPOUNDS YES)
set(DOXYGEN_MACRO_EXPANSION YES)
set(DOXYGEN_EXPAND_ONLY_PREDEF YES)
set(DOXYGEN_PREDEFINED VORN_SYNC_EXPORT= Q_OBJECT= "Q_DISABLE_COPY_MOVE(x)=" Q_INVOKABLE=)
# Light and dark, on narrow screens, too; without it Doxygen's own look.
find_path(VORN_SYNC_DOXYGEN_STYLE doxygen-awesome.css PATH_SUFFIXES share/doxygen-awesome-css)
mark_as_advanced(VORN_SYNC_DOXYGEN_STYLE)
if(VORN_SYNC_DOXYGEN_STYLE)
    set(DOXYGEN_HTML_EXTRA_STYLESHEET
        ${VORN_SYNC_DOXYGEN_STYLE}/doxygen-awesome.css
        ${VORN_SYNC_DOXYGEN_STYLE}/doxygen-awesome-sidebar-only.css
    )
endif()
doxygen_add_docs(reference
    README.md
    CHANGELOG.md
    CONTRIBUTING.md
    docs
    libraries/lib_sync_library/source/vorn_sync_manager.h
    WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
    COMMENT "Making the reference"
)
add_custom_command(TARGET reference POST_BUILD
    COMMAND ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/cmake/reference_links.py ${PROJECT_BINARY_DIR}/reference/html
    VERBATIM
)
install(DIRECTORY ${PROJECT_BINARY_DIR}/reference/html
    DESTINATION ${CMAKE_INSTALL_DOCDIR}
    COMPONENT reference
    OPTIONAL
)
