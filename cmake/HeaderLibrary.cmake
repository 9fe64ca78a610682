# tavrik_header_library(target folder): for a cross build, lets an imported target that is nothing but the headers in
# `folder` among this machine's be used without the other headers there, which are for this machine only.
function(tavrik_header_library target folder)
    if(NOT CMAKE_CROSSCOMPILING)
        return()
    endif()
    get_target_property(include "${target}" INTERFACE_INCLUDE_DIRECTORIES)
    list(GET include 0 include)
    set(headers "${PROJECT_BINARY_DIR}/headers")
    file(MAKE_DIRECTORY "${headers}")
    file(CREATE_LINK "${include}/${folder}" "${headers}/${folder}" SYMBOLIC)
    set_target_properties("${target}" PROPERTIES INTERFACE_INCLUDE_DIRECTORIES "${headers}")
endfunction()
