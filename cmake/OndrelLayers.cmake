# The core's folders are layers, each standing only on the ones below it:
#   platform <- foundation <- dicom <- storage <- sources <- geometry <- image <- tools <- spatial <- entry
# Each folder is an object library whose headers are reachable as "<folder>/<header>.h" only from the
# folders that link it: the include path of a layer holds a folder of the build tree with one link,
# named after the layer, to its sources. So an include that points up a layer does not compile.
#
# The layers' objects come together in one shared library, libondrel_engine, that the component
# (libondrel), the hosts and the tests all link: one copy in the process of every process-wide object
# (the trace, the dictionary, the settings, the display switches).

# Makes "<name>/<header>.h" reachable from `target` (with `scope` PUBLIC or INTERFACE) and from what
# links it, for the headers of the folder being configured.
function(ondrel_layer_headers target name scope)
  set(root ${CMAKE_BINARY_DIR}/layers/${name})
  file(MAKE_DIRECTORY ${root})
  file(CREATE_LINK ${CMAKE_CURRENT_SOURCE_DIR} ${root}/${name} SYMBOLIC)
  target_include_directories(${target} ${scope} $<BUILD_INTERFACE:${root}>)
endfunction()

# ondrel_add_layer(NAME SOURCES file... [BELOW layer...] [LINK library...])
# Makes the object library ondrel_NAME_objects, part of the engine, and the interface library
# Ondrel::NAME that tests and hosts link for this layer's headers (and those below) over the engine.
# BELOW names the layers this one stands on; LINK adds libraries its sources call (private).
function(ondrel_add_layer name)
  cmake_parse_arguments(ARG "" "" "SOURCES;BELOW;LINK" ${ARGN})
  set(objects ondrel_${name}_objects)
  add_library(${objects} OBJECT ${ARG_SOURCES})
  ondrel_layer_headers(${objects} ${name} PUBLIC)
  target_link_libraries(${objects} PUBLIC Ondrel::platform PRIVATE ${ARG_LINK})
  # Nothing outside replaces a function of the engine, so its calls may bind and inline within the
  # library, as they did when the layers were linked statically.
  target_compile_options(${objects} PRIVATE -fno-semantic-interposition)
  add_library(ondrel_${name} INTERFACE)
  add_library(Ondrel::${name} ALIAS ondrel_${name})
  ondrel_layer_headers(ondrel_${name} ${name} INTERFACE)
  target_link_libraries(ondrel_${name} INTERFACE ondrel_engine Ondrel::platform)
  foreach(lower IN LISTS ARG_BELOW)
    target_link_libraries(${objects} PUBLIC ondrel_${lower}_objects)
    target_link_libraries(ondrel_${name} INTERFACE ondrel_${lower})
  endforeach()
  ondrel_apply_options(${objects})
  set_property(GLOBAL APPEND PROPERTY ONDREL_ENGINE_LAYERS ${objects})
endfunction()

# libondrel_engine.so from every layer added so far.
function(ondrel_add_engine)
  get_property(layers GLOBAL PROPERTY ONDREL_ENGINE_LAYERS)
  add_library(ondrel_engine SHARED)
  target_link_libraries(ondrel_engine PRIVATE ${layers})
  ondrel_apply_options(ondrel_engine)
  install(TARGETS ondrel_engine LIBRARY DESTINATION lib)
endfunction()
