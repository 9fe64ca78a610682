# Debian packages: one for each component. The preset "package" builds for /usr, and `cpack` in its build folder makes
# them.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tavrik)
set(CPACK_PACKAGE_VENDOR "Corvane")
set(CPACK_PACKAGE_CONTACT "The Tavrik maintainers <maintainers@tavrik.example>")
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL library softcard dev)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME tavrik-pkcs11)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_RECOMMENDS "libengine-pkcs11-openssl, p11-kit, pkcs11-provider")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SUGGESTS "tavrik-softcard, libnss3-tools, gnupg-pkcs11-scd")
set(CPACK_DEBIAN_LIBRARY_DESCRIPTION
    "PKCS#11 provider of the national electronic-identity card
Applications load this library to sign and decrypt with the keys of a card and
to read its certificates. It needs the card-access library of the card, or the
software card of the package tavrik-softcard.")

set(CPACK_DEBIAN_SOFTCARD_PACKAGE_NAME tavrik-softcard)
set(CPACK_DEBIAN_SOFTCARD_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_SOFTCARD_PACKAGE_RECOMMENDS pinentry-curses)
set(CPACK_DEBIAN_SOFTCARD_DESCRIPTION
    "software card for the Tavrik PKCS#11 provider
A card-access library that keeps its cards in a folder, and the tool that
makes, inserts and unblocks them: for trying, testing and demonstrating
without a card and a reader.")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME tavrik-pkcs11-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "tavrik-pkcs11 (= ${PROJECT_VERSION}-1), libbotan-${TAVRIK_BOTAN_MAJOR}-dev")
set(CPACK_DEBIAN_DEV_DESCRIPTION
    "headers of the Tavrik PKCS#11 provider
The RSA and hash classes that the library exports, and the files with which
CMake finds them.")

# The changelog and the copyright that every package has in its folder of documents.
string(TIMESTAMP debian_date "%a, %d %b %Y %H:%M:%S +0000" UTC)
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
    string(TOUPPER "${component}" upper)
    set(package "${CPACK_DEBIAN_${upper}_PACKAGE_NAME}")
    set(documents "${PROJECT_BINARY_DIR}/debian/${package}")
    file(MAKE_DIRECTORY "${documents}")
    file(WRITE "${documents}/changelog" "tavrik (${PROJECT_VERSION}-1) unstable; urgency=medium\n\n"
        "  * See CHANGELOG.md in the sources.\n\n -- ${CPACK_PACKAGE_CONTACT}  ${debian_date}\n")
    execute_process(COMMAND "${GZIP_PROGRAM}" -9 -n -f "${documents}/changelog" COMMAND_ERROR_IS_FATAL ANY)
    file(WRITE "${documents}/copyright" "Copyright 2026 the Tavrik maintainers\n\nAll rights reserved.\n")
    install(FILES "${documents}/changelog.gz" DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/${package}"
        COMPONENT "${component}" RENAME changelog.Debian.gz)
    install(FILES "${documents}/copyright" DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/${package}"
        COMPONENT "${component}")
endforeach()

# The loader keeps a list of the libraries in the system's folder.
foreach(upper IN ITEMS LIBRARY SOFTCARD)
    file(WRITE "${PROJECT_BINARY_DIR}/debian/${upper}/triggers" "activate-noawait ldconfig\n")
    set(CPACK_DEBIAN_${upper}_PACKAGE_CONTROL_EXTRA "${PROJECT_BINARY_DIR}/debian/${upper}/triggers")
endforeach()

# Without a text of the project's own, which CPack would put in front of each description.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_NAME} built using CMake")

include(CPack)
