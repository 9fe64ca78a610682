# PkgConfig::BOTAN: the newest of the installed versions of Botan that the sources know, or the one that is asked for.
set(TAVRIK_BOTAN "" CACHE STRING "Botan's major version, 2 or 3; the newest that is there if nothing is said")
set_property(CACHE TAVRIK_BOTAN PROPERTY STRINGS "" 2 3)

set(botan_modules_2 "botan-2>=2.19")
set(botan_modules_3 "botan-3>=3.7")
if(TAVRIK_BOTAN STREQUAL "")
    set(botan_modules ${botan_modules_3} ${botan_modules_2})
else()
    set(botan_modules ${botan_modules_${TAVRIK_BOTAN}})
endif()
pkg_search_module(BOTAN REQUIRED IMPORTED_TARGET ${botan_modules})
string(REGEX MATCH "^[0-9]+" TAVRIK_BOTAN_MAJOR "${BOTAN_VERSION}")
# What programs that use the headers need too: the same major version.
set(TAVRIK_BOTAN_REQUIREMENT "${botan_modules_${TAVRIK_BOTAN_MAJOR}}")
