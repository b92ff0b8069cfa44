# Debian's cross compiler for 64-bit Arm. scripts/test-arm64 fills the sysroot: what the compiler does not bring.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)

cmake_path(ABSOLUTE_PATH CMAKE_CURRENT_LIST_DIR NORMALIZE OUTPUT_VARIABLE sysroot)
cmake_path(SET sysroot NORMALIZE "${sysroot}/../build-arm64/sysroot")
list(APPEND CMAKE_FIND_ROOT_PATH "${sysroot}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# By its path: some tests hide what is in PATH.
find_program(QEMU_AARCH64 qemu-aarch64 REQUIRED)
set(CMAKE_CROSSCOMPILING_EMULATOR "${QEMU_AARCH64}" -L "${sysroot}")
# The libraries behind libprotobuf.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-Wl,-rpath-link,${sysroot}/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}")
