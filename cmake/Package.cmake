# `cpack` in the build folder makes a .deb of what `cmake --install` installs.

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME corveth)
set(CPACK_PACKAGE_CONTACT "Corveth developers <developers@corveth.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Business objects of a service-management application")
set(CPACK_PACKAGE_DESCRIPTION
    "Contacts, companies and the notes on them, as objects over a relational\n\
database: the server that clients in any language load, the library and headers\n\
for C++, the Python module and the command line.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/package)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "python3 (>= 3.11), shared-mime-info")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "g++, cmake, pkg-config, bash-completion, xdg-utils")
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/package/postinst
    ${PROJECT_SOURCE_DIR}/cmake/package/prerm ${PROJECT_SOURCE_DIR}/cmake/package/triggers)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
include(CPack)
