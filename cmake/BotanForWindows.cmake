# PkgConfig::BOTAN for Windows, under the name that pkg-config gives it elsewhere: Botan as a static library, which
# .ci/botan-for-windows makes in the build tree, or in the folder of TAVRIK_BOTAN_WINDOWS.
include(MadeForWindows)
tavrik_made_for_windows(botan_windows TAVRIK_BOTAN_WINDOWS "Botan" botan-for-windows botan)

set(botan_library "${botan_windows}/lib/libbotan-3.a")
if(NOT EXISTS "${botan_library}")
    message(FATAL_ERROR "${botan_windows} has no library of Botan")
endif()

add_library(PkgConfig::BOTAN STATIC IMPORTED)
set_target_properties(PkgConfig::BOTAN PROPERTIES
    IMPORTED_LOCATION "${botan_library}"
    INTERFACE_INCLUDE_DIRECTORIES "${botan_windows}/include/botan-3"
    INTERFACE_LINK_LIBRARIES Threads::Threads)
set(TAVRIK_BOTAN_MAJOR 3)
