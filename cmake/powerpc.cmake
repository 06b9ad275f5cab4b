# A big-endian target of 32 bits: record layouts must not depend on the word size.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR powerpc)
set(CMAKE_C_COMPILER powerpc-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER powerpc-linux-gnu-g++)
# The libraries are linked as they are on the machine itself: the calls that the
# tests observe are then the plug-in's alone.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-ppc-static;-L;/usr/powerpc-linux-gnu)
