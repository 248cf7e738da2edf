# Finds the Objective-C toolchain of the binding: GNUstep Foundation (gnustep-config), clang
# for Objective-C++ with blocks against GCC's Objective-C runtime, and the blocks runtime.
# Sets TOLVANA_OBJC_FOUND, and on success enables the languages OBJC and OBJCXX and defines
# the interface target tolvana_gnustep (compile flags and libraries of a Foundation program).
#
# GCC's Objective-C has no blocks, so the binding is compiled by clang; plain Objective-C
# (OBJC) stays GCC's, which is how GNUstep programs are usually built, and the example is built
# that way to show that such a program needs nothing of clang.
set(TOLVANA_OBJC_FOUND FALSE)
set(_missing "")

find_program(TOLVANA_GNUSTEP_CONFIG gnustep-config)
if(NOT TOLVANA_GNUSTEP_CONFIG)
  list(APPEND _missing "gnustep-config (libgnustep-base-dev)")
endif()
if(NOT CMAKE_OBJCXX_COMPILER)
  find_program(TOLVANA_OBJCXX_CLANG NAMES clang++-14 clang++)
  if(TOLVANA_OBJCXX_CLANG)
    set(CMAKE_OBJCXX_COMPILER ${TOLVANA_OBJCXX_CLANG})
  else()
    list(APPEND _missing "clang++ (clang)")
  endif()
endif()
if(NOT CMAKE_OBJC_COMPILER)
  find_program(TOLVANA_OBJC_GCC NAMES gcc)
  set(CMAKE_OBJC_COMPILER ${TOLVANA_OBJC_GCC})
endif()
# GNUstep's base library carries most of the blocks runtime (and, linked first, its functions
# are the ones used); the class of blocks that capture nothing is only in libBlocksRuntime.
find_path(TOLVANA_BLOCK_INCLUDE Block.h)
find_library(TOLVANA_BLOCKS_RUNTIME BlocksRuntime)
if(NOT TOLVANA_BLOCK_INCLUDE OR NOT TOLVANA_BLOCKS_RUNTIME)
  list(APPEND _missing "the blocks runtime (libblocksruntime-dev)")
