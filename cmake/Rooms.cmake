# Each folder of src/ is one room: a static library zorvel_<folder> that links only rooms below it.
#
# `zorvel_room(name USES lower...)` takes every .cpp of the current folder. The include arrows are
# checked by cmake/CheckLayers.cmake, which the test `layers` runs: a static library alone would let
# an include run upwards as long as nothing has to be linked.

set_property(GLOBAL PROPERTY ZORVEL_ROOM_ARROWS "")

function(zorvel_room name)
  cmake_parse_arguments(ROOM "" "" "USES" ${ARGN})
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  # Programs stand in a room's folder main/. The folders above are the user's, whatever they are called.
  string(LENGTH "${CMAKE_CURRENT_SOURCE_DIR}/" prefix)
  set(room_sources "")
  foreach(source IN LISTS sources)
    string(SUBSTRING "${source}" ${prefix} -1 relative)
    if(NOT relative MATCHES "^main/")
      list(APPEND room_sources ${source})
    endif()
  endforeach()
  set(sources ${room_sources})
  if(NOT sources)
    return()
  endif()
  add_library(zorvel_${name} STATIC ${sources})
  target_include_directories(zorvel_${name} PUBLIC ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/include)
  target_link_libraries(zorvel_${name} PRIVATE zorvel_flags)
  foreach(lower IN LISTS ROOM_USES)
    if(TARGET zorvel_${lower})
      target_link_libraries(zorvel_${name} PUBLIC zorvel_${lower})
    endif()
  endforeach()
  list(JOIN ROOM_USES "," uses)
  set_property(GLOBAL APPEND PROPERTY ZORVEL_ROOM_ARROWS "${name}:${uses}")
endfunction()

# The arrows between the folders of a room: `zorvel_folders(room "folder:other,..." ...)`. The test `layers`
# checks them too, and that none of these folders outgrows itself.
function(zorvel_folders room)
  foreach(arrow IN LISTS ARGN)
    set_property(GLOBAL APPEND PROPERTY ZORVEL_ROOM_ARROWS "${room}/${arrow}")
  endforeach()
endfunction()
