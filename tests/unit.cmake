# The unit tests: one program with the tests of all classes, and small ones of their own for what needs a process
# of a different make.
# unit_test_program(target [card library folder]): a test program made of the library's code. The card-access
# library is the one in that folder, or none.
function(unit_test_program target)
    add_executable(${target})
    target_include_directories(${target} PRIVATE "${PROJECT_SOURCE_DIR}/tests")
    target_link_libraries(${target} PRIVATE pkcs11_core GTest::gtest_main tavrik_warnings)
    if(ARGN)
        # The old kind of run path: the loader also follows it when a sanitizer makes the call for the program.
        set_target_properties(${target} PROPERTIES INSTALL_RPATH "${ARGN}")
        target_link_options(${target} PRIVATE "-Wl,--disable-new-dtags")
    endif()
    add_dependencies(${target} turkish_locale)
    gtest_discover_tests(${target} DISCOVERY_MODE PRE_TEST)
    unit_test_suites(${target})
endfunction()

# unit_test_suites(target): with TAVRIK_TEST_SUITES in the environment, ctest runs each suite of the program in one
# process, which saves most of the starts; without it, each case has a process and a name of its own. A suite whose cases
# must not share a process is named in the target's property TAVRIK_ALONE.
function(unit_test_suites target)
    get_property(cases DIRECTORY PROPERTY TEST_INCLUDE_FILES)
    list(POP_BACK cases each_case)
    set(suites "${CMAKE_CURRENT_BINARY_DIR}/${target}_suites.cmake")
    file(GENERATE OUTPUT "${suites}" CONTENT "
if(DEFINED ENV{TAVRIK_TEST_SUITES})
    include([==[${PROJECT_SOURCE_DIR}/tests/suites.cmake]==])
    tavrik_add_suites([==[$<TARGET_FILE:${target}>]==] [==[$<TARGET_PROPERTY:${target},TAVRIK_ALONE>]==])
else()
    include([==[${each_case}]==])
endif()
")
    set_property(DIRECTORY PROPERTY TEST_INCLUDE_FILES ${cases} "${suites}")
endfunction()

unit_test_program(unit_tests "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}/stub")
foreach(unit_folder IN ITEMS card crypto log platform cache operations pkcs11)
    add_subdirectory(${unit_folder})
endforeach()
