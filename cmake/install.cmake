# What `cmake --install` puts where.

install(TARGETS cellscope kelvane-hub RUNTIME)
install(TARGETS capture_library LIBRARY DESTINATION "${CELLSCOPE_LIBRARY_DIR}")
# No RUNPATH, in a cross build neither: a placeholder for one has an empty element.
set_target_properties(kelvane-hub PROPERTIES BUILD_WITH_INSTALL_RPATH TRUE)
if(NOT CELLSCOPE_SESSION_LIBRARY)
  install(TARGETS session_library LIBRARY DESTINATION "${CELLSCOPE_LIBRARY_DIR}")
  # RUNPATH, not RPATH: LD_LIBRARY_PATH goes before it, so that another session library can take the stand-in's place.
  # The same before and after installation: CMake would make room for the longer one with empty elements, which the
  # loader takes for the current folder.
  set_target_properties(cellscope PROPERTIES
    BUILD_WITH_INSTALL_RPATH TRUE INSTALL_RPATH "$ORIGIN/${CELLSCOPE_LIBRARY_FROM_PROGRAMS};$ORIGIN")
  target_link_options(cellscope PRIVATE -Wl,--enable-new-dtags)
endif()

# For those who write a session library or scenarios.
install(FILES "${PROJECT_SOURCE_DIR}/platform/kelvane/session.h" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/kelvane")
install(FILES ${message_paths} "${PROJECT_SOURCE_DIR}/hub/scenario.proto" "${PROJECT_SOURCE_DIR}/hub/import/profile.proto"
  DESTINATION "${CELLSCOPE_SHARED_DIR}/proto")
file(GLOB scenarios CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/scenarios/*.textproto")
install(FILES ${scenarios} "${PROJECT_SOURCE_DIR}/hub/scenario/built_in_scenario.textproto"
  DESTINATION "${CELLSCOPE_SHARED_DIR}/scenarios")
file(GLOB profiles CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/profiles/*.textproto")
install(FILES ${profiles} DESTINATION "${CELLSCOPE_SHARED_DIR}/profiles")

install(FILES "${dissector}" DESTINATION "${CMAKE_INSTALL_LIBDIR}/wireshark/plugins")

set(completion "${PROJECT_SOURCE_DIR}/completion")
if(CELLSCOPE_DEBIAN)
  set(zsh_completions "${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions")
else()
  set(zsh_completions "${CMAKE_INSTALL_DATADIR}/zsh/site-functions")
endif()
foreach(program cellscope kelvane-hub)
  install(FILES "${completion}/${program}.bash" RENAME ${program}
    DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions")
  install(FILES "${completion}/_${program}" DESTINATION "${zsh_completions}")
endforeach()

find_program(SCDOC scdoc)
find_program(GZIP gzip)
file(GLOB manuals CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/man/*.scd")
if(manuals AND NOT (SCDOC AND GZIP))
  message(STATUS "Manual pages are left out: scdoc and gzip are needed for them")
  set(manuals "")
endif()
foreach(manual IN LISTS manuals)
  cmake_path(GET manual STEM LAST_ONLY page)
  string(REGEX MATCH "[0-9]$" section "${page}")
  set(compressed "${PROJECT_BINARY_DIR}/man/${page}.gz")
  add_custom_command(
    OUTPUT "${compressed}"
    COMMAND "${CMAKE_COMMAND}" -E make_directory "${PROJECT_BINARY_DIR}/man"
    COMMAND "${SCDOC}" < "${manual}" > "${PROJECT_BINARY_DIR}/man/${page}"
    COMMAND "${GZIP}" -9nf "${PROJECT_BINARY_DIR}/man/${page}"
    DEPENDS "${manual}"
    VERBATIM)
  list(APPEND compressed_manuals "${compressed}")
  install(FILES "${compressed}" DESTINATION "${CMAKE_INSTALL_MANDIR}/man${section}")
endforeach()
add_custom_target(manuals ALL DEPENDS ${compressed_manuals})

# What the manual pages refer to.
install(FILES "${PROJECT_SOURCE_DIR}/docs/protocol.md" "${PROJECT_SOURCE_DIR}/docs/cookbook.md" DESTINATION "${CMAKE_INSTALL_DOCDIR}")
