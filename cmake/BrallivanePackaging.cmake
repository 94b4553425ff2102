# The Debian package (scripts/package.sh runs cpack -G DEB): the desktop program with its
# icon, desktop entry and MIME types, the runner with a manual page made from its --help,
# and the trace library in the package's own library folder, which the programs find
# through their run path. Dependencies come from dpkg-shlibdeps. No ROM images.
include(GNUInstallDirs)
set(BRALLIVANE_PRIVATE_LIBDIR lib/brallivane)  # the run path names it
install(TARGETS brallivane-run RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(TARGETS Zindrel LIBRARY DESTINATION ${BRALLIVANE_PRIVATE_LIBDIR} NAMELINK_SKIP)

find_program(HELP2MAN help2man)
if(HELP2MAN)
    set(manual ${PROJECT_BINARY_DIR}/brallivane-run.1)
    add_custom_command(OUTPUT ${manual}.gz
        COMMAND ${HELP2MAN} --no-info --no-discard-stderr
            --version-string=${PROJECT_VERSION} --name "headless Amstrad CPC emulator"
            --output ${manual} $<TARGET_FILE:brallivane-run>
        COMMAND gzip -9nf ${manual}
        DEPENDS brallivane-run
        COMMENT "Manual page of brallivane-run from its --help")
    add_custom_target(brallivane_run_manual ALL DEPENDS ${manual}.gz)
    install(FILES ${manual}.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
else()
    message(STATUS "help2man not found: the package has no manual page for brallivane-run")
endif()

set(desktop_manual ${PROJECT_BINARY_DIR}/brallivane.1.gz)
add_custom_command(OUTPUT ${desktop_manual}
    COMMAND gzip -9n < ${PROJECT_SOURCE_DIR}/desktop/resources/brallivane.1 > ${desktop_manual}
    DEPENDS ${PROJECT_SOURCE_DIR}/desktop/resources/brallivane.1)
install(FILES ${desktop_manual} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)

set(changelog ${PROJECT_BINARY_DIR}/changelog.gz)
add_custom_command(OUTPUT ${changelog}
    COMMAND gzip -9n < ${PROJECT_SOURCE_DIR}/cmake/debian/changelog > ${changelog}
    DEPENDS ${PROJECT_SOURCE_DIR}/cmake/debian/changelog)
add_custom_target(brallivane_package_texts ALL DEPENDS ${changelog} ${desktop_manual})
install(FILES cmake/debian/copyright ${changelog} DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/brallivane)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME brallivane)
set(CPACK_PACKAGE_VENDOR Brallivane)
set(CPACK_PACKAGE_CONTACT "Brallivane developers <dev@brallivane.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Amstrad CPC 464/664/6128 emulator with a machine-code monitor")
set(CPACK_PACKAGE_DESCRIPTION "Brallivane emulates the Amstrad CPC 464, 664 and 6128 with\n"
    "their disk drives and sound, with a built-in machine-code monitor, and\n"
    "a headless runner for tests and automation. The firmware ROM images are\n"
    "not included: put them in ~/.local/share/brallivane/ROM/.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION otherosfs)  # Debian's section for emulators
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${BRALLIVANE_PRIVATE_LIBDIR})
set(CPACK_DEBIAN_PACKAGE_DEPENDS "shared-mime-info")
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "https://brallivane.invalid/")
include(CPack)
