# XED, the x86 decoder: imported target XED::XED.
#
# An installed XED wins (XED_ROOT, then the system's paths). Otherwise the crate pinned in third_party/xed/
# is built once by cargo; headers and libxed.a are kept in SABLE_XED_CACHE, which all build folders share.

set(SABLE_XED_CACHE ${PROJECT_SOURCE_DIR}/build/xed CACHE PATH "Where the XED built by cargo is kept")

# Builds the crate and puts `include/` and `lib/` into the folder `prefix`.
function(sable_build_xed manifestDir prefix)
    find_program(CARGO cargo HINTS $ENV{HOME}/.cargo/bin)
    mark_as_advanced(CARGO)
    if(NOT CARGO)
        message(FATAL_ERROR "XED is not installed and there is no cargo to build it: install Debian's cargo-web "
            "and rustc-web, or set XED_ROOT to an installed XED.")
    endif()
    message(STATUS "Building XED with cargo (once; takes a minute or two)")
    set(targetDir ${prefix}.cargo)
    execute_process(
        COMMAND ${CARGO} build --release --locked --message-format=json --target-dir ${targetDir}
        WORKING_DIRECTORY ${manifestDir}
        OUTPUT_FILE ${prefix}.messages ERROR_FILE ${prefix}.errors RESULT_VARIABLE failed)
    if(failed)
        file(READ ${prefix}.errors errors)
        message(NOTICE "${errors}")
        message(FATAL_ERROR "cargo could not build XED; its words stand above and in ${prefix}.errors")
    endif()
    # One JSON object per line; the package id ends in "xed-sys@VERSION", in older cargos "xed-sys VERSION (...)".
    file(STRINGS ${prefix}.messages message
        REGEX "\"reason\":\"build-script-executed\",\"package_id\":\"[^\"]*xed-sys[@ ]")
    string(JSON outDir ERROR_VARIABLE failed GET "${message}" out_dir)
    if(failed OR NOT EXISTS ${outDir}/install/lib/libxed.a)
        message(FATAL_ERROR "cargo built XED but did not tell where: see ${prefix}.messages")
    endif()
    # Published by one rename: a folder of that name is always complete.
    file(REMOVE_RECURSE ${prefix}.new)
    file(COPY ${outDir}/install/include ${outDir}/install/lib DESTINATION ${prefix}.new)
    file(RENAME ${prefix}.new ${prefix})
    file(REMOVE_RECURSE ${targetDir})
    file(REMOVE ${prefix}.messages ${prefix}.errors)
endfunction()

find_path(XED_INCLUDE_DIR xed/xed-interface.h)
find_library(XED_LIBRARY NAMES xed libxed)
mark_as_advanced(XED_INCLUDE_DIR XED_LIBRARY)
if(XED_INCLUDE_DIR AND XED_LIBRARY)
    set(xedIncludeDir ${XED_INCLUDE_DIR})
    set(xedLibrary ${XED_LIBRARY})
else()
    set(manifestDir ${PROJECT_SOURCE_DIR}/third_party/xed)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${manifestDir}/Cargo.lock)
    file(SHA256 ${manifestDir}/Cargo.lock lockHash)
    string(SUBSTRING ${lockHash} 0 12 lockHash)
    set(prefix ${SABLE_XED_CACHE}/${lockHash})
    if(NOT EXISTS ${prefix})
        file(MAKE_DIRECTORY ${SABLE_XED_CACHE})
        file(LOCK ${SABLE_XED_CACHE}/lock GUARD FILE)
        if(NOT EXISTS ${prefix})
            sable_build_xed(${manifestDir} ${prefix})
        endif()
        file(LOCK ${SABLE_XED_CACHE}/lock RELEASE)
    endif()
    set(xedIncludeDir ${prefix}/include)
    set(xedLibrary ${prefix}/lib/libxed.a)
endif()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(XED REQUIRED_VARS xedLibrary xedIncludeDir)

if(XED_FOUND AND NOT TARGET XED::XED)
    add_library(XED::XED UNKNOWN IMPORTED)
    set_target_properties(XED::XED PROPERTIES
        IMPORTED_LOCATION ${xedLibrary} INTERFACE_INCLUDE_DIRECTORIES ${xedIncludeDir})
endif()
