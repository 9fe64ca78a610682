# GTest::gtest, GTest::gtest_main, GTest::gmock and GTest::gmock_main for Windows, named as find_package(GTest) names
# them elsewhere: made of the sources that Debian's package googletest brings.
set(TAVRIK_GOOGLETEST_SOURCES "/usr/src/googletest" CACHE PATH "The sources of GoogleTest")
if(NOT EXISTS "${TAVRIK_GOOGLETEST_SOURCES}/CMakeLists.txt")
    message(FATAL_ERROR "${TAVRIK_GOOGLETEST_SOURCES} has no sources of GoogleTest; the package googletest brings them")
endif()

set(BUILD_GMOCK ON)
set(INSTALL_GTEST OFF)
add_subdirectory("${TAVRIK_GOOGLETEST_SOURCES}" "${PROJECT_BINARY_DIR}/googletest" EXCLUDE_FROM_ALL)
foreach(part IN ITEMS gtest gtest_main gmock gmock_main)
    target_compile_options(${part} PRIVATE -O0) # as test code is
    if(NOT TARGET GTest::${part})
        add_library(GTest::${part} ALIAS ${part})
    endif()
endforeach()
