# Run by cpack between staging and packing: signs the staged programs, and works out what the installer's script needs.
#
# Sets CPACK_NSIS_EACH_PROGRAM, a line for each program and library; CPACK_NSIS_KIBIBYTES, the size of everything; and
# CPACK_NSIS_SIGN, how the installer and its uninstaller are signed.
#
#     cpack -D TAVRIK_SIGNING_CERTIFICATE=CHAIN.pem -D TAVRIK_SIGNING_KEY=KEY.pem
file(GLOB_RECURSE staged LIST_DIRECTORIES false RELATIVE "${CPACK_TEMPORARY_DIRECTORY}" "${CPACK_TEMPORARY_DIRECTORY}/*")
set(programs ${staged})
list(FILTER programs INCLUDE REGEX "\\.(dll|exe)$")
list(SORT programs)

set(CPACK_NSIS_SIGN "")
if(TAVRIK_SIGNING_CERTIFICATE)
    set(sign "${CMAKE_CURRENT_LIST_DIR}/sign-programs" "${TAVRIK_SIGNING_CERTIFICATE}" "${TAVRIK_SIGNING_KEY}")
    list(TRANSFORM programs PREPEND "${CPACK_TEMPORARY_DIRECTORY}/" OUTPUT_VARIABLE paths)
    execute_process(COMMAND ${sign} ${paths} COMMAND_ERROR_IS_FATAL ANY)
    list(JOIN sign "' '" words)
    string(CONCAT CPACK_NSIS_SIGN "!finalize \"'${words}' '%1'\" = 0\n" "!uninstfinalize \"'${words}' '%1'\" = 0\n")
endif()

set(CPACK_NSIS_EACH_PROGRAM "")
foreach(program IN LISTS programs)
    string(REPLACE "/" "\\" program "${program}")
    string(APPEND CPACK_NSIS_EACH_PROGRAM "    !insertmacro \${STEP} \"${program}\"\n")
endforeach()

set(bytes 0)
foreach(file IN LISTS staged)
    file(SIZE "${CPACK_TEMPORARY_DIRECTORY}/${file}" size)
    math(EXPR bytes "${bytes} + ${size}")
endforeach()
math(EXPR CPACK_NSIS_KIBIBYTES "(${bytes} + 1023) / 1024")
