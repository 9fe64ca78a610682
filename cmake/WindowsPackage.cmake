# What is installed on Windows, and what `cpack` makes of it in the build folder: a ZIP and an installer.
#
# The software card has a folder of its own, with a copy of the library and of its front: beside the library itself its
# CardAPI.dll would be taken instead of the one that came with the card.
set(softcard_folder softcard)

install(TARGETS pkcs11_x64 RUNTIME DESTINATION . ARCHIVE DESTINATION lib)
install(TARGETS tavrik_front tavrik-log tavrik-setup RUNTIME DESTINATION .)
install(DIRECTORY "${PROJECT_SOURCE_DIR}/include/tavrik" DESTINATION include)
install(TARGETS CardAPI tavrik-card tavrik-scripted-pinentry RUNTIME DESTINATION "${softcard_folder}")
install(TARGETS pkcs11_x64 tavrik_front RUNTIME DESTINATION "${softcard_folder}" ARCHIVE DESTINATION lib)
install(FILES README.md CHANGELOG.md docs/applications.md docs/configuration.md docs/front.md docs/reading-logs.md docs/softcard.md docs/windows.md
    DESTINATION doc)

set(CPACK_GENERATOR ZIP NSIS)
set(CPACK_PACKAGE_NAME tavrik)
set(CPACK_PACKAGE_VENDOR "Corvane")
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGE_FILE_NAME "tavrik-${PROJECT_VERSION}-x64")
set(CPACK_PACKAGE_INSTALL_DIRECTORY "Tavrik")
set(CPACK_STRIP_FILES ON)

# The installer's script is ours: cmake/windows/NSIS.template.in.
list(PREPEND CMAKE_MODULE_PATH "${CMAKE_CURRENT_LIST_DIR}/windows")
list(PREPEND CPACK_PRE_BUILD_SCRIPTS "${CMAKE_CURRENT_LIST_DIR}/windows/PrepareInstaller.cmake")
set(CPACK_NSIS_PACKAGE_NAME "Tavrik PKCS11 library")
set(CPACK_NSIS_INSTALL_ROOT "$PROGRAMFILES64")
# An installer for 64-bit Windows that is a 64-bit program itself.
set(CPACK_NSIS_DEFINES "Target amd64-unicode")

include(CPack)
