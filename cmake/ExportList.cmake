# tavrik_read_list(variable file macro name): the names of the entries of a list, in its order. The entries begin with
# `macro`, a regular expression, and its first group is in `name`.
function(tavrik_read_list variable file macro name)
    set(list_file "${PROJECT_SOURCE_DIR}/${file}")
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${list_file}")
    file(STRINGS "${list_file}" entries REGEX "^${macro}")
    list(TRANSFORM entries REPLACE "^${macro}.*$" "${name}")
    set(${variable} "${entries}" PARENT_SCOPE)
endfunction()

# tavrik_read_function_names(variable): the Cryptoki functions that library and front have.
macro(tavrik_read_function_names variable)
    tavrik_read_list(${variable} include/tavrik/functions.inc "CRYPTOKI_[A-Z_]+\\((C_[A-Za-z]+)," "\\1")
endmacro()

# tavrik_read_later_function_names(variable): those of version 3.0, which the front alone has.
macro(tavrik_read_later_function_names variable)
    tavrik_read_list(${variable} include/tavrik/functions.inc "CRYPTOKI_3_[A-Z_]+\\((C_[A-Za-z]+)," "\\1")
endmacro()

# tavrik_read_card_functions(variable): the functions of the card-access library.
macro(tavrik_read_card_functions variable)
    tavrik_read_list(${variable} src/card/functions.inc "CARD_FUNCTION\\([A-Za-z0-9_]+, ([A-Za-z_]+)," "CardAPI_\\1")
endmacro()

# The symbol of HashFunction::Hash, whose length, uint64_t, is one type or another.
if(WIN32)
    set(TAVRIK_HASH_METHOD_SYMBOL _ZN5Zelmo6Crypto12HashFunction4HashEPKhy)
else()
    set(TAVRIK_HASH_METHOD_SYMBOL _ZN5Zelmo6Crypto12HashFunction4HashEPKhm)
endif()

# tavrik_limit_exports(target symbol... [EXCEPT symbol...] [OBJECTS_OF target]): the shared library `target` exports
# these symbols, but for those behind EXCEPT, and nothing else. Symbols may have wildcards when OBJECTS_OF names the
# object library that has them.
function(tavrik_limit_exports target)
    cmake_parse_arguments(limit "" "OBJECTS_OF" "EXCEPT" ${ARGN})
    if(WIN32)
        tavrik_write_definition("${target}" "${limit_UNPARSED_ARGUMENTS}" "${limit_EXCEPT}" "${limit_OBJECTS_OF}")
    else()
        tavrik_write_version_script("${target}" "${limit_UNPARSED_ARGUMENTS}" "${limit_EXCEPT}")
    endif()
endfunction()

# For the linker of Linux, which also settles every reference of the library to what it exports: functions, tables of
# virtual functions and type information. What is left to the loader goes to the first module of the process that has
# the name, and every PKCS#11 module has the names C_*. On Windows there is no such choice.
function(tavrik_write_version_script target symbols except)
    list(JOIN symbols ";\n        " symbols)
    list(APPEND except "*")
    list(JOIN except ";\n        " hidden)
    set(script "${CMAKE_CURRENT_BINARY_DIR}/${target}.map")
    file(CONFIGURE OUTPUT "${script}"
        CONTENT "{\n    global:\n        @symbols@;\n    local:\n        @hidden@;\n};\n" @ONLY)
    target_link_options(${target} PRIVATE "-Wl,--version-script=${script}" -Wl,-Bsymbolic)
    set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS "${script}")
endfunction()

# For the linker of Windows: a module definition file, which has no wildcards. With objects to look into, it is written
# when they have been made.
function(tavrik_write_definition target symbols except objects_of)
    set(definition "${CMAKE_CURRENT_BINARY_DIR}/${target}.def")
    if(NOT objects_of)
        list(JOIN symbols "\n    " exports)
        file(CONFIGURE OUTPUT "${definition}" CONTENT "EXPORTS\n    @exports@\n" @ONLY)
    else()
        add_custom_command(OUTPUT "${definition}"
            COMMAND "${CMAKE_COMMAND}" "-DNM=${CMAKE_NM}" "-DOUTPUT=${definition}" "-DSYMBOLS=${symbols}"
                    "-DEXCEPT=${except}" "-DOBJECTS=$<TARGET_OBJECTS:${objects_of}>"
                    -P "${PROJECT_SOURCE_DIR}/cmake/WriteDefinition.cmake"
            DEPENDS "$<TARGET_OBJECTS:${objects_of}>" "${PROJECT_SOURCE_DIR}/cmake/WriteDefinition.cmake"
            VERBATIM)
    endif()
    target_sources(${target} PRIVATE "${definition}")
endfunction()
