# Cross build for the aircraft's application processor: 32-bit ARM, hard float, Debian's
# arm-linux-gnueabihf toolchain. Libraries for the target (GoogleTest for the test programs)
# come from Debian's armhf packages installed beside the host's (multiarch).
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)

set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)

# Look for target libraries and headers in the multiarch locations only; run host programs.
set(CMAKE_FIND_ROOT_PATH /usr/arm-linux-gnueabihf)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)

# Test programs run under user-mode emulation, with the target's C and C++ runtimes.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -L /usr/arm-linux-gnueabihf)
