# ARMv7 with hardware floating point and Thumb-2. Programs run under qemu-arm.
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(NRX_TARGET arm-linux-gnueabihf)
include(${CMAKE_CURRENT_LIST_DIR}/debian_cross.cmake)

# Disables the compiler's notes about arguments that its older versions passed differently. One version compiles all
# code.
set(CMAKE_CXX_FLAGS_INIT "-march=armv7-a+fp -mthumb -Wno-psabi")
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm;-L;${CMAKE_FIND_ROOT_PATH})
