# Run by cpack between staging and packing: the staged files have the date of cmake/Reproducible.cmake.
execute_process(COMMAND find "${CPACK_TEMPORARY_DIRECTORY}" -exec touch --no-dereference "--date=@${CPACK_TAVRIK_EPOCH}" "{}" +
    COMMAND_ERROR_IS_FATAL ANY)
