# One library sable_<floor> for each floor of floors.txt, each linking the floor below.
#
# The table is the list of sources. A stem without a .cpp is header-only, and a floor without any .cpp
# becomes an INTERFACE library. The platform floor takes all of src/platform/ for the target system.

set(floorTable ${PROJECT_SOURCE_DIR}/cmake/floors.txt)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${floorTable})

if(WIN32)
    set(SABLE_SYSTEM win32)
else()
    set(SABLE_SYSTEM linux)
endif()

# Globs that each build looks at again: a source that appears or goes away starts a new configure.
file(GLOB_RECURSE allSources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/*.cpp)
file(GLOB platformSources CONFIGURE_DEPENDS
    ${PROJECT_SOURCE_DIR}/src/platform/*.cpp ${PROJECT_SOURCE_DIR}/src/platform/${SABLE_SYSTEM}/*.cpp)
file(GLOB windowSources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/platform/${SABLE_SYSTEM}/window/*.cpp)

set(SABLE_FLOORS)
set(SABLE_STEMS)
set(floor)
file(STRINGS ${floorTable} tableLines)
foreach(line IN LISTS tableLines)
    string(REGEX REPLACE "#.*" "" line "${line}")
    string(STRIP "${line}" line)
    if(line MATCHES "^\\[([a-z_]+)\\]$")
        set(floor ${CMAKE_MATCH_1})
        list(APPEND SABLE_FLOORS ${floor})
    elseif(line AND NOT floor)
        message(FATAL_ERROR "cmake/floors.txt: the stem ${line} stands before the first [floor].")
    elseif(line)
        list(APPEND SABLE_STEMS ${line})
        if(${PROJECT_SOURCE_DIR}/src/${line}.cpp IN_LIST allSources)
            list(APPEND ${floor}Sources ${PROJECT_SOURCE_DIR}/src/${line}.cpp)
        endif()
    endif()
endforeach()

foreach(source IN LISTS allSources)
    file(RELATIVE_PATH stem ${PROJECT_SOURCE_DIR}/src ${source})
    string(REGEX REPLACE "\\.cpp$" "" stem ${stem})
    if(NOT stem IN_LIST SABLE_STEMS AND NOT stem MATCHES "^(platform|app/batch|app/windows)/")
        message(WARNING "src/${stem}.cpp is not compiled: cmake/floors.txt does not have it.")
    endif()
endforeach()

set(below sable_flags)
foreach(floor IN LISTS SABLE_FLOORS)
    if(${floor}Sources)
        add_library(sable_${floor} STATIC ${${floor}Sources})
        target_link_libraries(sable_${floor} PUBLIC ${below})
    else()
        add_library(sable_${floor} INTERFACE)
        target_link_libraries(sable_${floor} INTERFACE ${below})
    endif()
    set(below sable_${floor})
endforeach()
set(SABLE_TOP_FLOOR ${below})

# The binary contract, engine/abi/, is all that is shared with an engine library.
target_include_directories(sable_session PUBLIC ${PROJECT_SOURCE_DIR}/engine)

# What single floors need from outside.
function(sable_floor_needs floor)
    get_target_property(type sable_${floor} TYPE)
    if(type STREQUAL INTERFACE_LIBRARY)
        target_link_libraries(sable_${floor} INTERFACE ${ARGN})
    else()
        target_link_libraries(sable_${floor} PUBLIC ${ARGN})
    endif()
endfunction()

find_package(Threads REQUIRED)
sable_floor_needs(platform Threads::Threads ${CMAKE_DL_LIBS})
find_package(XED REQUIRED)
sable_floor_needs(disasm XED::XED)

# The native windows are a library beside the platform floor, so that only programs with windows link them.
find_package(PkgConfig REQUIRED)
pkg_check_modules(WINDOW_SYSTEM REQUIRED IMPORTED_TARGET sdl2 x11 xrandr fontconfig)
find_package(Python3 REQUIRED COMPONENTS Interpreter)
set(windowIcon ${PROJECT_BINARY_DIR}/generated/window_icon.inc)
add_custom_command(OUTPUT ${windowIcon}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${PROJECT_BINARY_DIR}/generated
    COMMAND ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/cmake/icon_pixels.py
        ${PROJECT_SOURCE_DIR}/docs/desktop/sabledbg.png ${windowIcon}
    DEPENDS ${PROJECT_SOURCE_DIR}/cmake/icon_pixels.py ${PROJECT_SOURCE_DIR}/docs/desktop/sabledbg.png)
add_library(sable_window_system STATIC ${windowSources} ${windowIcon})
target_include_directories(sable_window_system PRIVATE ${PROJECT_BINARY_DIR}/generated)
target_link_libraries(sable_window_system PUBLIC sable_platform PRIVATE PkgConfig::WINDOW_SYSTEM)
find_package(Freetype REQUIRED)
sable_floor_needs(gui sable_window_system Freetype::Freetype)
