# The switch's byte order: a big-endian target, run by an emulator.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR s390x)
set(CMAKE_C_COMPILER s390x-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER s390x-linux-gnu-g++)
# The libraries are linked as they are on the machine itself: the calls that the
# tests observe are then the plug-in's alone.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-s390x-static;-L;/usr/s390x-linux-gnu)
