# Warnings are errors, for the project's own targets. Qt's headers count as system headers.
function(project_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Werror)
endfunction()
