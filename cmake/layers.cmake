# Folders are layers. Each target shows its dependents its own folder and nothing else: the include root of folder X
# holds one link named X, so `#include "console/replies.h"` builds only where the console layer is linked.

add_library(receiverOptions INTERFACE)
target_compile_options(receiverOptions INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror
  $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>
  -ffunction-sections -fdata-sections)
# GCC 12 takes some of std::string's additions for overlapping copies once it optimises.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  target_compile_options(receiverOptions INTERFACE -Wno-restrict)
endif()
target_link_options(receiverOptions INTERFACE -Wl,--gc-sections)
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  # Times beyond 2038 and files of any size, as with 64 bits. The C library has some calls under other names for that,
  # and a test that takes one from the linker means the one that is called.
  target_compile_definitions(receiverOptions INTERFACE _FILE_OFFSET_BITS=64 _TIME_BITS=64)
  set(wideName_gettimeofday __gettimeofday64)
  set(wideName_ioctl __ioctl_time64)
  set(wideName_open open64)
  set(wideName_select __select64)
  foreach(call gettimeofday ioctl open select)
    target_compile_definitions(receiverOptions INTERFACE
      __wrap_${call}=__wrap_${wideName_${call}} __real_${call}=__real_${wideName_${call}})
  endforeach()
endif()
if(RECEIVER_SANITIZE)
  # Objects of the daemon carry no run-time types to check.
  target_compile_options(receiverOptions INTERFACE
    -fsanitize=${RECEIVER_SANITIZE} -fno-sanitize=vptr -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(receiverOptions INTERFACE -fsanitize=${RECEIVER_SANITIZE})
endif()


# A release is optimised as a whole and carries no symbols: what is installed is small and starts fast.
if(CMAKE_BUILD_TYPE STREQUAL "Release" AND NOT RECEIVER_SANITIZE)
  include(CheckIPOSupported)
  check_ipo_supported(RESULT CMAKE_INTERPROCEDURAL_OPTIMIZATION LANGUAGES C CXX)
  # -O2 after CMake's -O3: 5 % smaller and as fast, most of the time being SQLite's and the kernel's.
  target_compile_options(receiverOptions INTERFACE -O2)
  target_link_options(receiverOptions INTERFACE -s)
  # Tables full of addresses: 2 kB of relocations in place of 28 kB, where linker and C library know the short form.
  include(CheckLinkerFlag)
  check_linker_flag(CXX -Wl,--fatal-warnings,-z,pack-relative-relocs packsRelocations)  # one that ignores it only warns
  if(packsRelocations)
    target_link_options(receiverOptions INTERFACE -Wl,-z,pack-relative-relocs)
  endif()
endif()

# What the daemon consists of is built without exceptions and run-time types.
add_library(daemonOptions INTERFACE)
target_link_libraries(daemonOptions INTERFACE receiverOptions)
target_compile_options(daemonOptions INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti>)

# receiver_include_root(TARGET FOLDER [SOURCE_DIR]): `#include "FOLDER/..."` for TARGET and its dependents.
function(receiver_include_root target folder)
  set(source "${CMAKE_CURRENT_SOURCE_DIR}")
  if(ARGC GREATER 2)
    set(source "${ARGV2}")
  endif()
  get_target_property(type ${target} TYPE)
  set(scope PUBLIC)
  if(type STREQUAL "INTERFACE_LIBRARY")
    set(scope INTERFACE)
  endif()
  set(root "${PROJECT_BINARY_DIR}/include/${target}")
  get_filename_component(parent "${root}/${folder}" DIRECTORY)
  file(MAKE_DIRECTORY "${parent}")
  file(CREATE_LINK "${source}" "${root}/${folder}" SYMBOLIC)
  target_include_directories(${target} ${scope} "${root}")
endfunction()

# receiver_link_daemon(TARGET PLATFORM_TARGET): the whole daemon on a platform library. The layers call down by name and
# up through what core hands them and through the command table, so the linker looks through them until all is found.
function(receiver_link_daemon target platformTarget)
  set(group core commandTable commands display diagnostics console serial consoleRecord platformSupport)
  # A vendor's library calls nothing of the daemon, so it can follow the group, which takes no INTERFACE library.
  set(after)
  get_target_property(type ${platformTarget} TYPE)
  if(type STREQUAL "INTERFACE_LIBRARY")
    set(after ${platformTarget})
  else()
    list(APPEND group ${platformTarget})
  endif()
  list(JOIN group "," members)
  target_link_libraries(${target} PRIVATE core "$<LINK_GROUP:RESCAN,${members}>" ${after})
endfunction()

# receiver_wrap(TARGET CALL...): TARGET takes these calls from the linker, as __wrap_CALL beside __real_CALL.
# What calls, what is called and TARGET must not be optimised together at link time: there calls are bound before the
# linker sees them. Tests are therefore left out of that, with the platform in memory that most of them take calls from.
function(receiver_wrap target)
  foreach(call ${ARGN})
    if(DEFINED wideName_${call})
      set(call ${wideName_${call}})
    endif()
    target_link_options(${target} PRIVATE "-Wl,--wrap=${call}")
  endforeach()
endfunction()
