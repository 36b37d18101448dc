# The man pages are what --help says, so that the two cannot part. help2man makes them of the program
# and of packaging/man/NAME.h2m: the line of its name, and what has no place in the help.
find_program(HELP2MAN help2man)
if(NOT HELP2MAN OR NOT TARGET panel OR NOT TARGET plcsim)
  message(STATUS "man pages: not made, they need help2man, the panel and plcsim")
  return()
endif()

# man_page(name target [command]): made by the program itself, under emulation where it needs that.
function(man_page name target)
  set(page ${PROJECT_BINARY_DIR}/man/${name}.1)
  set(more ${PROJECT_SOURCE_DIR}/packaging/man/${name}.h2m)
  set(program ${CMAKE_CROSSCOMPILING_EMULATOR} $<TARGET_FILE:${target}> ${ARGN})
  string(TOUPPER ${name} TITLE)
  add_custom_command(OUTPUT ${page}.gz
    COMMAND ${HELP2MAN} --no-info --source "modbus-panel ${PROJECT_VERSION}"
      --version-string ${PROJECT_VERSION} --include ${more} --output ${page} "$<JOIN:${program}, >"
    # It takes the first word alone for the title.
    COMMAND sed -i "s/^[.]TH [^ ]*/.TH ${TITLE}/" ${page}
    COMMAND gzip --force --best --no-name ${page}
    DEPENDS ${target} ${more} VERBATIM)
  set_property(GLOBAL APPEND PROPERTY MAN_PAGES ${page}.gz)
endfunction()

file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/man)
man_page(panel panel)
foreach(command run plan find read write explain)
  man_page(panel-${command} panel ${command})
endforeach()
man_page(plcsim plcsim)
get_property(MAN_PAGES GLOBAL PROPERTY MAN_PAGES)
add_custom_target(man_pages ALL DEPENDS ${MAN_PAGES})
install(FILES ${MAN_PAGES} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT panel)

find_program(MANDOC mandoc)
if(NOT MANDOC)
  message(STATUS "man pages: not compared with --help, that needs mandoc")
elseif(NOT CMAKE_CROSSCOMPILING)
  add_test(NAME man_pages_say_what_help_says COMMAND /usr/bin/python3 ${PROJECT_SOURCE_DIR}/tests/man_pages_test.py
    ${PROJECT_BINARY_DIR}/man $<TARGET_FILE:panel> $<TARGET_FILE:plcsim>)
endif()
