# The compile settings that every target of this project shares. Linked PRIVATE, so a user never inherits them.
add_library(vantrel_flags INTERFACE)
target_compile_features(vantrel_flags INTERFACE cxx_std_20)
target_compile_options(vantrel_flags INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual
    -Wcast-qual -Wmissing-declarations
    $<$<BOOL:${VANTREL_WERROR}>:-Werror>)
# No path of the machine in what is shipped, so that the same source makes the same bytes in any folder. Debug builds
# keep them for debuggers and coverage.
target_compile_options(vantrel_flags INTERFACE
    $<$<NOT:$<CONFIG:Debug>>:-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.>
    $<$<NOT:$<CONFIG:Debug>>:-ffile-prefix-map=${PROJECT_BINARY_DIR}=.>)
target_compile_definitions(vantrel_flags INTERFACE VANTREL_VERSION="${PROJECT_VERSION}")
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)
# D: without times and owners, which is only Debian's default.
set(CMAKE_CXX_ARCHIVE_CREATE "<CMAKE_AR> qcD <TARGET> <LINK_FLAGS> <OBJECTS>")
set(CMAKE_CXX_ARCHIVE_APPEND "<CMAKE_AR> qD <TARGET> <LINK_FLAGS> <OBJECTS>")
set(CMAKE_CXX_ARCHIVE_FINISH "<CMAKE_RANLIB> -D <TARGET>")
set_property(GLOBAL PROPERTY VANTREL_ROOMS "")

# vantrel_room(io SOURCES clFileIO.cpp ... HEADERS clFileIO.h ... DEPENDS base)
#
# One room of the library: a static library of its own, so that its tests link without the rooms above it.
# Headers stand for the installed ones; PRIVATE_HEADERS stay in the tree.
function(vantrel_room room)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;HEADERS;PRIVATE_HEADERS;DEPENDS")
    add_library(vantrel_${room} STATIC ${arg_SOURCES} ${arg_HEADERS} ${arg_PRIVATE_HEADERS})
    target_include_directories(vantrel_${room} PUBLIC ${PROJECT_SOURCE_DIR})
    target_compile_features(vantrel_${room} PUBLIC cxx_std_17)
    target_link_libraries(vantrel_${room} PRIVATE $<BUILD_INTERFACE:vantrel_flags> PUBLIC Threads::Threads)
    # The objects are compiled once, for the archive and for the shared library.
    set_target_properties(vantrel_${room} PROPERTIES
        POSITION_INDEPENDENT_CODE ON CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
    foreach(below IN LISTS arg_DEPENDS)
        target_link_libraries(vantrel_${room} PUBLIC vantrel_${below})
    endforeach()
    list(TRANSFORM arg_HEADERS PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/)
    set_property(GLOBAL APPEND PROPERTY VANTREL_ROOMS ${room})
    set_property(GLOBAL APPEND PROPERTY VANTREL_HEADERS ${arg_HEADERS})
    set_property(GLOBAL PROPERTY VANTREL_DEPENDS_${room} "${arg_DEPENDS}")
endfunction()

# The library a user links: the objects of all rooms in one archive and, with BUILD_SHARED_LIBS, in one shared library.
# vantrel::vantrel is the shared one if there is one.
function(vantrel_library)
    vantrel_link_rooms(vantrel_library STATIC)
    if(BUILD_SHARED_LIBS)
        vantrel_link_rooms(vantrel_shared SHARED)
        set(map ${PROJECT_SOURCE_DIR}/cmake/vantrel.map)
        target_link_options(vantrel_shared PRIVATE LINKER:--version-script=${map})
        set_target_properties(vantrel_shared PROPERTIES
            VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR} LINK_DEPENDS ${map})
        add_library(vantrel::vantrel ALIAS vantrel_shared)
    else()
        add_library(vantrel::vantrel ALIAS vantrel_library)
    endif()
endfunction()

function(vantrel_link_rooms target type)
    get_property(rooms GLOBAL PROPERTY VANTREL_ROOMS)
    get_property(headers GLOBAL PROPERTY VANTREL_HEADERS)
    add_library(${target} ${type})
    foreach(room IN LISTS rooms)
        target_sources(${target} PRIVATE $<TARGET_OBJECTS:vantrel_${room}>)
    endforeach()
    target_sources(${target} PUBLIC FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR} FILES ${headers})
    target_compile_features(${target} PUBLIC cxx_std_17)
    target_link_libraries(${target} PUBLIC Threads::Threads)
    set_target_properties(${target} PROPERTIES OUTPUT_NAME vantrel EXPORT_NAME vantrel LINKER_LANGUAGE CXX)
endfunction()

# A program on top of the rooms it names.
function(vantrel_program target)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;DEPENDS")
    add_executable(${target} ${arg_SOURCES})
    target_link_libraries(${target} PRIVATE vantrel_flags)
    foreach(below IN LISTS arg_DEPENDS)
        target_link_libraries(${target} PRIVATE vantrel_${below})
    endforeach()
endfunction()
