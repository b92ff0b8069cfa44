# The client as a library of all its floors. Only one file knows where automation mode writes: the others are compiled
# once.

set(client_sources
  ${PROJECT_SOURCE_DIR}/common/line.cpp
  ${PROJECT_SOURCE_DIR}/common/line_file.cpp
  ${PROJECT_SOURCE_DIR}/common/log_time.cpp
  ${PROJECT_SOURCE_DIR}/common/state.cpp
  ${PROJECT_SOURCE_DIR}/requests/envelope.cpp
  ${PROJECT_SOURCE_DIR}/requests/sensor_requests.cpp
  ${PROJECT_SOURCE_DIR}/requests/wwan_requests.cpp
  ${PROJECT_SOURCE_DIR}/events/attributes.cpp
  ${PROJECT_SOURCE_DIR}/events/cell_report.cpp
  ${PROJECT_SOURCE_DIR}/events/event_cb.cpp
  ${PROJECT_SOURCE_DIR}/events/wwan_reports.cpp
  ${PROJECT_SOURCE_DIR}/session/connection.cpp
  ${PROJECT_SOURCE_DIR}/session/suid_discovery.cpp
  ${PROJECT_SOURCE_DIR}/thresholds/signal_strength_requests.cpp
  ${PROJECT_SOURCE_DIR}/thresholds/threshold_dialogs.cpp
  ${PROJECT_SOURCE_DIR}/cli/arguments.cpp
  ${PROJECT_SOURCE_DIR}/cli/automation.cpp
  ${PROJECT_SOURCE_DIR}/cli/menu.cpp)

if(CELLSCOPE_SESSION_LIBRARY)
  add_library(session_library SHARED IMPORTED GLOBAL)
  # Linked by its name, so that whatever bears it can take its place when the program starts.
  set_target_properties(session_library PROPERTIES
    IMPORTED_LOCATION "${CELLSCOPE_SESSION_LIBRARY}" IMPORTED_NO_SONAME TRUE)
endif()

add_library(client_floors OBJECT ${client_sources})
target_include_directories(client_floors PUBLIC "${PROJECT_SOURCE_DIR}" "${PROJECT_SOURCE_DIR}/platform")
target_link_libraries(client_floors PUBLIC messages_lite Threads::Threads)
target_compile_options(client_floors PUBLIC -fsanitize=signed-integer-overflow -fsanitize-undefined-trap-on-error)

# add_client_library(TARGET OUTPUT_DIR): a program's tests want an output directory of their own.
function(add_client_library target output_dir)
  add_library(${target} STATIC "${PROJECT_SOURCE_DIR}/cli/output_log.cpp")
  target_link_libraries(${target} PUBLIC client_floors)
  # The directory's name is put in front of file names as it is.
  string(REGEX REPLACE "([^/])$" "\\1/" output_dir "${output_dir}")
  target_compile_definitions(${target} PRIVATE "CELLSCOPE_OUTPUT_DIR=\"${output_dir}\"")
endfunction()
