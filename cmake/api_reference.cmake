# cmake --build build --target api_reference: the host's interface as HTML, in build/api-reference.
find_program(DOXYGEN doxygen)
if(NOT DOXYGEN)
  message(STATUS "api_reference: not made, it needs doxygen")
  return()
endif()
configure_file(docs/Doxyfile.in ${PROJECT_BINARY_DIR}/Doxyfile @ONLY)
add_custom_target(api_reference COMMAND ${DOXYGEN} ${PROJECT_BINARY_DIR}/Doxyfile VERBATIM)
# Everything in it is described, and nothing said of what is not there.
add_test(NAME api_reference_has_no_warning COMMAND ${DOXYGEN} ${PROJECT_BINARY_DIR}/Doxyfile)
