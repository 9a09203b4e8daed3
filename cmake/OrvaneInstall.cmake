# What `cmake --install` puts in place and what `cpack -G DEB` packs: the
# orvane command with its man page, the engine library, its public headers,
# a CMake package (find_package(Orvane) gives Orvane::engine, and
# Orvane::engine_static) and a pkg-config file.
include(CMakePackageConfigHelpers)

# The headers a host compiles against: the component's interfaces and
# identifiers, the records that cross them, the platform services it sees and
# the reader of raw files. Nothing of the stages or the drivers.
set(ORVANE_PUBLIC_HEADERS
  analysis/clusters.h analysis/isotope_templates.h
  cleaning/clean_params.h
  frame/interfaces.h frame/module.h
  platform/class_registry.h platform/format.h platform/guid.h platform/host_window.h platform/hresult.h
  platform/reporter.h platform/text_file.h platform/unknown.h
  raw/conversions.h raw/raw_options.h raw/raw_reader.h
  readers/raw_files.h
  spectrum/dialect.h spectrum/dta.h)
foreach(_header IN LISTS ORVANE_PUBLIC_HEADERS)
  get_filename_component(_folder "${_header}" DIRECTORY)
  install(FILES "${CMAKE_SOURCE_DIR}/src/${_header}" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/orvane/${_folder}"
          COMPONENT dev)
endforeach()

install(TARGETS orvane RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
install(TARGETS orvane_engine orvane_engine_static EXPORT OrvaneTargets
        LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" NAMELINK_COMPONENT dev
        ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT dev)
install(EXPORT OrvaneTargets NAMESPACE Orvane:: DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/Orvane" COMPONENT dev)
configure_package_config_file("${CMAKE_SOURCE_DIR}/cmake/OrvaneConfig.cmake.in"
  "${CMAKE_BINARY_DIR}/OrvaneConfig.cmake" INSTALL_DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/Orvane")
write_basic_package_version_file("${CMAKE_BINARY_DIR}/OrvaneConfigVersion.cmake" COMPATIBILITY SameMajorVersion)
install(FILES "${CMAKE_BINARY_DIR}/OrvaneConfig.cmake" "${CMAKE_BINARY_DIR}/OrvaneConfigVersion.cmake"
        DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/Orvane" COMPONENT dev)
set(ORVANE_PC_LIBS_PRIVATE "-lexpat -lz -pthread")
if(ORVANE_FFT_BACKEND STREQUAL "FFTW")
  string(PREPEND ORVANE_PC_LIBS_PRIVATE "-lfftw3 ")
endif()
file(RELATIVE_PATH ORVANE_PC_TO_PREFIX "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" "${CMAKE_INSTALL_PREFIX}")
configure_file("${CMAKE_SOURCE_DIR}/cmake/orvane.pc.in" "${CMAKE_BINARY_DIR}/orvane.pc" @ONLY)
install(FILES "${CMAKE_BINARY_DIR}/orvane.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT dev)

# The man page, made from the help texts of the command just built.
add_custom_command(OUTPUT "${CMAKE_BINARY_DIR}/orvane.1"
  COMMAND bash "${CMAKE_SOURCE_DIR}/scripts/make-manpage.sh" $<TARGET_FILE:orvane> ${PROJECT_VERSION}
          > "${CMAKE_BINARY_DIR}/orvane.1"
  DEPENDS orvane "${CMAKE_SOURCE_DIR}/scripts/make-manpage.sh" VERBATIM)
add_custom_target(orvane_manpage ALL DEPENDS "${CMAKE_BINARY_DIR}/orvane.1")
install(FILES "${CMAKE_BINARY_DIR}/orvane.1" DESTINATION "${CMAKE_INSTALL_MANDIR}/man1")

# cpack -G DEB: one package with the command, the library and what a host
# builds against.
set(CPACK_PACKAGE_NAME orvane)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "Orvane")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "clean tandem mass spectrometry (MS/MS) peak lists")
set(CPACK_PACKAGE_DESCRIPTION
    "Orvane tells good MS/MS spectra from bad ones, removes isotope peaks and noise, turns clusters of multiply charged fragments into single peaks, and converts between mzML, mzXML, DTA and MGF files. The package holds the orvane command and the engine library for host programs.")
set(CPACK_PACKAGE_CONTACT "Orvane developers <orvane@localhost>")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
include(CPack)
