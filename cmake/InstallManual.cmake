# tavrik_install_manual(file component): installs a manual page, compressed as systems keep them.
find_program(GZIP_PROGRAM gzip REQUIRED)

function(tavrik_install_manual file component)
    get_filename_component(name "${file}" NAME)
    set(compressed "${CMAKE_CURRENT_BINARY_DIR}/${name}.gz")
    add_custom_command(OUTPUT "${compressed}"
        COMMAND "${GZIP_PROGRAM}" -9 -n -c "${CMAKE_CURRENT_SOURCE_DIR}/${file}" > "${compressed}"
        DEPENDS "${file}" VERBATIM)
    add_custom_target("manual-${name}" ALL DEPENDS "${compressed}")
    string(REGEX MATCH "[0-9]$" section "${file}")
    install(FILES "${compressed}" DESTINATION "${CMAKE_INSTALL_MANDIR}/man${section}" COMPONENT "${component}")
endfunction()
