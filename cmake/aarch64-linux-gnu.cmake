# Cross build for 64-bit Arm Linux with Debian's cross compiler. Tests run
# under user-mode qemu through CMake's cross-compiling emulator, so `ctest`
# executes the arm64 binaries (and their real NEON code) on an x86-64 host.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)

set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)

# Multiarch: arm64 libraries such as zlib1g-dev:arm64 live in
# /usr/lib/aarch64-linux-gnu, the C library in /usr/aarch64-linux-gnu.
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH /usr/aarch64-linux-gnu /usr)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE BOTH)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The loader comes from the cross C library in /usr/aarch64-linux-gnu; its
# libc must come from there too (not from a multiarch libc6:arm64 in
# /lib/aarch64-linux-gnu, whose version may differ and then hangs threads).
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -L /usr/aarch64-linux-gnu
    -E LD_LIBRARY_PATH=/usr/aarch64-linux-gnu/lib)
