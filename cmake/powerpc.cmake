# A big-endian target of 32 bits: record layouts must not depend on the word size.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR powerpc)
set(CMAKE_C_COMPILER powerpc-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER powerpc-linux-gnu-g++)
# The libraries are linked as on the machine itself, so that the tests observe only the system
# calls of the plug-in.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-ppc-static;-L;/usr/powerpc-linux-gnu)
