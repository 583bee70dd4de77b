# Builds for 32-bit x86 Linux on an x86-64 host: multilib compilers, Debian's i386 libraries.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(CMAKE_C_FLAGS_INIT "-m32 -march=i686 -msse2 -mfpmath=sse -mtune=generic")
set(CMAKE_CXX_FLAGS_INIT "${CMAKE_C_FLAGS_INIT}")
set(CMAKE_LIBRARY_ARCHITECTURE i386-linux-gnu)
set(CMAKE_C_LIBRARY_ARCHITECTURE i386-linux-gnu)
set(CMAKE_CXX_LIBRARY_ARCHITECTURE i386-linux-gnu)
# The host runs i386 programs itself: tests need no emulator.
set(CMAKE_CROSSCOMPILING_EMULATOR "")
set(ENV{PKG_CONFIG_LIBDIR} "/usr/lib/i386-linux-gnu/pkgconfig:/usr/share/pkgconfig")
