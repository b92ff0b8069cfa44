# The library that stands between the client and its session library, and captures what passes. A phone gets it, too.

add_library(capture_core STATIC
  ${PROJECT_SOURCE_DIR}/hub/base/diagnostic.cpp
  ${PROJECT_SOURCE_DIR}/hub/base/own_file.cpp
  ${PROJECT_SOURCE_DIR}/hub/capture_library/capture_file.cpp
  ${PROJECT_SOURCE_DIR}/hub/capture_library/captured_session.cpp)
target_include_directories(capture_core PUBLIC "${PROJECT_SOURCE_DIR}" "${PROJECT_SOURCE_DIR}/platform")

add_library(capture_library SHARED ${PROJECT_SOURCE_DIR}/hub/capture_library/factory.cpp)
set_target_properties(capture_library PROPERTIES OUTPUT_NAME kelvanecapture)
target_link_libraries(capture_library PRIVATE capture_core Threads::Threads ${CMAKE_DL_LIBS})
# A C++ library that is linked into it must not come before the client's.
target_link_options(capture_library PRIVATE -Wl,--exclude-libs,ALL)
