# The panel's own processor: 32-bit ARM with hard float. QtCore and the test libraries come from the
# sysroot that scripts/make-panel-sysroot makes, libc and the C++ run time's headers from the cross
# compiler; what is built runs under emulation.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_STRIP arm-linux-gnueabihf-strip)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)

get_filename_component(PANEL_SYSROOT "${CMAKE_CURRENT_LIST_DIR}/../build/panel-sysroot" ABSOLUTE)
set(CMAKE_FIND_ROOT_PATH ${PANEL_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_LIBDIR} ${PANEL_SYSROOT}/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/pkgconfig)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${PANEL_SYSROOT})

# Where the linker finds what the sysroot's own libraries need.
foreach(folder usr/lib lib)
  string(APPEND CMAKE_EXE_LINKER_FLAGS_INIT
    " -Wl,-rpath-link,${PANEL_SYSROOT}/${folder}/${CMAKE_LIBRARY_ARCHITECTURE}")
endforeach()
# The linker script of ncurses names a library that lies there.
string(APPEND CMAKE_EXE_LINKER_FLAGS_INIT " -L${PANEL_SYSROOT}/lib/${CMAKE_LIBRARY_ARCHITECTURE}")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "${CMAKE_EXE_LINKER_FLAGS_INIT}")
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -L ${PANEL_SYSROOT})
