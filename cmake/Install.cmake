# What `cmake --install` puts where, and the Debian package built from it (cpack, tools/package).
include(GNUInstallDirs)

# The programs find their pictures and the default Profiler.ini in this folder relative to their
# own, so an install moved elsewhere keeps working.
file(RELATIVE_PATH TINTARA_INSTALLED_DATA_FOLDER ${CMAKE_INSTALL_FULL_BINDIR}
     ${CMAKE_INSTALL_FULL_DATADIR}/tintara)
set_property(SOURCE src/workspace/ProgramFiles.cpp APPEND PROPERTY COMPILE_DEFINITIONS
             TINTARA_INSTALLED_DATA_FOLDER="${TINTARA_INSTALLED_DATA_FOLDER}")

set(TINTARA_PACKAGING_DIR ${CMAKE_CURRENT_SOURCE_DIR}/packaging)
set(TINTARA_DEB_RELEASE 1)

# Manual pages and the Debian changelog, compressed as Debian policy asks (gzip -9n: no name, no
# time stamp, so the same input gives the same bytes).
set(TINTARA_MAN_PAGES tintara)
if(TINTARA_GUI)
    list(APPEND TINTARA_MAN_PAGES tintara-profiler)
endif()
set(VERSION ${PROJECT_VERSION})
set(DEB_VERSION ${PROJECT_VERSION}-${TINTARA_DEB_RELEASE})
set(TINTARA_COMPRESSED_DOCS)
foreach(page ${TINTARA_MAN_PAGES})
    configure_file(docs/man/${page}.1 ${CMAKE_BINARY_DIR}/man/${page}.1 @ONLY)
    list(APPEND TINTARA_COMPRESSED_DOCS ${CMAKE_BINARY_DIR}/man/${page}.1.gz)
endforeach()
configure_file(${TINTARA_PACKAGING_DIR}/changelog.in ${CMAKE_BINARY_DIR}/doc/changelog.Debian @ONLY)
list(APPEND TINTARA_COMPRESSED_DOCS ${CMAKE_BINARY_DIR}/doc/changelog.Debian.gz)
foreach(compressed ${TINTARA_COMPRESSED_DOCS})
    string(REGEX REPLACE "\\.gz$" "" plain ${compressed})
    add_custom_command(OUTPUT ${compressed} COMMAND gzip -9 -n -k -f ${plain} DEPENDS ${plain}
                       VERBATIM)
endforeach()
add_custom_target(tintara_docs ALL DEPENDS ${TINTARA_COMPRESSED_DOCS})

# ---- cmake --install ----------------------------------------------------------------------------
install(TARGETS tintara RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES ${TINTARA_ASSETS} ${TINTARA_PACKAGING_DIR}/Profiler.ini
        DESTINATION ${CMAKE_INSTALL_DATADIR}/tintara)
install(FILES ${CMAKE_BINARY_DIR}/man/tintara.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES ${TINTARA_PACKAGING_DIR}/copyright ${CMAKE_BINARY_DIR}/doc/changelog.Debian.gz
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/tintara)
if(TINTARA_GUI)
    install(TARGETS tintara-profiler RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
    install(FILES ${CMAKE_BINARY_DIR}/man/tintara-profiler.1.gz
            DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
    install(FILES ${TINTARA_PACKAGING_DIR}/tintara-profiler.desktop
            DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
    set(icons ${TINTARA_ASSET_DIR}/icons)
    install(FILES ${icons}/tintara-profiler.svg
            DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps)
    foreach(size 16 24 32 48 64 128 256)
        install(FILES ${icons}/tintara-profiler-${size}.png
                DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/${size}x${size}/apps
                RENAME tintara-profiler.png)
    endforeach()
endif()

# ---- Debian package ------------------------------------------------------------------------------
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tintara)
set(CPACK_PACKAGE_VENDOR "Tintara Profiler developers")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR}/package)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE ${TINTARA_DEB_RELEASE})
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "Tintara Profiler developers <tintara@example.org>")
set(CPACK_DEBIAN_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
# Libraries come from dpkg-shlibdeps; the certificates are set in the metric-compatible
# Liberation faces (DejaVu and Droid Sans Fallback for the scripts they lack), which no library
# dependency brings.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "fonts-liberation, fonts-dejavu-core, fonts-droid-fallback")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "profiles one spectrophotometer to another")
# CPack puts the summary on the first line; this is the extended part (lines under 80 columns).
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
    "Tintara Profiler is a tool for colour laboratories. From the readings
of the same ceramic calibration tiles on a Target and a Master
spectrophotometer it computes per-wavelength correction coefficients
(offset, gain, linearity, wavelength) and writes them to a coefficient
file. It converts Target save sets (fandecks, legacy data) to read like
the Master, compares fandecks measured on both instruments against
single-sample and average colour-difference tolerances, and prints
reports and certificates.
.
This package holds the desktop application tintara-profiler and the
command-line tool tintara, which drive the same functions; tintara also
imports and exports CGATS text files.")
include(CPack)
