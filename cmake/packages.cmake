# The Debian packages: scripts/package makes them with CPack of a built tree. Each is a component of
# what cmake --install puts in place; what they depend on is read from the binaries.
if(NOT TARGET panel OR NOT TARGET plcsim)
  return()
endif()
set(PACKAGING ${PROJECT_SOURCE_DIR}/packaging)
set(PANEL_DATA ${CMAKE_INSTALL_DATADIR}/modbus-panel)

# What no target of the other folders installs.
install(FILES examples/minimal_host.cpp
  DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libmodbus-rtu-driver-dev/examples COMPONENT development)
install(FILES docs/abi.md
  DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libmodbus-rtu-driver-dev COMPONENT development)
install(FILES ${PACKAGING}/libmodbus-rtu-driver-dev.lintian-overrides COMPONENT development
  DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides RENAME libmodbus-rtu-driver-dev)
install(FILES panel/file/panel.schema.json DESTINATION ${PANEL_DATA} COMPONENT panel)
# The schema lies beside it there.
file(READ panel/demo.json DEMO)
string(REPLACE "file/panel.schema.json" "panel.schema.json" DEMO "${DEMO}")
file(GENERATE OUTPUT ${PROJECT_BINARY_DIR}/packaging/demo.json CONTENT "${DEMO}")
install(FILES ${PROJECT_BINARY_DIR}/packaging/demo.json DESTINATION ${PANEL_DATA} COMPONENT panel)
# The pages that a person at the panel reads, side by side there.
set(PANEL_DOC ${CMAKE_INSTALL_DATADIR}/doc/modbus-panel)
file(READ panel/README.md README)
string(REPLACE "(../docs/" "(" README "${README}")
string(REPLACE "(../plcsim/README.md)" "(plcsim.md)" README "${README}")
string(REPLACE "(demo.json)" "(/usr/share/modbus-panel/demo.json)" README "${README}")
string(REPLACE "(file/" "(/usr/share/modbus-panel/" README "${README}")
file(GENERATE OUTPUT ${PROJECT_BINARY_DIR}/packaging/README.md CONTENT "${README}")
install(FILES ${PROJECT_BINARY_DIR}/packaging/README.md docs/plant.md docs/page.md docs/history.md
  docs/troubleshooting.md DESTINATION ${PANEL_DOC} COMPONENT panel)
install(FILES plcsim/README.md DESTINATION ${PANEL_DOC} RENAME plcsim.md COMPONENT panel)
install(DIRECTORY docs/images DESTINATION ${PANEL_DOC} COMPONENT panel
  FILES_MATCHING PATTERN "page-*.png")
install(FILES ${PACKAGING}/modbus-panel@.service DESTINATION lib/systemd/system COMPONENT panel)

# What every package has to say of itself, under the package's own name.
function(describe_package component name)
  install(FILES ${PACKAGING}/copyright COMPONENT ${component}
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name})
  install(FILES ${PROJECT_BINARY_DIR}/packaging/changelog.gz COMPONENT ${component}
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name})
endfunction()
add_custom_command(OUTPUT ${PROJECT_BINARY_DIR}/packaging/changelog.gz
  COMMAND gzip --best --no-name --stdout ${PACKAGING}/changelog
    > ${PROJECT_BINARY_DIR}/packaging/changelog.gz
  DEPENDS ${PACKAGING}/changelog)
add_custom_target(package_notes ALL DEPENDS ${PROJECT_BINARY_DIR}/packaging/changelog.gz)
describe_package(library libmodbus-rtu-driver1)
describe_package(development libmodbus-rtu-driver-dev)
describe_package(panel modbus-panel)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "Modbus RTU driver maintainers <maintainers@modbus-rtu-driver.example>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE
  GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_COMPONENTS_ALL library development panel)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
if(CMAKE_CROSSCOMPILING)
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE armhf)
  # Where dpkg-shlibdeps finds the libraries of that processor.
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS
    ${PANEL_SYSROOT}/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE} ${PANEL_SYSROOT}/lib/${CMAKE_LIBRARY_ARCHITECTURE})
endif()

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libmodbus-rtu-driver1)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${PACKAGING}/triggers)
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION "Modbus RTU master driver for operator panels
The run time of an operator panel loads this library to exchange values with
PLCs over a serial line: it merges variables into few requests, decides what
goes out next, checks replies, and keeps an image of PLC memory.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libmodbus-rtu-driver-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
  "libmodbus-rtu-driver1 (= ${PROJECT_VERSION}), qtbase5-dev")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "Modbus RTU master driver for operator panels (development files)
Headers, CMake package, pkg-config file and a small host to begin with, for
programs that link with the driver or load it.")

set(CPACK_DEBIAN_PANEL_PACKAGE_NAME modbus-panel)
set(CPACK_DEBIAN_PANEL_PACKAGE_SECTION electronics)
# The panel loads the driver, so that no binary names it.
set(CPACK_DEBIAN_PANEL_PACKAGE_DEPENDS "libmodbus-rtu-driver1 (= ${PROJECT_VERSION}), adduser")
set(CPACK_DEBIAN_PANEL_PACKAGE_CONTROL_EXTRA
  ${PACKAGING}/postinst ${PACKAGING}/prerm ${PACKAGING}/postrm)
set(CPACK_COMPONENT_PANEL_DESCRIPTION "Modbus RTU panel runtime, line tools and simulated PLC
Polls PLCs over serial lines as a panel file says, shows and records their
values, serves them to browsers and to an MQTT broker, as a service or by
hand. Finds stations, reads and writes single values, explains recorded
lines. A simulated PLC is there to try it with.")
include(CPack)
