# Cross build for 64-bit Arm Linux with clang and lld, the compiler and
# linker of the Android NDK, so that their warnings and their stricter
# linking are seen on every change. The C library, libstdc++ and qemu set-up
# are those of the gcc cross build (Debian's g++-aarch64-linux-gnu).
include(${CMAKE_CURRENT_LIST_DIR}/aarch64-linux-gnu.cmake)

set(CMAKE_C_COMPILER clang-19)
set(CMAKE_CXX_COMPILER clang++-19)
set(CMAKE_C_COMPILER_TARGET aarch64-linux-gnu)
set(CMAKE_CXX_COMPILER_TARGET aarch64-linux-gnu)

# clang finds the cross gcc's libstdc++ by itself, but would take the start
# files and libc of a multiarch libc6:arm64 from /lib/aarch64-linux-gnu first;
# -B and -L put the cross C library (the one qemu runs with) ahead of it.
set(_ox_cross_libc /usr/aarch64-linux-gnu/lib)
foreach(_kind EXE SHARED MODULE)
    set(CMAKE_${_kind}_LINKER_FLAGS_INIT "-fuse-ld=lld -B${_ox_cross_libc} -L${_ox_cross_libc}")
endforeach()
