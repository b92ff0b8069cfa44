# Programs of another architecture, started by their path as if they were the host's own.

# start_by_emulator(TARGET): puts a script of the program's name in its place, which runs it by the emulator. Without an
# emulator nothing changes.
function(start_by_emulator target)
  if(NOT CMAKE_CROSSCOMPILING_EMULATOR)
    return()
  endif()
  set_target_properties(${target} PROPERTIES SUFFIX .emulated)
  list(JOIN CMAKE_CROSSCOMPILING_EMULATOR " " emulator)
  set(script "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${target}")
  file(CONFIGURE OUTPUT "${script}" @ONLY CONTENT [[
#!/bin/sh
exec @emulator@ "@script@.emulated" "$@"
]])
  file(CHMOD "${script}" PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
endfunction()
