# Cross build for 64-bit Arm Linux with Debian's g++-aarch64-linux-gnu, its programs run
# through qemu-user with the Debian aarch64 sysroot (packages g++-aarch64-linux-gnu, qemu-user).
# Used by the Arm build of the pixel engine (scripts/test-arm64.sh): the same kernels as on
# Apple silicon, where SIMDe turns the SSSE3 intrinsics into NEON.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)

set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)

set(ZAV_AARCH64_SYSROOT /usr/aarch64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH ${ZAV_AARCH64_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Test discovery at build time and ctest both start the target's programs through this.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -L ${ZAV_AARCH64_SYSROOT})
