# What `cmake --install` lays down, in three components: the library that programs run with, what
# developers build with, and the tools.

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# zel_gzip(<file>): makes <file>.gz, the same bytes each time.
function(zel_gzip file)
  execute_process(COMMAND gzip -9nc "${file}" OUTPUT_FILE "${file}.gz" COMMAND_ERROR_IS_FATAL ANY)
endfunction()

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

include(ZelBillOfMaterials)
install(FILES
  "${PROJECT_SOURCE_DIR}/LICENSE" "${PROJECT_SOURCE_DIR}/CHANGELOG.md"
  "${PROJECT_BINARY_DIR}/package/bom.spdx.json"
  DESTINATION "${zel_doc_dir}" COMPONENT runtime)

# gdb loads by itself what repeats the whole path of a library below the auto-load folder of gdb's own
# prefix, commonly /usr. A tree that is put elsewhere has its printers loaded by `source`.
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
  if(NOT WIN32)
    foreach(page IN ITEMS zkl-logview.1 zkl-trace.1)
      configure_file("${PROJECT_SOURCE_DIR}/tools/man/${page}" "${PROJECT_BINARY_DIR}/package/${page}" COPYONLY)
      zel_gzip("${PROJECT_BINARY_DIR}/package/${page}")
      install(FILES "${PROJECT_BINARY_DIR}/package/${page}.gz"
        DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" COMPONENT tools)
    endforeach()
  endif()
endif()

if(NOT WIN32)
  # Part of the library's own file, see ZelREKernel.m/CMakeLists.txt.
  install(FILES "${CMAKE_CURRENT_LIST_DIR}/package/libbacktrace.txt"
    DESTINATION "${zel_doc_dir}/licences" COMPONENT runtime)
else()
  # Nobody else brings oneTBB and the compiler's run-time libraries to Windows.
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
