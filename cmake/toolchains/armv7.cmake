# ARMv7 with hardware floating point and Thumb-2, with Debian's cross-compiler. Programs run under qemu-arm.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)

set(NRX_TARGET arm-linux-gnueabihf)
set(CMAKE_C_COMPILER ${NRX_TARGET}-gcc)  # GoogleTest needs a C compiler.
set(CMAKE_CXX_COMPILER ${NRX_TARGET}-g++)
# No warnings about the argument passing of old compilers, since all code here has the same compiler.
set(CMAKE_CXX_FLAGS_INIT "-march=armv7-a+fp -mthumb -Wno-psabi")

set(CMAKE_FIND_ROOT_PATH /usr/${NRX_TARGET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm;-L;${CMAKE_FIND_ROOT_PATH})

# Headers and the sources of GoogleTest do not depend on the processor: see cmake/dependencies.cmake.
set(NRX_HOST_HEADERS /usr/include)
set(NRX_GOOGLETEST_SOURCES /usr/src/googletest)
