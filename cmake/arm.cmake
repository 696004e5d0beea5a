# Cross-compiling for the controller: 32-bit ARM with a floating-point unit, everything linked in. What the programs
# need besides the compiler lies in the build folder's own sysroot; scripts/arm fills it.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm-static -L /usr/arm-linux-gnueabihf)

get_filename_component(arm_sysroot "${CMAKE_CURRENT_LIST_DIR}/../build/arm/sysroot" ABSOLUTE)
set(CMAKE_FIND_ROOT_PATH ${arm_sysroot})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_FIND_LIBRARY_SUFFIXES .a)

# The notes that psabi would print are about compilers older than the controller's software.
set(CMAKE_CXX_FLAGS_INIT "-Wno-psabi")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-s -static")
