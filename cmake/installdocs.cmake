# Installs what is made of other files: manual pages with the version in their footer, both changelogs and the
# copyright file, compressed as Debian wants it. Run by the installation, with the variables that package.cmake sets.

function(install_text folder name text)
    file(WRITE "${work}/${name}" "${text}")
    if(NOT name STREQUAL "copyright")
        execute_process(COMMAND gzip -9nf "${work}/${name}" COMMAND_ERROR_IS_FATAL ANY)
        string(APPEND name .gz)
    endif()
    file(INSTALL "${work}/${name}" DESTINATION "${CMAKE_INSTALL_PREFIX}/${folder}")
endfunction()

function(read_text variable file)  # byte for byte: file(READ) would take brackets and semicolons for lists
    execute_process(COMMAND cat "${source}/${file}" OUTPUT_VARIABLE text COMMAND_ERROR_IS_FATAL ANY)
    set(${variable} "${text}" PARENT_SCOPE)
endfunction()

foreach(page velmorin.1 velmorin-sim.1 velmorinctl.1 update.conf.5)
    read_text(text docs/man/${page})
    string(REGEX REPLACE "^(\\.TH [^\n]* )velmorin " "\\1\"velmorin ${version}\" " text "${text}")
    string(REGEX MATCH "[0-9]$" section ${page})
    install_text(${man}/man${section} ${page} "${text}")
endforeach()

read_text(text CHANGELOG.md)
install_text(${doc} changelog "${text}")
string(REGEX MATCHALL "\n## [0-9.]+ - [-0-9]+" releases "${text}")
if(NOT releases MATCHES "^\n## ${version} - ")
    message(FATAL_ERROR "CHANGELOG.md does not begin with ${version} and its day")
endif()
foreach(release ${releases})
    string(REGEX MATCH "## (.*) - (.*)" release "${release}")
    set(number ${CMAKE_MATCH_1})
    execute_process(COMMAND date -u -R -d ${CMAKE_MATCH_2} OUTPUT_VARIABLE day OUTPUT_STRIP_TRAILING_WHITESPACE
        COMMAND_ERROR_IS_FATAL ANY)
    string(APPEND debian_changelog
"velmorin (${number}-1) unstable; urgency=medium

  * Version ${number}: changelog.gz tells what is new in it.

 -- the velmorin authors <maintainers@velmorin.invalid>  ${day}

")
endforeach()
install_text(${doc} changelog.Debian "${debian_changelog}")

read_text(text LICENSE)
string(REGEX REPLACE "^MIT License\n\n(Copyright [^\n]*)\n\n" "" text "${text}")
string(REGEX REPLACE "^Copyright (\\(c\\) )?" "" holders "${CMAKE_MATCH_1}")
string(REGEX REPLACE "\n\n" "\n.\n" text "${text}")
string(REGEX REPLACE "\n(.)" "\n \\1" text "${text}")
install_text(${doc} copyright
"Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/
Comment: The static programs of the armhf package contain parts of the GNU C library (LGPL-2.1+), the GNU C++ library
 (GPL-3+ with the runtime library exception), libsocketcan (LGPL-2.1+), SQLite (public domain) and zlib (Zlib).

Files: *
Copyright: ${holders}
License: Expat
 ${text}")
