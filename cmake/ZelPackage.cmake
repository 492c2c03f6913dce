# What `cpack` wraps: Debian packages of each component that ZelInstall.cmake lays down, or one archive
# for Windows.

set(CPACK_PACKAGE_NAME "zelrekernel")
set(CPACK_PACKAGE_VENDOR "the ZelREKernel authors")
set(CPACK_PACKAGE_CONTACT "the ZelREKernel authors <noreply@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "kernel library of a 3D visualization and rendering engine")
set(CPACK_RESOURCE_FILE_LICENSE "${PROJECT_SOURCE_DIR}/LICENSE")
set(CPACK_PACKAGE_DIRECTORY "${PROJECT_BINARY_DIR}/packages")
set(CPACK_COMPONENTS_ALL runtime dev tools)

if(WIN32)
  # One archive holds both: there is no package manager to join them.
  set(CPACK_GENERATOR ZIP)
  set(CPACK_STRIP_FILES ON)
  set(CPACK_ARCHIVE_COMPONENT_INSTALL ON)
  set(CPACK_COMPONENT_INCLUDE_TOPLEVEL_DIRECTORY ON)
  set(CPACK_COMPONENTS_GROUPING ALL_COMPONENTS_IN_ONE)
else()
  set(CPACK_GENERATOR DEB)
  set(CPACK_DEB_COMPONENT_INSTALL ON)
  set(CPACK_PACKAGING_INSTALL_PREFIX "/usr")
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}")
  # Packages of others learn from this what they depend on.
  set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)

  set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA "${CMAKE_CURRENT_LIST_DIR}/package/triggers")
  # Stripped files, and packages of what was taken, which call stacks and debuggers find by themselves.
  set(CPACK_DEBIAN_RUNTIME_DEBUGINFO_PACKAGE ON)
  set(CPACK_DEBIAN_TOOLS_DEBUGINFO_PACKAGE ON)

  # Every package has a licence and a change log of its own, in Debian's forms. A plain installation
  # does without.
  set(zel_package_dir "${PROJECT_BINARY_DIR}/package")
  string(TIMESTAMP ZEL_CHANGELOG_DATE "%a, %d %b %Y %H:%M:%S +0000" UTC)
  configure_file("${CMAKE_CURRENT_LIST_DIR}/package/changelog.in" "${zel_package_dir}/changelog" @ONLY)
  zel_gzip("${zel_package_dir}/changelog")
  file(READ "${PROJECT_SOURCE_DIR}/LICENSE" zel_copyright)
  file(READ "${CMAKE_CURRENT_LIST_DIR}/package/libbacktrace.txt" zel_backtrace_copyright)
  file(WRITE "${zel_package_dir}/copyright" "${zel_copyright}\n${zel_backtrace_copyright}")

  # zel_debian_package(<component> <name> <section> <dependencies> <what is in it>)
  macro(zel_debian_package component name section dependencies description)
    string(TOUPPER "${component}" upper)
    set(CPACK_DEBIAN_${upper}_PACKAGE_NAME "${name}")
    set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION "${section}")
    set(CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS "${dependencies}")
    set(CPACK_DEBIAN_${upper}_DESCRIPTION "${description}")
    install(FILES "${zel_package_dir}/copyright" "${zel_package_dir}/changelog.gz"
      DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/${name}" COMPONENT ${component} EXCLUDE_FROM_ALL)
  endmacro()
  set(zel_same_version "libzelrekernel0 (= ${PROJECT_VERSION})")
  zel_debian_package(runtime libzelrekernel0 libs ""
    "The library: ordered start-up, logging, allocators, shared objects,\na task graph, traces, JSON and crash reports.")
  zel_debian_package(dev libzelrekernel-dev libdevel "${zel_same_version}, libtbb-dev"
    "What programs are built with: headers, the CMake package, the pkg-config\nfile, and what debuggers show JSON documents by.")
  zel_debian_package(tools zelrekernel-tools devel "${zel_same_version}"
    "zkl-logview follows the log of a running program. zkl-trace checks,\nsummarises and compares traces, and makes reports of them.")
endif()
include(CPack)
