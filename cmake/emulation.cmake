# startable_program(variable target): sets the variable to a file that starts the target's program.
# That is the program itself, or, when it was built for another processor, a script that hands it to
# the emulator: a test that starts programs of its own cannot do that by itself.
function(startable_program variable target)
  if(NOT CMAKE_CROSSCOMPILING_EMULATOR)
    set(${variable} $<TARGET_FILE:${target}> PARENT_SCOPE)
    return()
  endif()
  set(script ${CMAKE_CURRENT_BINARY_DIR}/start-${target})
  list(JOIN CMAKE_CROSSCOMPILING_EMULATOR " " emulator)
  file(GENERATE OUTPUT ${script}
    CONTENT "#!/bin/sh\nexec ${emulator} \"$<TARGET_FILE:${target}>\" \"$@\"\n"
    FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE)
  set(${variable} ${script} PARENT_SCOPE)
endfunction()
