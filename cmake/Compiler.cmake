# Flags that every target of the project gets through the interface target zorvel_flags.

# project() has put empty entries for build types of our own into the cache.
foreach(language C CXX)
  if(NOT CMAKE_${language}_FLAGS_DEV)
    set(CMAKE_${language}_FLAGS_DEV "-O1 -g" CACHE STRING "Flags of the Dev build type" FORCE)
  endif()
  if(NOT CMAKE_${language}_FLAGS_CHECK)
    set(CMAKE_${language}_FLAGS_CHECK "-O2" CACHE STRING "Flags of the Check build type" FORCE)
  endif()
endforeach()
set(CMAKE_CXX_FLAGS_RELEASE "-O3 -DNDEBUG")
if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release)
endif()

add_library(zorvel_flags INTERFACE)
target_compile_options(
  zorvel_flags
  INTERFACE -Wall -Wextra -Wpedantic -Wshadow
            $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>
            $<$<COMPILE_LANGUAGE:CXX>:-Woverloaded-virtual>)
if(ZORVEL_WERROR)
  target_compile_options(zorvel_flags INTERFACE -Werror)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # why off: g++ 12 reports both of them in its own library's inlined code.
  target_compile_options(zorvel_flags INTERFACE -Wno-restrict -Wno-maybe-uninitialized)
  if(CMAKE_UNITY_BUILD)
    # why off: g++ takes the sources of a unity build for headers, whose anonymous namespaces would be many,
    # and a name of one source may be that of a local variable in another.
    target_compile_options(zorvel_flags
                           INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-Wno-subobject-linkage> -Wno-shadow)
  endif()
endif()
if(ZORVEL_SANITIZE)
  set(sanitizers -fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
  target_compile_options(zorvel_flags INTERFACE ${sanitizers})
  target_link_options(zorvel_flags INTERFACE ${sanitizers})
endif()
if(ZORVEL_FUZZ)
  target_compile_options(zorvel_flags INTERFACE -fsanitize=fuzzer-no-link)
endif()
