# The compile settings that every target of this project shares. Linked PRIVATE, so a user never inherits them.
add_library(vantrel_flags INTERFACE)
target_compile_features(vantrel_flags INTERFACE cxx_std_20)
target_compile_options(vantrel_flags INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual
    -Wcast-qual -Wmissing-declarations
    $<$<BOOL:${VANTREL_WERROR}>:-Werror>)
set(CMAKE_CXX_EXTENSIONS OFF)
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
    set_target_properties(vantrel_${room} PROPERTIES POSITION_INDEPENDENT_CODE ON)
    foreach(below IN LISTS arg_DEPENDS)
        target_link_libraries(vantrel_${room} PUBLIC vantrel_${below})
    endforeach()
    list(TRANSFORM arg_HEADERS PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/)
    set_property(GLOBAL APPEND PROPERTY VANTREL_ROOMS ${room})
    set_property(GLOBAL APPEND PROPERTY VANTREL_HEADERS ${arg_HEADERS})
    set_property(GLOBAL PROPERTY VANTREL_DEPENDS_${room} "${arg_DEPENDS}")
endfunction()

# The library a user links: the objects of all rooms in one archive.
function(vantrel_library)
    get_property(rooms GLOBAL PROPERTY VANTREL_ROOMS)
    get_property(headers GLOBAL PROPERTY VANTREL_HEADERS)
    add_library(vantrel_library STATIC)
    add_library(vantrel::vantrel ALIAS vantrel_library)
    foreach(room IN LISTS rooms)
        target_sources(vantrel_library PRIVATE $<TARGET_OBJECTS:vantrel_${room}>)
    endforeach()
    target_sources(vantrel_library PUBLIC FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR} FILES ${headers})
    target_compile_features(vantrel_library PUBLIC cxx_std_17)
    target_link_libraries(vantrel_library PUBLIC Threads::Threads)
    set_target_properties(vantrel_library PROPERTIES OUTPUT_NAME vantrel EXPORT_NAME vantrel LINKER_LANGUAGE CXX)
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
