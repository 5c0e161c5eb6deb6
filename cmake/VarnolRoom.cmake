# varnol_room(NAME SOURCE...): the objects of one room of the library, compiled once and linked both
# into libVarnol.so and into the tests. Headers are included by their path from the top of the tree.
function(varnol_room name)
  add_library(varnol_${name} OBJECT ${ARGN})
  target_include_directories(varnol_${name} PUBLIC ${PROJECT_SOURCE_DIR})
endfunction()
