# What every target of this project is compiled with. The definitions are private: QT_NO_CAST_FROM_ASCII
# and the trace switch must not reach a host that embeds the library.
function(vorn_sync_target target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wold-style-cast
        -Woverloaded-virtual -Wcast-align -Wconversion -Wno-sign-conversion -Wformat=2)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
        # Qt Test's macros (QSKIP) leave out the variadic argument, as C++20 allows.
        target_compile_options(${target} PRIVATE -Wno-gnu-zero-variadic-macro-arguments)
    endif()
    if(VORN_SYNC_WARNINGS_AS_ERRORS)
        target_compile_options(${target} PRIVATE -Werror)
    endif()
    if(VORN_SYNC_CLAZY)
        # The checks travel on the command line, so that ccache sees a change of them.
        target_compile_options(${target} PRIVATE
            "SHELL:-Xclang -plugin-arg-clazy -Xclang ${VORN_SYNC_CLAZY}")
    endif()
    if(VORN_SYNC_SANITIZE)
        target_compile_options(${target} PRIVATE -fsanitize=${VORN_SYNC_SANITIZE} -fno-omit-frame-pointer
            -fno-sanitize-recover=all)
        target_link_options(${target} PRIVATE -fsanitize=${VORN_SYNC_SANITIZE})
    endif()
    if(VORN_SYNC_COVERAGE)
        target_compile_options(${target} PRIVATE --coverage -fprofile-abs-path)
        target_link_options(${target} PRIVATE --coverage)
    endif()
    target_compile_definitions(${target} PRIVATE QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII
        QT_NO_CAST_FROM_BYTEARRAY QT_NO_URL_CAST_FROM_STRING QT_STRICT_ITERATORS QT_DEPRECATED_WARNINGS
        QT_DISABLE_DEPRECATED_BEFORE=0x050F00)
    if(VORN_SYNC_TRACE)
        target_compile_definitions(${target} PRIVATE VORN_SYNC_TRACE_LINES)
    endif()
endfunction()
