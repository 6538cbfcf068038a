# Shared part of the MinGW-w64 cross toolchains. The posix thread-model drivers are required:
# the win32 ones lack std::thread and std::mutex, which GoogleTest needs.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_C_COMPILER   ${VESKON_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${VESKON_TRIPLE}-g++-posix)
set(CMAKE_RC_COMPILER  ${VESKON_TRIPLE}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${VESKON_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
# Packages may come from anywhere (an installed Veskon package named with CMAKE_PREFIX_PATH).
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)
# Test programs run through Wine; the prefix and display come from the test environment.
find_program(VESKON_WINE NAMES wine)
if(VESKON_WINE)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${VESKON_WINE})
endif()
