# cmake --install: what each package holds is a component of it (cmake/packages.cmake): the library, what
# a host is developed with, and in panel/ and plcsim/ the programs.
include(CMakePackageConfigHelpers)

install(TARGETS modbus_rtu_driver EXPORT modbus_rtu_driver LIBRARY
  DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT development)
set(HOST_HEADERS ${CMAKE_INSTALL_INCLUDEDIR}/modbus_rtu_driver)
install(FILES include/plc_driver.h DESTINATION ${HOST_HEADERS} COMPONENT development)
install(FILES driver/records.h driver/com_info.h DESTINATION ${HOST_HEADERS}/driver
  COMPONENT development)
install(FILES lists/vardef.h DESTINATION ${HOST_HEADERS}/lists COMPONENT development)

set(PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/modbus_rtu_driver)
install(EXPORT modbus_rtu_driver NAMESPACE modbus_rtu_driver:: DESTINATION ${PACKAGE_DIR}
  FILE modbus_rtu_driver-targets.cmake COMPONENT development)
configure_package_config_file(cmake/modbus_rtu_driver-config.cmake.in
  ${PROJECT_BINARY_DIR}/modbus_rtu_driver-config.cmake INSTALL_DESTINATION ${PACKAGE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/modbus_rtu_driver-config-version.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/modbus_rtu_driver-config.cmake
  ${PROJECT_BINARY_DIR}/modbus_rtu_driver-config-version.cmake DESTINATION ${PACKAGE_DIR}
  COMPONENT development)

# Found from where the file itself lies, so that cmake --install --prefix moves all of it.
file(RELATIVE_PATH PREFIX_FROM_PC /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(cmake/modbus_rtu_driver.pc.in ${PROJECT_BINARY_DIR}/modbus_rtu_driver.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/modbus_rtu_driver.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
