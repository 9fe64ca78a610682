# PkgConfig::BOTAN for Windows, under the name that pkg-config gives it elsewhere: Botan as a static library, which
# .ci/botan-for-windows makes in the build tree. Build trees share one copy when TAVRIK_BOTAN_WINDOWS names it.
set(TAVRIK_BOTAN_WINDOWS "" CACHE PATH "A folder in which .ci/botan-for-windows has made Botan; empty to make it here")

set(botan_windows "${TAVRIK_BOTAN_WINDOWS}")
if(NOT botan_windows)
    set(botan_windows "${PROJECT_BINARY_DIR}/botan")
    execute_process(
        COMMAND "${PROJECT_SOURCE_DIR}/.ci/botan-for-windows" "${botan_windows}"
        RESULT_VARIABLE status)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "Botan for Windows could not be made")
    endif()
endif()

set(botan_library "${botan_windows}/lib/libbotan-2.a")
if(NOT EXISTS "${botan_windows}/made-of" OR NOT EXISTS "${botan_library}")
    message(FATAL_ERROR "${botan_windows} has no whole Botan of .ci/botan-for-windows")
endif()

add_library(PkgConfig::BOTAN STATIC IMPORTED)
set_target_properties(PkgConfig::BOTAN PROPERTIES
    IMPORTED_LOCATION "${botan_library}"
    INTERFACE_INCLUDE_DIRECTORIES "${botan_windows}/include/botan-2"
    INTERFACE_LINK_LIBRARIES Threads::Threads)
