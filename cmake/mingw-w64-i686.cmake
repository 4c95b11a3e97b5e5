# Cross-build for 32-bit Windows (kor.dll for 32-bit clients: VB6, VBA in
# 32-bit Office, 32-bit script hosts).  Doubles are computed in SSE2 registers,
# never in the x87 unit's extended precision, so every operation rounds as in
# the 64-bit build.
set(KOR_MINGW_ARCH i686)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64.cmake)
set(CMAKE_C_FLAGS_INIT "-msse2 -mfpmath=sse")
set(CMAKE_CXX_FLAGS_INIT "-msse2 -mfpmath=sse")
