# Where things are installed, and how they find each other there: by relative ways, so that an installation can move.

include(GNUInstallDirs)

# A folder of its own: the stand-in must not be found by programs that look for a real session library.
set(CELLSCOPE_LIBRARY_DIR "${CMAKE_INSTALL_LIBDIR}/cellscope")
set(CELLSCOPE_SHARED_DIR "${CMAKE_INSTALL_DATADIR}/cellscope")

cmake_path(ABSOLUTE_PATH CELLSCOPE_LIBRARY_DIR BASE_DIRECTORY /prefix OUTPUT_VARIABLE library_dir)
cmake_path(ABSOLUTE_PATH CELLSCOPE_SHARED_DIR BASE_DIRECTORY /prefix OUTPUT_VARIABLE shared_dir)
cmake_path(ABSOLUTE_PATH CMAKE_INSTALL_BINDIR BASE_DIRECTORY /prefix OUTPUT_VARIABLE program_dir)
cmake_path(RELATIVE_PATH program_dir BASE_DIRECTORY "${library_dir}" OUTPUT_VARIABLE CELLSCOPE_PROGRAMS_FROM_LIBRARY)
cmake_path(RELATIVE_PATH library_dir BASE_DIRECTORY "${program_dir}" OUTPUT_VARIABLE CELLSCOPE_LIBRARY_FROM_PROGRAMS)
cmake_path(RELATIVE_PATH shared_dir BASE_DIRECTORY "${program_dir}" OUTPUT_VARIABLE CELLSCOPE_SHARED_FROM_PROGRAMS)
