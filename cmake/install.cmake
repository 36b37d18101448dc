# cmake --install: the library, the host's headers, a CMake package and a pkg-config file.
include(CMakePackageConfigHelpers)

install(TARGETS modbus_rtu_driver EXPORT modbus_rtu_driver LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
set(HOST_HEADERS ${CMAKE_INSTALL_INCLUDEDIR}/modbus_rtu_driver)
install(FILES include/plc_driver.h DESTINATION ${HOST_HEADERS})
install(FILES driver/records.h driver/com_info.h DESTINATION ${HOST_HEADERS}/driver)
install(FILES lists/vardef.h DESTINATION ${HOST_HEADERS}/lists)

set(PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/modbus_rtu_driver)
install(EXPORT modbus_rtu_driver NAMESPACE modbus_rtu_driver:: DESTINATION ${PACKAGE_DIR}
  FILE modbus_rtu_driver-targets.cmake)
configure_package_config_file(cmake/modbus_rtu_driver-config.cmake.in
  ${PROJECT_BINARY_DIR}/modbus_rtu_driver-config.cmake INSTALL_DESTINATION ${PACKAGE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/modbus_rtu_driver-config-version.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/modbus_rtu_driver-config.cmake
  ${PROJECT_BINARY_DIR}/modbus_rtu_driver-config-version.cmake DESTINATION ${PACKAGE_DIR})

# Found from where the file itself lies, so that cmake --install --prefix moves all of it.
file(RELATIVE_PATH PREFIX_FROM_PC /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(cmake/modbus_rtu_driver.pc.in ${PROJECT_BINARY_DIR}/modbus_rtu_driver.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/modbus_rtu_driver.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
