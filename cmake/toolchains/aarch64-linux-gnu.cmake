# Cross build for 64-bit Arm Linux with Debian's cross compiler
# (g++-aarch64-linux-gnu). Target programs run under qemu-user: CTest and
# gtest_discover_tests start them through CMAKE_CROSSCOMPILING_EMULATOR.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)

set(VIREO_CROSS_TRIPLE aarch64-linux-gnu)
set(VIREO_CROSS_SYSROOT /usr/${VIREO_CROSS_TRIPLE})

set(CMAKE_C_COMPILER ${VIREO_CROSS_TRIPLE}-gcc)
set(CMAKE_CXX_COMPILER ${VIREO_CROSS_TRIPLE}-g++)

# Libraries, headers and packages come from the target tree only, so that no
# host (x86-64) library is ever picked up; programs (build tools) from the host.
set(CMAKE_FIND_ROOT_PATH ${VIREO_CROSS_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# qemu-user finds the target's loader and shared libraries under -L.
if(NOT CMAKE_CROSSCOMPILING_EMULATOR)
  find_program(VIREO_QEMU_AARCH64 NAMES qemu-aarch64 qemu-aarch64-static)
  if(VIREO_QEMU_AARCH64)
    set(CMAKE_CROSSCOMPILING_EMULATOR ${VIREO_QEMU_AARCH64} -L ${VIREO_CROSS_SYSROOT})
  endif()
endif()
