# The programs. Sources under src/app/batch/ that stand in no floor belong to sabledbg-batch alone, those under
# src/app/windows/ to sabledbg.

add_executable(sabledbg src/app/windows/main.cpp)
set_target_properties(sabledbg PROPERTIES BUILD_RPATH "$ORIGIN" INSTALL_RPATH "$ORIGIN")
target_link_libraries(sabledbg PRIVATE ${SABLE_TOP_FLOOR})

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
    # The engine library is found beside the program by its bare name.
    set_target_properties(sabledbg-batch PROPERTIES BUILD_RPATH "$ORIGIN" INSTALL_RPATH "$ORIGIN")
    target_link_libraries(sabledbg-batch PRIVATE sable_app CLI11::CLI11 PkgConfig::EDIT)
endif()

# What ./run builds.
add_custom_target(programs)
foreach(program sabledbg sabledbg-batch SableEng)
    if(TARGET ${program})
        add_dependencies(programs ${program})
    endif()
endforeach()

# The engine library and the demo guest's files stand beside the programs, where these look for them.
install(TARGETS SableEng DESTINATION bin)
install(TARGETS sabledbg DESTINATION bin)
install(FILES docs/desktop/sabledbg.desktop DESTINATION share/applications)
install(FILES docs/desktop/sabledbg.metainfo.xml DESTINATION share/metainfo)
install(FILES docs/desktop/sabledbg.svg DESTINATION share/icons/hicolor/scalable/apps)
install(FILES docs/desktop/sabledbg.png DESTINATION share/icons/hicolor/256x256/apps)
if(TARGET sabledbg-batch)
    install(TARGETS sabledbg-batch DESTINATION bin)
    install(FILES docs/sabledbg-batch.1 DESTINATION share/man/man1)
endif()
install(DIRECTORY ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/ DESTINATION bin FILES_MATCHING PATTERN "demo*.elf" PATTERN "demo*.img")
