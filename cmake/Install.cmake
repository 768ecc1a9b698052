# What `cmake --install` puts where. Every path that one installed file needs to find another is relative: the tree may
# be moved.

include(CMakePackageConfigHelpers)

set(CORVETH_PYTHON_DIR lib/python3/dist-packages CACHE STRING "Where the Python module goes, below the prefix")
set(generated ${CMAKE_CURRENT_BINARY_DIR}/install)

# The three products. Classes have public data, so any version but a correction may change the binary interface.
set_target_properties(corveth PROPERTIES VERSION ${PROJECT_VERSION}
                      SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
target_compile_features(corveth INTERFACE cxx_std_20)
install(TARGETS corveth EXPORT corvethTargets INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS prjCorveth LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(TARGETS corveth_cli)

# The headers, as clients include them: <corveth/contacts/contact.h>.
file(GLOB_RECURSE all_headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/*.h)
add_custom_command(
  OUTPUT ${generated}/headers.stamp
  COMMAND ${CMAKE_COMMAND} -D SOURCE=${PROJECT_SOURCE_DIR}/src -D TARGET=${generated}/include/corveth
          -P ${PROJECT_SOURCE_DIR}/cmake/PublicHeaders.cmake
  COMMAND ${CMAKE_COMMAND} -E touch ${generated}/headers.stamp
  DEPENDS ${all_headers} ${PROJECT_SOURCE_DIR}/cmake/PublicHeaders.cmake
  COMMENT "Public headers"
  VERBATIM)
add_custom_target(corveth_headers ALL DEPENDS ${generated}/headers.stamp)
install(DIRECTORY ${generated}/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

# For CMake and pkg-config.
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/corveth)
install(EXPORT corvethTargets NAMESPACE corveth:: DESTINATION ${package_dir})
configure_package_config_file(cmake/corvethConfig.cmake.in ${generated}/corvethConfig.cmake
                              INSTALL_DESTINATION ${package_dir} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${generated}/corvethConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${generated}/corvethConfig.cmake ${generated}/corvethConfigVersion.cmake DESTINATION ${package_dir})
# The root, not the prefix as it stands: it may be given anew when installing.
file(RELATIVE_PATH CORVETH_PREFIX_FROM_PC /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" CORVETH_PREFIX_FROM_PC "${CORVETH_PREFIX_FROM_PC}")
configure_file(cmake/corveth.pc.in ${generated}/corveth.pc @ONLY)
install(FILES ${generated}/corveth.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# The Python module, which is told where the server stands.
file(RELATIVE_PATH server_from_module /${CORVETH_PYTHON_DIR}/corveth /${CMAKE_INSTALL_LIBDIR}/prjCorveth.so)
file(READ clients/python/corveth/_installed.py installed)
string(REPLACE "SERVER = \"\"" "SERVER = \"${server_from_module}\"" installed "${installed}")
file(CONFIGURE OUTPUT ${generated}/_installed.py CONTENT "${installed}" @ONLY)
install(DIRECTORY clients/python/corveth DESTINATION ${CORVETH_PYTHON_DIR}
        FILES_MATCHING PATTERN "*.py" PATTERN "*.pyi" PATTERN "py.typed"
        PATTERN "_installed.py" EXCLUDE PATTERN "__pycache__" EXCLUDE)
install(FILES ${generated}/_installed.py DESTINATION ${CORVETH_PYTHON_DIR}/corveth)

# For people and their shells.
install(FILES clients/cli/corveth.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES clients/cli/completion/corveth.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
        RENAME corveth)
install(FILES clients/cli/completion/_corveth DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)
install(FILES ${schema_files} DESTINATION ${CMAKE_INSTALL_DATADIR}/corveth/schema)
install(FILES README.md CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES examples/contacts.jsonl examples/project.jsonl examples/holidays.csv examples/demo.py
        DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples)
install(FILES docs/reference.md DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs)
install(DIRECTORY docs/reference DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs)
