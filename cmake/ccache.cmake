# What has been compiled once, in whatever folder and for whatever preset, is not compiled again: ccache, where it is
# installed. CMAKE_CXX_COMPILER_LAUNCHER names another launcher; empty: none.

find_program(CCACHE ccache)
if(CCACHE)
  # One that cannot write its cache would fail every compilation.
  execute_process(COMMAND "${CCACHE}" -k cache_dir OUTPUT_VARIABLE cache OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
  execute_process(COMMAND "${CMAKE_COMMAND}" -E make_directory "${cache}" OUTPUT_QUIET ERROR_QUIET)
  execute_process(COMMAND "${CMAKE_COMMAND}" -E touch "${cache}/.used" RESULT_VARIABLE fails OUTPUT_QUIET ERROR_QUIET)
  if(fails)
    set(CCACHE "")
  endif()
endif()
if(CCACHE AND NOT DEFINED CMAKE_CXX_COMPILER_LAUNCHER AND NOT DEFINED ENV{CMAKE_CXX_COMPILER_LAUNCHER})
  # Paths are hashed as seen from the build folder, and where that lies is not hashed at all.
  set(CMAKE_CXX_COMPILER_LAUNCHER
    "${CMAKE_COMMAND}" -E env "CCACHE_BASEDIR=${PROJECT_SOURCE_DIR}" CCACHE_NOHASHDIR=1 "${CCACHE}")
endif()

# So that debug information is the same, and right, wherever an object comes from: it names sources as seen from the
# build folder.
cmake_path(RELATIVE_PATH PROJECT_SOURCE_DIR BASE_DIRECTORY "${PROJECT_BINARY_DIR}" OUTPUT_VARIABLE from_build)
add_compile_options("-fdebug-prefix-map=${PROJECT_SOURCE_DIR}=${from_build}"
  "-fdebug-prefix-map=${PROJECT_BINARY_DIR}=." "-fdebug-prefix-map=${PROJECT_BINARY_DIR}/=")
