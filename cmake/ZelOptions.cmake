# Settings that every target of this project shares.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

# Optimised builds keep frame pointers-free code but full symbols: crash reports need names.
set(CMAKE_CXX_FLAGS_RELWITHDEBINFO "-O2 -g -DNDEBUG")

# All programs and libraries land side by side, so a build folder runs without a search path.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")

if(WIN32)
  set(ZEL_PLATFORM windows)
  set(CMAKE_SHARED_LIBRARY_PREFIX "")  # ZelREKernel.dll, as its users name it
  # Wine's debug library and lldb do not read the newer form in this system's files.
  string(APPEND CMAKE_CXX_FLAGS_RELWITHDEBINFO " -gdwarf-4")
else()
  set(ZEL_PLATFORM linux)
endif()

add_library(ZelWarnings INTERFACE)
# Another compiler, which builds the fuzzers, has warnings of its own taste.
target_compile_options(ZelWarnings INTERFACE
  -Wall -Wextra -Wpedantic $<$<CXX_COMPILER_ID:GNU>:-Werror> -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast
  -Wformat=2 -Wundef -Wnon-virtual-dtor -Woverloaded-virtual)

add_library(ZelSettings INTERFACE)
if(WIN32)
  # Windows 10 and later; no macros called min and max.
  target_compile_definitions(ZelSettings INTERFACE
    _WIN32_WINNT=0x0A00 NOMINMAX WIN32_LEAN_AND_MEAN)
else()
  # A unique symbol pins its library in the process; this library must be able to leave it.
  target_compile_options(ZelSettings INTERFACE $<$<CXX_COMPILER_ID:GNU>:-fno-gnu-unique>)
  # Nobody replaces an exported function by one of the same name, so the library may call and inline
  # its own without a detour through the linkage table.
  target_compile_options(ZelSettings INTERFACE -fno-semantic-interposition)
  target_link_options(ZelSettings INTERFACE -Wl,-Bsymbolic-functions)
endif()
if(ZEL_SANITIZE)
  target_compile_options(ZelSettings INTERFACE
    -fsanitize=${ZEL_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(ZelSettings INTERFACE -fsanitize=${ZEL_SANITIZE})
  # GCC's sanitizers raise false alarms of these two through inlined library code.
  target_compile_options(ZelSettings INTERFACE
    $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized -Wno-stringop-overflow>)
endif()

# zel_sources(<out> <dir>): the sources of a folder that belong to this operating system.
function(zel_sources out dir)
  file(GLOB_RECURSE found CONFIGURE_DEPENDS "${dir}/*.cpp")
  if(ZEL_PLATFORM STREQUAL "linux")
    list(FILTER found EXCLUDE REGEX "/windows/[^/]*$")
  else()
    list(FILTER found EXCLUDE REGEX "/linux/[^/]*$")
  endif()
  set(${out} "${found}" PARENT_SCOPE)
endfunction()
