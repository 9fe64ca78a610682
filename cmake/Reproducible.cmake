# Two builds of one commit make the same files, wherever they stand. Nothing built has the path of its folder in it, and what
# packages have a date for has that of the commit, or the one that SOURCE_DATE_EPOCH tells, in seconds. Sources without a
# commit, and without that, give packages the current time.
if(NOT TAVRIK_COVERAGE) # which finds the sources by their paths
    add_compile_options("-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.")
endif()
if(WIN32)
    add_link_options(-Wl,--no-insert-timestamp)
endif()

if(DEFINED ENV{SOURCE_DATE_EPOCH})
    set(CPACK_TAVRIK_EPOCH "$ENV{SOURCE_DATE_EPOCH}")
else()
    execute_process(COMMAND git -C "${PROJECT_SOURCE_DIR}" log -1 --format=%ct
        OUTPUT_VARIABLE CPACK_TAVRIK_EPOCH OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET RESULT_VARIABLE no_commit)
    if(no_commit)
        string(TIMESTAMP CPACK_TAVRIK_EPOCH "%s" UTC)
    endif()
endif()
# For what CMake makes now, and for what cpack, strip and the compressors make later.
set(ENV{SOURCE_DATE_EPOCH} "${CPACK_TAVRIK_EPOCH}")
set(CPACK_PROJECT_CONFIG_FILE "${CMAKE_CURRENT_LIST_DIR}/SetPackageDate.cmake")
list(PREPEND CPACK_PRE_BUILD_SCRIPTS "${CMAKE_CURRENT_LIST_DIR}/SetFileDates.cmake")
