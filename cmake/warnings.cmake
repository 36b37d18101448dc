# Warnings are errors, for the project's own targets. Qt's headers count as system headers.
function(project_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Werror)
  if(CMAKE_UNITY_BUILD)
    # Several files are one to the compiler then, which takes them for headers.
    target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>
      -Wno-unknown-warning-option)
  endif()
endfunction()
