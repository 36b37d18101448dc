# libmodbus_rtu_driver.so: everything hidden but the names marked for export, bound to its own copies
# of them (-Bsymbolic) because a panel may load several drivers that export the same names.
file(GLOB DRIVER_SOURCES CONFIGURE_DEPENDS
  driver/*.cpp lists/*.cpp modbus/*.cpp remote/*.cpp image/*.cpp)
add_library(modbus_rtu_driver SHARED ${DRIVER_SOURCES})
add_library(modbus_rtu_driver::modbus_rtu_driver ALIAS modbus_rtu_driver)
target_include_directories(modbus_rtu_driver PUBLIC
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
  $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/modbus_rtu_driver>)
target_link_libraries(modbus_rtu_driver PUBLIC Qt5::Core)
set_target_properties(modbus_rtu_driver PROPERTIES
  VERSION ${PROJECT_VERSION}
  SOVERSION ${PROJECT_VERSION_MAJOR}
  CXX_VISIBILITY_PRESET hidden
  VISIBILITY_INLINES_HIDDEN ON
  UNITY_BUILD OFF) # the checks look at it as it is shipped
target_link_options(modbus_rtu_driver PRIVATE LINKER:-Bsymbolic)
if(NOT SANITIZE)
  target_link_options(modbus_rtu_driver PRIVATE LINKER:--no-undefined)
endif()
# Code that names the exported data must reach it through its GOT: the library keeps its own copy.
target_compile_options(modbus_rtu_driver PUBLIC -fPIC)
project_warnings(modbus_rtu_driver)
precompile_headers(modbus_rtu_driver)
