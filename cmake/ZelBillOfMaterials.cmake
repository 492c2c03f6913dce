# The bill of materials, in the form of SPDX 2.3: the library, and what is linked into it or comes along.

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

# zel_bom_add(<name> <version> <licence> <relationship>): one entry more.
set(ZEL_BOM_PACKAGES "")
set(ZEL_BOM_RELATIONSHIPS "")
macro(zel_bom_add name version licence relationship)
  string(MAKE_C_IDENTIFIER "${name}" id)
  string(REPLACE "_" "-" id "${id}")
  string(APPEND ZEL_BOM_PACKAGES ",
    {
      \"SPDXID\": \"SPDXRef-${id}\",
      \"name\": \"${name}\",
      \"versionInfo\": \"${version}\",
      \"downloadLocation\": \"NOASSERTION\",
      \"filesAnalyzed\": false,
      \"licenseConcluded\": \"${licence}\",
      \"licenseDeclared\": \"${licence}\",
      \"copyrightText\": \"NOASSERTION\"
    }")
  string(APPEND ZEL_BOM_RELATIONSHIPS ",
    {
      \"spdxElementId\": \"SPDXRef-ZelREKernel\",
      \"relationshipType\": \"${relationship}\",
      \"relatedSpdxElement\": \"SPDXRef-${id}\"
    }")
endmacro()

zel_bom_add("oneTBB" "${TBB_VERSION}" "Apache-2.0" DYNAMIC_LINK)
if(WIN32)
  set(zel_gcc_licence "GPL-3.0-or-later WITH GCC-exception-3.1")
  zel_bom_add("libstdc++" "${CMAKE_CXX_COMPILER_VERSION}" "${zel_gcc_licence}" DYNAMIC_LINK)
  zel_bom_add("libgcc" "${CMAKE_CXX_COMPILER_VERSION}" "${zel_gcc_licence}" DYNAMIC_LINK)
  zel_bom_add("winpthreads" "NOASSERTION" "MIT AND BSD-3-Clause" DYNAMIC_LINK)
else()
  zel_bom_add("libbacktrace" "${CMAKE_CXX_COMPILER_VERSION}" "BSD-3-Clause" STATIC_LINK)
endif()

configure_file("${CMAKE_CURRENT_LIST_DIR}/package/bom.spdx.json.in"
  "${PROJECT_BINARY_DIR}/package/bom.spdx.json" @ONLY)
