# Cross build for the router's 32-bit ARM (hard-float) Linux, with Debian's
# arm-linux-gnueabihf cross compiler and the armhf -dev packages installed through
# multiarch (scripts/install-armhf-deps.sh installs both).
#
#   cmake -S . -B build-armhf -DCMAKE_TOOLCHAIN_FILE=cmake/arm-linux-gnueabihf.cmake
#
# Programs built here run on this machine under qemu-arm (Debian's qemu-user): ctest
# starts the unit tests through it.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(TELEM_CROSS_TRIPLE arm-linux-gnueabihf)

set(CMAKE_C_COMPILER ${TELEM_CROSS_TRIPLE}-gcc)
set(CMAKE_CXX_COMPILER ${TELEM_CROSS_TRIPLE}-g++)
# 64-bit file offsets and inode numbers, as the router's C library always has them.
# Without them glibc's 32-bit readdir() stops with EOVERFLOW on a directory whose
# entries carry 64-bit offsets (ext4 hash order, as under qemu-arm on a 64-bit host),
# and a directory scan would find nothing.
set(CMAKE_C_FLAGS_INIT "-D_FILE_OFFSET_BITS=64")
set(CMAKE_CXX_FLAGS_INIT "-D_FILE_OFFSET_BITS=64")
set(CMAKE_STRIP ${TELEM_CROSS_TRIPLE}-strip CACHE FILEPATH "strip for the router binaries")

# Libraries and headers of the target: the multiarch directories of the armhf packages
# and the cross compiler's own tree; programs (pkg-config, qemu) come from the host.
set(CMAKE_FIND_ROOT_PATH /usr/${TELEM_CROSS_TRIPLE})
set(CMAKE_LIBRARY_ARCHITECTURE ${TELEM_CROSS_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY BOTH)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE BOTH)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)

# pkg-config must describe the armhf packages, not the host's.
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/${TELEM_CROSS_TRIPLE}/pkgconfig:/usr/share/pkgconfig)
set(ENV{PKG_CONFIG_PATH} "")

# The cross compiler's runtime (dynamic loader, libc, libstdc++) lives in
# /usr/arm-linux-gnueabihf/lib, which is where qemu-arm looks first with -L; the other
# libraries (cJSON, libmd) come from the multiarch paths. The loader found through -L
# searches /lib/arm-linux-gnueabihf first, where the armhf libc package keeps a libc of
# another build: that pair runs until the first fork(), whose child then dies with
# SIGSEGV. LD_LIBRARY_PATH makes the loader take the libc of its own package.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -L /usr/${TELEM_CROSS_TRIPLE} -E
                                  LD_LIBRARY_PATH=/usr/${TELEM_CROSS_TRIPLE}/lib)
