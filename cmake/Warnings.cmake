# The warnings that all our own code is compiled with; every one of them is an error.
add_library(tavrik_warnings INTERFACE)
target_compile_options(tavrik_warnings INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
# The protocols of the locks, as src/platform/mutex.h lets them be written.
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    target_compile_options(tavrik_warnings INTERFACE -Wthread-safety)
endif()
# A unity build has a class of a test's anonymous namespace in a file that another one includes.
if(CMAKE_UNITY_BUILD AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(tavrik_warnings INTERFACE -Wno-subobject-linkage)
endif()
# Clang takes what one file of a unity build has in its anonymous namespace for shadowed by the names of the next one.
if(CMAKE_UNITY_BUILD AND CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    target_compile_options(tavrik_warnings INTERFACE -Wno-shadow)
endif()
