# Install rules and the Debian package. `cmake --install` puts the program, the component
# library with the headers a host needs to load it, the desktop entry and icon, the SQL
# Server scripts, the README and the manual page in the GNU places; `cpack -G DEB` makes
# payacclink_VERSION_ARCH.deb with its dependencies read from the binaries.
include(GNUInstallDirs)
# Documentation under the package's name, as Debian has it, not the project's, unless the
# packager chose a folder.
if("$CACHE{CMAKE_INSTALL_DOCDIR}" STREQUAL "")
  set(CMAKE_INSTALL_DOCDIR "${CMAKE_INSTALL_DATAROOTDIR}/doc/payacclink")
endif()

install(TARGETS payacclink RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

if(TARGET QORPayAccLinking)
  install(TARGETS QORPayAccLinking LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
  # entry/Plugin.h and what it includes, under their source paths so its includes resolve
  # with -I<includedir>/QORPayAccLinking.
  foreach(header common/DateTime.h common/Error.h common/Value.h data/Connection.h data/Dialect.h data/Recordset.h
                 entry/Plugin.h ui/Toolkit.h)
    get_filename_component(dir ${header} DIRECTORY)
    install(FILES ${PROJECT_SOURCE_DIR}/src/${header}
            DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/QORPayAccLinking/${dir})
  endforeach()
endif()

install(FILES ${PROJECT_SOURCE_DIR}/packaging/payacclink.desktop
        DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
install(FILES ${PROJECT_SOURCE_DIR}/packaging/payacclink.svg
        DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps)
# Manual pages go in compressed, without a time stamp, so two builds give the same package.
find_program(PAYACC_GZIP gzip REQUIRED)
set(PAYACC_MANPAGE ${PROJECT_BINARY_DIR}/payacclink.1.gz)
add_custom_command(OUTPUT ${PAYACC_MANPAGE}
                   COMMAND ${PAYACC_GZIP} -9 -n -c ${PROJECT_SOURCE_DIR}/packaging/payacclink.1 > ${PAYACC_MANPAGE}
                   DEPENDS ${PROJECT_SOURCE_DIR}/packaging/payacclink.1 VERBATIM)
add_custom_target(payacc_manpage ALL DEPENDS ${PAYACC_MANPAGE})
install(FILES ${PAYACC_MANPAGE} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES ${PROJECT_SOURCE_DIR}/README.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/scripts/examples/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples)
# The same database for SQL Server, and the embedded procedures as a starting point for an
# integrator's PAYACC_PROCEDURE_DIR.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/db/sqlserver/
        DESTINATION ${CMAKE_INSTALL_DATADIR}/payacclink/sqlserver FILES_MATCHING PATTERN "*.sql")
install(DIRECTORY ${PROJECT_SOURCE_DIR}/db/sqlite/procedures/
        DESTINATION ${CMAKE_INSTALL_DATADIR}/payacclink/sqlite/procedures FILES_MATCHING PATTERN "*.sql")

set(CPACK_PACKAGE_NAME payacclink)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "QORPayAccLinking developers")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "payroll-to-accounts linking for an HR and payroll suite")
set(CPACK_PACKAGE_DESCRIPTION
    "Lists processed payroll runs and payments of a department and date range, groups their\n"
    "account lines into balanced debit and credit posting lines and saves them as one entry,\n"
    "on an embedded SQLite database or on SQL Server through ODBC.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION misc)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "QORPayAccLinking developers <payacclink@localhost>")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Vouchers name employees and accounts in Latin, Arabic and Devanagari script: DejaVu Sans
# covers the first two, Lohit Devanagari the third (the smallest Debian fonts that do; the PDF
# embeds them).
set(CPACK_DEBIAN_PACKAGE_DEPENDS "fonts-dejavu-core, fonts-lohit-deva")
# Desktop entries and icons are picked up by the menus' own triggers.
set(CPACK_STRIP_FILES ON)
include(CPack)
