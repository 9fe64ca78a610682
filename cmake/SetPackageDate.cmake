# Run by cpack before staging: programs that put a date into what they make take that of cmake/Reproducible.cmake.
set(ENV{SOURCE_DATE_EPOCH} "${CPACK_TAVRIK_EPOCH}")