endif()
# clang does not search GCC's own include folder, where <objc/objc.h> lives.
execute_process(COMMAND gcc -print-file-name=include OUTPUT_VARIABLE TOLVANA_GCC_INCLUDE
                OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
execute_process(COMMAND gcc -print-prog-name=cc1obj OUTPUT_VARIABLE _cc1obj OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
if(NOT EXISTS "${TOLVANA_GCC_INCLUDE}/objc/runtime.h" OR NOT IS_ABSOLUTE "${_cc1obj}")
  list(APPEND _missing "GCC's Objective-C (gobjc, gobjc++)")
endif()
unset(_cc1obj)

if(_missing)
  string(REPLACE ";" ", " _missing "${_missing}")
  set(TOLVANA_OBJC_MISSING "${_missing}")
  unset(_missing)
  return()
endif()
unset(_missing)

enable_language(OBJC)
enable_language(OBJCXX)
# CMake 3.25 has no run-path flags for Objective-C on Linux, so that a program linked by the
# Objective-C driver would not find the libraries of the build tree; both drivers take the C ones.
foreach(_lang OBJC OBJCXX)
  foreach(_kind SHARED_LIBRARY EXECUTABLE)
    if(NOT CMAKE_${_kind}_RUNTIME_${_lang}_FLAG)
      set(CMAKE_${_kind}_RUNTIME_${_lang}_FLAG ${CMAKE_SHARED_LIBRARY_RUNTIME_C_FLAG})
      set(CMAKE_${_kind}_RUNTIME_${_lang}_FLAG_SEP ${CMAKE_SHARED_LIBRARY_RUNTIME_C_FLAG_SEP})
    endif()
  endforeach()
endforeach()
unset(_kind)
unset(_lang)
if(TOLVANA_CCACHE)
  set(CMAKE_OBJC_COMPILER_LAUNCHER ${TOLVANA_CCACHE})
  set(CMAKE_OBJCXX_COMPILER_LAUNCHER ${TOLVANA_CCACHE})
endif()

# gnustep-config's flags, without what belongs to the build type or to GNUstep's own make
# system (dependency files, the current folder, the user's private header folder).
execute_process(COMMAND ${TOLVANA_GNUSTEP_CONFIG} --objc-flags OUTPUT_VARIABLE _flags OUTPUT_STRIP_TRAILING_WHITESPACE)
separate_arguments(_flags UNIX_COMMAND "${_flags}")
set(TOLVANA_GNUSTEP_FLAGS "")
set(TOLVANA_GNUSTEP_INCLUDES "")
foreach(_flag IN LISTS _flags)
  if(_flag MATCHES "^-(MMD|MP|g|O[0-9s]?|Wall|I\\.)$" OR _flag MATCHES "^-I.*/GNUstep/Library/Headers$"
     OR _flag MATCHES "^-I/usr/local/")
    continue()
  endif()
  # GNUstep's headers are system headers: the project's warnings are not for them.
  if(_flag MATCHES "^-I(.+)$")
    list(APPEND TOLVANA_GNUSTEP_INCLUDES ${CMAKE_MATCH_1})
  else()
    list(APPEND TOLVANA_GNUSTEP_FLAGS ${_flag})
  endif()
endforeach()
execute_process(COMMAND ${TOLVANA_GNUSTEP_CONFIG} --base-libs OUTPUT_VARIABLE _libs OUTPUT_STRIP_TRAILING_WHITESPACE)
separate_arguments(_libs UNIX_COMMAND "${_libs}")
set(TOLVANA_GNUSTEP_LIBS "")
foreach(_lib IN LISTS _libs)
  if(_lib MATCHES "^-l")
    list(APPEND TOLVANA_GNUSTEP_LIBS ${_lib})
  endif()
endforeach()
unset(_flag)
unset(_flags)
unset(_lib)
unset(_libs)

# GNUstep's headers include <objc/blocks_runtime.h> when the compiler has blocks; Debian's
# blocks runtime ships <Block.h> instead, which the one-line header in shim/ forwards to.
set(TOLVANA_OBJC_SHIM ${PROJECT_SOURCE_DIR}/bindings/objc/shim)
set(TOLVANA_OBJC_CLANG_FLAGS -fobjc-runtime=gcc -fblocks)

add_library(tolvana_gnustep INTERFACE)
set_target_properties(tolvana_gnustep PROPERTIES EXPORT_NAME gnustep-foundation)
target_compile_options(tolvana_gnustep INTERFACE
  "$<$<COMPILE_LANGUAGE:OBJC,OBJCXX>:${TOLVANA_GNUSTEP_FLAGS}>"
  "$<$<COMPILE_LANG_AND_ID:OBJCXX,Clang>:${TOLVANA_OBJC_CLANG_FLAGS};-idirafter;${TOLVANA_GCC_INCLUDE}>"
  "$<$<COMPILE_LANG_AND_ID:OBJC,Clang>:${TOLVANA_OBJC_CLANG_FLAGS};-idirafter;${TOLVANA_GCC_INCLUDE}>")
target_include_directories(tolvana_gnustep SYSTEM INTERFACE ${TOLVANA_GNUSTEP_INCLUDES})
target_include_directories(tolvana_gnustep INTERFACE $<BUILD_INTERFACE:${TOLVANA_OBJC_SHIM}>
  $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/tolvana/objc/shim>)
target_link_libraries(tolvana_gnustep INTERFACE ${TOLVANA_GNUSTEP_LIBS} -lBlocksRuntime)
set(TOLVANA_OBJC_FOUND TRUE)

# AppKit, where GNUstep's GUI library is installed: the window sample and the tests of the
# AppKit hooks (which run under Xvfb) are built with it. The binding itself never links it.
find_path(TOLVANA_APPKIT_INCLUDE AppKit/AppKit.h PATHS ${TOLVANA_GNUSTEP_INCLUDES} NO_DEFAULT_PATH)
find_library(TOLVANA_APPKIT_LIBRARY gnustep-gui)
if(TOLVANA_APPKIT_INCLUDE AND TOLVANA_APPKIT_LIBRARY)
  add_library(tolvana_appkit INTERFACE)
  target_link_libraries(tolvana_appkit INTERFACE tolvana_gnustep ${TOLVANA_APPKIT_LIBRARY})
endif()
