# What `cmake --install` lays down and what `cpack` wraps, in three components: the library that
# programs run with, what developers build with, and the tools.

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(zel_cmake_dir "${CMAKE_INSTALL_LIBDIR}/cmake/ZelREKernel")
set(zel_doc_dir "${CMAKE_INSTALL_DATADIR}/doc/${PROJECT_NAME}")

install(TARGETS MekHost ZelREKernel EXPORT ZelREKernelTargets
  RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT runtime
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT runtime NAMELINK_COMPONENT dev
  ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT dev
  INCLUDES DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
# The kernel finds the host library beside itself, wherever the two are put.
set_target_properties(ZelREKernel PROPERTIES INSTALL_RPATH "$ORIGIN")

foreach(library IN ITEMS MekHost ZelREKernel)
  install(DIRECTORY "${PROJECT_SOURCE_DIR}/${library}.m/include/"
    DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}" COMPONENT dev FILES_MATCHING PATTERN "*.h")
  install(FILES "${PROJECT_BINARY_DIR}/${library}.m/include/${library}/${library}Export.h"
    DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/${library}" COMPONENT dev)
endforeach()

install(EXPORT ZelREKernelTargets NAMESPACE ZelREKernel::
  DESTINATION "${zel_cmake_dir}" COMPONENT dev)
configure_package_config_file("${CMAKE_CURRENT_LIST_DIR}/package/ZelREKernelConfig.cmake.in"
  "${PROJECT_BINARY_DIR}/package/ZelREKernelConfig.cmake" INSTALL_DESTINATION "${zel_cmake_dir}")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/package/ZelREKernelConfigVersion.cmake"
  COMPATIBILITY SameMinorVersion)
install(FILES
  "${PROJECT_BINARY_DIR}/package/ZelREKernelConfig.cmake"
  "${PROJECT_BINARY_DIR}/package/ZelREKernelConfigVersion.cmake"
  DESTINATION "${zel_cmake_dir}" COMPONENT dev)

# Relative to the file itself, so that an unpacked archive works where it lies.
file(RELATIVE_PATH ZEL_PC_TO_PREFIX
  "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/prefix")
configure_file("${CMAKE_CURRENT_LIST_DIR}/package/ZelREKernel.pc.in"
  "${PROJECT_BINARY_DIR}/package/ZelREKernel.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/package/ZelREKernel.pc"
  DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT dev)

# The time of the last commit or SOURCE_DATE_EPOCH, so that the same sources give the same file.
if(DEFINED ENV{SOURCE_DATE_EPOCH})
  set(zel_epoch "$ENV{SOURCE_DATE_EPOCH}")
else()
  execute_process(COMMAND git -c safe.directory=* log -1 --format=%ct
    WORKING_DIRECTORY "${PROJECT_SOURCE_DIR}" OUTPUT_VARIABLE zel_epoch
    OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
  if(NOT zel_epoch)
    set(zel_epoch 0)
  endif()
  set(ENV{SOURCE_DATE_EPOCH} "${zel_epoch}")
endif()
string(TIMESTAMP ZEL_BOM_CREATED "%Y-%m-%dT%H:%M:%SZ" UTC)
configure_file("${CMAKE_CURRENT_LIST_DIR}/package/bom.spdx.json.in"
  "${PROJECT_BINARY_DIR}/package/bom.spdx.json" @ONLY)
install(FILES
  "${PROJECT_SOURCE_DIR}/LICENSE" "${PROJECT_SOURCE_DIR}/CHANGELOG.md"
  "${PROJECT_BINARY_DIR}/package/bom.spdx.json"
  DESTINATION "${zel_doc_dir}" COMPONENT runtime)

# gdb loads by itself what repeats the whole path of a library below its auto-load folder. That is the
# path of the prefix configured here: a tree put elsewhere has its printers loaded by `source`.
if(NOT WIN32)
  install(FILES "${PROJECT_SOURCE_DIR}/ZelREKernel.m/debuggers/zel_json.py"
    DESTINATION "${CMAKE_INSTALL_DATADIR}/gdb/auto-load${CMAKE_INSTALL_FULL_LIBDIR}"
    RENAME "$<TARGET_FILE_NAME:ZelREKernel>-gdb.py" COMPONENT dev)
endif()
install(FILES "${PROJECT_SOURCE_DIR}/ZelREKernel.m/debuggers/ZelJSON.natvis"
  DESTINATION "${CMAKE_INSTALL_DATADIR}/${PROJECT_NAME}" COMPONENT dev)

if(ZEL_BUILD_TOOLS)
  install(TARGETS zkl-logview zkl-trace DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT tools)
  # The tools find the libraries of their own tree wherever that is put.
  set_target_properties(zkl-logview zkl-trace PROPERTIES
    INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
  install(DIRECTORY "${PROJECT_SOURCE_DIR}/tools/man/"
    DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" COMPONENT tools FILES_MATCHING PATTERN "*.1")
endif()

# Nobody else brings oneTBB and the compiler's run-time libraries to Windows.
if(WIN32)
  foreach(library IN ITEMS libstdc++-6 libgcc_s_seh-1 libwinpthread-1)
    execute_process(COMMAND "${CMAKE_CXX_COMPILER}" "-print-file-name=${library}.dll"
      OUTPUT_VARIABLE zel_runtime OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
    install(FILES "${zel_runtime}" DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT runtime)
  endforeach()
  # All of oneTBB's libraries: its CMake file wants to see them all.
  install(DIRECTORY "${ZEL_WINDOWS_DEPS}/bin/" DESTINATION "${CMAKE_INSTALL_BINDIR}"
    COMPONENT runtime FILES_MATCHING PATTERN "libtbb*.dll")
  install(DIRECTORY "${ZEL_WINDOWS_DEPS}/include/oneapi" "${ZEL_WINDOWS_DEPS}/include/tbb"
    DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}" COMPONENT dev)
  file(GLOB zel_tbb_imports "${ZEL_WINDOWS_DEPS}/lib/libtbb*.dll.a")
  install(FILES ${zel_tbb_imports} DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT dev)
  install(FILES "${ZEL_WINDOWS_DEPS}/lib/pkgconfig/tbb.pc"
    DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT dev)
  install(DIRECTORY "${ZEL_WINDOWS_DEPS}/lib/cmake/TBB"
    DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake" COMPONENT dev)
  # Their licences, as the distribution that they come from tells them.
  foreach(package IN ITEMS libtbb-dev gcc-mingw-w64-x86-64-posix-runtime mingw-w64-x86-64-dev)
    install(FILES "/usr/share/doc/${package}/copyright" RENAME "${package}.txt" OPTIONAL
      DESTINATION "${zel_doc_dir}/licences" COMPONENT runtime)
  endforeach()
endif()

set(CPACK_PACKAGE_NAME "zelrekernel")
set(CPACK_PACKAGE_VENDOR "the ZelREKernel authors")
set(CPACK_PACKAGE_CONTACT "the ZelREKernel authors <noreply@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_RESOURCE_FILE_LICENSE "${PROJECT_SOURCE_DIR}/LICENSE")
set(CPACK_PACKAGE_DIRECTORY "${PROJECT_BINARY_DIR}/packages")
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL runtime dev tools)
if(WIN32)
  # One archive holds both: there is no package manager to join them.
  set(CPACK_GENERATOR ZIP)
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
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME "libzelrekernel0")
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION "libs")
  set(CPACK_DEBIAN_DEV_PACKAGE_NAME "libzelrekernel-dev")
  set(CPACK_DEBIAN_DEV_PACKAGE_SECTION "libdevel")
  set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "libzelrekernel0 (= ${PROJECT_VERSION}), libtbb-dev")
  set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME "zelrekernel-tools")
  set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION "devel")
endif()
include(CPack)
