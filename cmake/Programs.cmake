# The programs. Sources under src/app/batch/ that stand in no floor belong to sabledbg-batch alone.

file(GLOB batchSources CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/src/app/batch/*.cpp)
foreach(stem IN LISTS SABLE_STEMS)
    list(REMOVE_ITEM batchSources ${stem}.cpp)
endforeach()
if(batchSources)
    find_package(CLI11 REQUIRED)
    find_package(PkgConfig REQUIRED)
    pkg_check_modules(EDIT REQUIRED IMPORTED_TARGET libedit)
    list(TRANSFORM batchSources PREPEND ${PROJECT_SOURCE_DIR}/src/)
    add_executable(sabledbg-batch ${batchSources})
    target_compile_definitions(sabledbg-batch PRIVATE SABLE_VERSION="${PROJECT_VERSION}")
    target_link_libraries(sabledbg-batch PRIVATE ${SABLE_TOP_FLOOR} CLI11::CLI11 PkgConfig::EDIT)
endif()

# What ./run builds.
add_custom_target(programs)
foreach(program sabledbg sabledbg-batch)
    if(TARGET ${program})
        add_dependencies(programs ${program})
    endif()
endforeach()
