# What `cmake --install` puts where, and the package that other projects find.
include(CMakePackageConfigHelpers)

set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/Tavrik")

install(TARGETS pkcs11_x64 tavrik_headers EXPORT TavrikTargets
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT library
    INCLUDES DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
install(DIRECTORY "${PROJECT_SOURCE_DIR}/include/tavrik" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}" COMPONENT dev)
install(EXPORT TavrikTargets NAMESPACE Tavrik:: DESTINATION "${package_dir}" COMPONENT dev)

configure_package_config_file("${CMAKE_CURRENT_LIST_DIR}/TavrikConfig.cmake.in"
    "${PROJECT_BINARY_DIR}/TavrikConfig.cmake" INSTALL_DESTINATION "${package_dir}")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/TavrikConfigVersion.cmake" COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/TavrikConfig.cmake" "${PROJECT_BINARY_DIR}/TavrikConfigVersion.cmake"
    DESTINATION "${package_dir}" COMPONENT dev)
