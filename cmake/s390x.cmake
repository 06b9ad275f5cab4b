# A big-endian target, as the switch is, run by an emulator.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR s390x)
set(CMAKE_C_COMPILER s390x-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER s390x-linux-gnu-g++)
# The libraries are linked as on the machine itself, so that the tests observe only the system
# calls of the plug-in.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-s390x-static;-L;/usr/s390x-linux-gnu)
