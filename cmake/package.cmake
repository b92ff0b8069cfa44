# The Debian package: `cpack` in a build that is configured for /usr (scripts/package).

set(packaging "${PROJECT_SOURCE_DIR}/packaging")
set(built "${PROJECT_BINARY_DIR}/packaging")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME cellscope)
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGE_CONTACT "cellscope maintainers <maintainers@cellscope.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "test client for the cellular modem sensor of a phone's sensor hub")
set(CPACK_PACKAGE_DESCRIPTION_FILE "${packaging}/description")
set(CPACK_PACKAGING_INSTALL_PREFIX "${CMAKE_INSTALL_PREFIX}")
set(CPACK_STRIP_FILES ON)
# Not the umask of whoever builds it.
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS gnuplot-nox)
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "bash-completion, protobuf-compiler, wireshark | tshark")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${PROJECT_BINARY_DIR}")
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)

if(CELLSCOPE_DEBIAN)
  find_program(GZIP gzip REQUIRED)
  string(REGEX REPLACE "([^/])$" "\\1/" output_directory "${CELLSCOPE_OUTPUT_DIR}")
  configure_file("${packaging}/README.Debian.in" "${built}/README.Debian" @ONLY)
  configure_file("${packaging}/changelog.in" "${built}/changelog" @ONLY)
  execute_process(COMMAND "${GZIP}" -9nf "${built}/changelog" COMMAND_ERROR_IS_FATAL ANY)
  install(FILES "${built}/README.Debian" "${built}/changelog.gz" "${packaging}/copyright"
    DESTINATION "${CMAKE_INSTALL_DOCDIR}")
endif()

include(CPack)
