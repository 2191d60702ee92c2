# What every file of the project is compiled with: warnings as errors, the sanitizers asked for.

add_library(sable_flags INTERFACE)
target_include_directories(sable_flags INTERFACE ${PROJECT_SOURCE_DIR}/src)
target_compile_features(sable_flags INTERFACE cxx_std_20)
target_compile_options(sable_flags INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)

set(sanitizers ${SABLE_SANITIZE})
if(SABLE_FUZZ)
    if(NOT CMAKE_CXX_COMPILER_ID MATCHES Clang)
        message(FATAL_ERROR "SABLE_FUZZ needs clang; use the preset fuzz or set CMAKE_CXX_COMPILER=clang++.")
    endif()
    set(sanitizers address,undefined)
    # The libraries get the coverage counters; only a fuzz target links libFuzzer's main.
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()
if(sanitizers)
    add_compile_options(-fsanitize=${sanitizers} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${sanitizers})
endif()
if(sanitizers OR CMAKE_BUILD_TYPE STREQUAL "Debug")
    add_compile_definitions(_GLIBCXX_ASSERTIONS)
endif()
