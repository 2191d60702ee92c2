# The newest clang that the set-up may have installed, for the preset fuzz.

find_program(CLANGXX NAMES clang++-19 clang++ clang++-14 REQUIRED)
find_program(CLANG NAMES clang-19 clang clang-14 REQUIRED)
set(CMAKE_CXX_COMPILER ${CLANGXX})
set(CMAKE_C_COMPILER ${CLANG})
