# tavrik_made_for_windows(variable OPTION NAME SCRIPT FOLDER): sets the variable to a folder in which .ci/SCRIPT has made
# NAME: the one that the cache entry OPTION names, or else FOLDER in the build tree, where it is made now. Build trees share
# one copy when the cache entry names it.
function(tavrik_made_for_windows variable option name script folder)
    set(${option} "" CACHE PATH "A folder in which .ci/${script} has made ${name}; empty to make it here")
    set(made "${${option}}")
    if(NOT made)
        set(made "${PROJECT_BINARY_DIR}/${folder}")
        execute_process(COMMAND "${PROJECT_SOURCE_DIR}/.ci/${script}" "${made}" RESULT_VARIABLE status)
        if(NOT status EQUAL 0)
            message(FATAL_ERROR "${name} for Windows could not be made")
        endif()
    endif()
    if(NOT EXISTS "${made}/made-of")
        message(FATAL_ERROR "${made} has no whole ${name} of .ci/${script}")
    endif()
    set(${variable} "${made}" PARENT_SCOPE)
endfunction()
