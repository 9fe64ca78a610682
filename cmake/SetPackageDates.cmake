# Run by cpack between staging and packing: what goes into a package has the date of cmake/Reproducible.cmake.
set(ENV{SOURCE_DATE_EPOCH} "${CPACK_TAVRIK_EPOCH}")
execute_process(COMMAND find "${CPACK_TEMPORARY_DIRECTORY}" -exec touch --no-dereference "--date=@${CPACK_TAVRIK_EPOCH}" "{}" +
    COMMAND_ERROR_IS_FATAL ANY)
