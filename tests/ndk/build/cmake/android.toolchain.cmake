# Stands where an NDK has its toolchain file, so that the preset `android` can be tried without one.
include("${CMAKE_CURRENT_LIST_DIR}/../../../../cmake/arm64-linux.cmake")
