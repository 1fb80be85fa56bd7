# The product's ABI on a Debian host: 32-bit ARM (armhf) through Debian's
# cross compiler and the :armhf multiarch packages, with the programs run
# under qemu-arm so that ctest and test discovery work as on the host.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)

set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
# GCC notes every std::vector of a 64-bit aligned type that passes through
# a call as an ABI change of GCC 7.1, which nothing here mixes with.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)

# armhf libbacktrace (under libutils) loads 7z.so from /usr/lib/p7zip, a
# path the amd64 p7zip-full owns. scripts/setup.sh unpacks Debian's armhf
# p7zip-full into a root of its own, where the linker and qemu look first.
set(ARMHF_OVERLAY /opt/c2info-armhf-root)
set(CMAKE_EXE_LINKER_FLAGS_INIT -Wl,-rpath-link=${ARMHF_OVERLAY}/usr/lib/p7zip)

# hidl-gen from the host; libraries and headers from the target's
# multiarch directories.
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_LIBRARY_PATH /usr/lib/arm-linux-gnueabihf)

find_program(QEMU_ARM qemu-arm REQUIRED)
set(CMAKE_CROSSCOMPILING_EMULATOR ${QEMU_ARM} -L ${ARMHF_OVERLAY})
