# Compares the version of the project with those that are written by hand: of both changelogs.
#
#   cmake -D VERSION=1.2.2 -D SOURCE_DIR=... -P version.cmake
cmake_minimum_required(VERSION 3.25)

string(REPLACE . "\\." version ${VERSION})
file(STRINGS ${SOURCE_DIR}/debian/changelog line LIMIT_COUNT 1)
if(NOT line MATCHES "^vantrel \\(${version}-[0-9]+\\) ")
    message(FATAL_ERROR "debian/changelog begins with \"${line}\", the project is ${VERSION}")
endif()
file(STRINGS ${SOURCE_DIR}/CHANGELOG.md lines REGEX "^## [0-9]")
list(GET lines 0 line)
if(NOT line STREQUAL "## ${VERSION}")
    message(FATAL_ERROR "the last release in CHANGELOG.md is \"${line}\", the project is ${VERSION}")
endif()
