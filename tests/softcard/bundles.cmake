# The PKCS#12 files that the tests of the import take, on every system.
set(bundles "${CMAKE_CURRENT_BINARY_DIR}/bundles")
add_custom_command(OUTPUT "${bundles}/made"
    COMMAND "${CMAKE_CURRENT_LIST_DIR}/make_bundles.sh" "${bundles}"
    DEPENDS "${CMAKE_CURRENT_LIST_DIR}/make_bundles.sh" VERBATIM)
add_custom_target(softcard_bundles DEPENDS "${bundles}/made")
add_dependencies(softcard_tests softcard_bundles)
target_sources(softcard_tests PRIVATE bundle_import_test.cpp)
if(WIN32)
    target_sources(softcard_tests PRIVATE system/windows/bundle_import_test.cpp)
else()
    target_sources(softcard_tests PRIVATE system/linux/bundle_import.cpp)
endif()
target_compile_definitions(softcard_tests PRIVATE "BUNDLES=\"${bundles}\"")
