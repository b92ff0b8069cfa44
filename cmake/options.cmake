# What a user can set, and what every target is compiled with.

set(CELLSCOPE_SESSION_LIBRARY "" CACHE FILEPATH
  "Session library to link cellscope against; empty: the stand-in that this project builds")
set(CELLSCOPE_PROTO_DIR "${PROJECT_SOURCE_DIR}/proto" CACHE PATH
  "Folder of kelvane_api.proto and mox_wwan_test.proto")
set(CELLSCOPE_OUTPUT_DIR "/data/APT_Automation/" CACHE STRING
  "Folder of the pid file and the output file of automation mode")
option(CELLSCOPE_HUB "Build the stand-in session library, the simulated hub and what needs them" ON)
option(CELLSCOPE_WERROR "Treat warnings as errors" OFF)
option(CELLSCOPE_FUZZ "Build the fuzz targets (clang++)" OFF)
option(CELLSCOPE_BENCH "Build the benchmarks" OFF)
option(CELLSCOPE_DEBIAN "Install as a Debian package does" OFF)

include(CTest)

# A wrong path would otherwise show late, as a rule that is missing.
if(NOT CELLSCOPE_HUB AND NOT CELLSCOPE_SESSION_LIBRARY)
  message(FATAL_ERROR "CELLSCOPE_HUB=OFF: expected the platform's library in CELLSCOPE_SESSION_LIBRARY, which is empty")
endif()
if(CELLSCOPE_SESSION_LIBRARY AND NOT EXISTS "${CELLSCOPE_SESSION_LIBRARY}")
  message(FATAL_ERROR "CELLSCOPE_SESSION_LIBRARY: expected a library, there is no ${CELLSCOPE_SESSION_LIBRARY}")
endif()
foreach(proto IN ITEMS kelvane_api mox_wwan_test)
  if(NOT EXISTS "${CELLSCOPE_PROTO_DIR}/${proto}.proto")
    message(FATAL_ERROR "CELLSCOPE_PROTO_DIR: expected ${proto}.proto, there is none in ${CELLSCOPE_PROTO_DIR}")
  endif()
endforeach()

if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "" FORCE)
endif()

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

# Programs and library stand side by side, so that each finds the other and a library put in front takes its place.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}")
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}")

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion)
if(CELLSCOPE_WERROR)
  add_compile_options(-Werror)
endif()

# Release builds are hardened. Not under a sanitizer, which brings its own checks.
include(CheckPIESupported)
check_pie_supported()
if(CMAKE_BUILD_TYPE MATCHES "^Rel" AND NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize")
  set(CELLSCOPE_HARDENED ON)
  add_compile_options(-fstack-protector-strong -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
  add_link_options(-Wl,-z,relro,-z,now)
endif()

find_package(Threads REQUIRED)
find_package(Protobuf 3.21 REQUIRED)
