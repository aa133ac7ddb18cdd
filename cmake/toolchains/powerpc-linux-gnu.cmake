# 32-bit big-endian PowerPC
set(processor powerpc)
set(triple powerpc-linux-gnu)
set(emulator qemu-ppc)
include("${CMAKE_CURRENT_LIST_DIR}/debian_cross.cmake")
