# 32-bit x86. Unlike g++-multilib, this cross-compiler can be installed beside the cross-compiler for ARMv7. Programs
# run under qemu-i386, because not every x86-64 kernel runs 32-bit programs.
set(CMAKE_SYSTEM_PROCESSOR i686)
set(NRX_TARGET i686-linux-gnu)
include(${CMAKE_CURRENT_LIST_DIR}/debian_cross.cmake)

# Selects SSE, because a copy by the x87 unit changes the bits of a signalling NaN.
set(CMAKE_CXX_FLAGS_INIT "-msse2 -mfpmath=sse")
# Programs load the libraries of the cross-compiler, although another package may have installed 32-bit libraries in
# /lib32. Uses RPATH, because a program's RUNPATH does not apply to the libraries that its libraries need.
set(libraries ${CMAKE_FIND_ROOT_PATH}/lib)
set(CMAKE_EXE_LINKER_FLAGS_INIT
    "-Wl,--dynamic-linker=${libraries}/ld-linux.so.2 -Wl,-rpath,${libraries} -Wl,--disable-new-dtags")

# The leak detector hangs under an emulator; the preset "asan" detects the leaks. Test programs contain copies of some of
# the library's sources, so that symbols are defined twice. The option -R gives a program 3 GiB of addresses, as a
# 32-bit kernel does: the address sanitizer expects no addresses above.
set(CMAKE_CROSSCOMPILING_EMULATOR env;ASAN_OPTIONS=detect_leaks=0:detect_odr_violation=0;qemu-i386;-R;0xc0000000)
