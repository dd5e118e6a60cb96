# 32-bit x86. Unlike g++-multilib, this cross-compiler can be installed beside the cross-compiler for ARMv7. An x86-64
# processor runs the 32-bit programs, with the loader and the libraries of the cross-compiler.
set(CMAKE_SYSTEM_PROCESSOR i686)
set(NRX_TARGET i686-linux-gnu)
include(${CMAKE_CURRENT_LIST_DIR}/debian_cross.cmake)

# Selects SSE, because a copy by the x87 unit changes the bits of a signalling NaN.
set(CMAKE_CXX_FLAGS_INIT "-msse2 -mfpmath=sse")
# Uses RPATH, because a program's RUNPATH does not apply to the libraries that its libraries need.
set(libraries ${CMAKE_FIND_ROOT_PATH}/lib)
set(CMAKE_EXE_LINKER_FLAGS_INIT
    "-Wl,--dynamic-linker=${libraries}/ld-linux.so.2 -Wl,-rpath,${libraries} -Wl,--disable-new-dtags")
