# The programs, tests and benchmarks: each is built when its own libraries are found, and a status
# line says so when they are not.
find_package(PkgConfig QUIET)
find_package(Threads QUIET)
find_package(Qt5SerialPort 5.15 QUIET)
find_package(CLI11 QUIET)
find_package(GTest QUIET)
find_package(benchmark QUIET)
if(PKG_CONFIG_FOUND)
  pkg_check_modules(MODBUS QUIET IMPORTED_TARGET libmodbus)
  pkg_check_modules(PCAP QUIET IMPORTED_TARGET libpcap)
  pkg_check_modules(SQLITE QUIET IMPORTED_TARGET sqlite3)
  pkg_check_modules(MOSQUITTO QUIET IMPORTED_TARGET libmosquitto)
  pkg_check_modules(NCURSES QUIET IMPORTED_TARGET ncursesw)
  pkg_check_modules(MICROHTTPD QUIET IMPORTED_TARGET libmicrohttpd)
endif()

# A folder joins in when the condition that follows its name holds.
function(add_optional_folder folder needs)
  if(NOT EXISTS ${PROJECT_SOURCE_DIR}/${folder}/CMakeLists.txt)
    return()
  endif()
  if(${ARGN})
    add_subdirectory(${folder})
  else()
    message(STATUS "${folder}: not built, it needs ${needs}")
  endif()
endfunction()

enable_testing()
add_optional_folder(panel "QtSerialPort (libqt5serialport5-dev), CLI11 (libcli11-dev) and threads"
  Qt5SerialPort_FOUND AND CLI11_FOUND AND Threads_FOUND)
add_optional_folder(examples "QtSerialPort (libqt5serialport5-dev)" Qt5SerialPort_FOUND)
add_optional_folder(plcsim "libmodbus, pkg-config and CLI11 (libmodbus-dev, pkg-config, libcli11-dev)"
  MODBUS_FOUND AND CLI11_FOUND)
add_optional_folder(tests "GoogleTest (libgtest-dev) and threads" GTest_FOUND AND Threads_FOUND)
add_optional_folder(bench "Google Benchmark (libbenchmark-dev) and threads"
  benchmark_FOUND AND Threads_FOUND)
add_optional_folder(proof "threads" Threads_FOUND)
