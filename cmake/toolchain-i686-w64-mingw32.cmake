# Cross-compiling for Windows with Debian's mingw-w64.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(KV_TRIPLET i686-w64-mingw32)
set(CMAKE_C_COMPILER ${KV_TRIPLET}-gcc-posix)
set(CMAKE_CXX_COMPILER ${KV_TRIPLET}-g++-posix)
# The posix thread model gives libstdc++ its std::mutex (GoogleTest needs it);
# -static links winpthread in, so the .exe still needs only system DLLs.
set(CMAKE_RC_COMPILER ${KV_TRIPLET}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${KV_TRIPLET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
