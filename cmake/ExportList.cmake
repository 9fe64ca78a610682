# tavrik_read_function_names(variable): the Cryptoki function names, in order, out of the one list.
function(tavrik_read_function_names variable)
    set(list_file "${PROJECT_SOURCE_DIR}/src/pkcs11/functions.inc")
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${list_file}")
    file(STRINGS "${list_file}" entries REGEX "^CRYPTOKI_(WORKS|REFUSES)\\(")
    list(TRANSFORM entries REPLACE "^CRYPTOKI_[A-Z]+\\((C_[A-Za-z]+),.*$" "\\1")
    set(${variable} "${entries}" PARENT_SCOPE)
endfunction()

# tavrik_limit_exports(target symbol... [EXCEPT symbol...]): the shared library `target` exports these symbols, which may
# have wildcards, but for those behind EXCEPT, and nothing else.
function(tavrik_limit_exports target)
    cmake_parse_arguments(limit "" "" "EXCEPT" ${ARGN})
    list(JOIN limit_UNPARSED_ARGUMENTS ";\n        " symbols)
    list(APPEND limit_EXCEPT "*")
    list(JOIN limit_EXCEPT ";\n        " hidden)
    set(script "${CMAKE_CURRENT_BINARY_DIR}/${target}.map")
    file(CONFIGURE OUTPUT "${script}"
        CONTENT "{\n    global:\n        @symbols@;\n    local:\n        @hidden@;\n};\n" @ONLY)
    target_link_options(${target} PRIVATE "-Wl,--version-script=${script}")
    set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS "${script}")
endfunction()
