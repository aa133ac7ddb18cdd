# 32-bit ARM with floating-point registers
set(processor arm)
set(triple arm-linux-gnueabihf)
set(emulator qemu-arm)
include("${CMAKE_CURRENT_LIST_DIR}/debian_cross.cmake")
