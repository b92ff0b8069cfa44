# The message classes, generated twice: for the lite runtime (the client) and for the full one (the hub, which reads
# scenarios as text). The two define the same names and never meet in one program.

set(message_protos kelvane_api.proto mox_wwan_test.proto)

# add_message_library(TARGET [LITE] RUNTIME library PROTOS path...)
function(add_message_library target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "LITE" "RUNTIME" "PROTOS")
  set(out "${PROJECT_BINARY_DIR}/generated/${target}")
  file(MAKE_DIRECTORY "${out}")
  set(includes "")
  set(sources "")
  foreach(proto IN LISTS arg_PROTOS)
    cmake_path(GET proto PARENT_PATH folder)
    cmake_path(GET proto STEM name)
    list(APPEND includes "--proto_path=${folder}")
    list(APPEND sources "${out}/${name}.pb.cc")
  endforeach()
  list(REMOVE_DUPLICATES includes)
  list(TRANSFORM sources REPLACE "\\.cc$" ".h" OUTPUT_VARIABLE headers)
  add_custom_command(
    OUTPUT ${sources} ${headers}
    COMMAND protobuf::protoc ${includes} "--cpp_out=$<$<BOOL:${arg_LITE}>:lite:>${out}" ${arg_PROTOS}
    DEPENDS ${arg_PROTOS}
    VERBATIM)
  add_library(${target} STATIC ${sources})
  target_include_directories(${target} SYSTEM PUBLIC "${out}")
  target_link_libraries(${target} PUBLIC ${arg_RUNTIME})
  target_compile_options(${target} PRIVATE -w)
  set_target_properties(${target} PROPERTIES CXX_CLANG_TIDY "")
endfunction()

list(TRANSFORM message_protos PREPEND "${CELLSCOPE_PROTO_DIR}/" OUTPUT_VARIABLE message_paths)
add_message_library(messages_lite LITE RUNTIME protobuf::libprotobuf-lite PROTOS ${message_paths})
if(ANDROID)
  target_link_libraries(messages_lite PUBLIC log)  # where the runtime writes its warnings
endif()
if(CELLSCOPE_HUB)
  add_message_library(messages_full RUNTIME protobuf::libprotobuf
    PROTOS ${message_paths} "${PROJECT_SOURCE_DIR}/hub/scenario.proto")
endif()
