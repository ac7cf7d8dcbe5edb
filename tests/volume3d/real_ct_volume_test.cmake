# Volume mode on a real CT stack (scripts/make_real_ct_stack.py): `ondrel volume` at three angles against
# the pictures kept in tests/data/volume3d (see its README), and the road of volume_road.ondrel.
# Invoked by CTest: cmake -DONDREL=<ondrel> -DREPOSITORY=<source root> -DSTACK=<the stack of
# scripts/make_real_ct_stack.py> -DWORK=<folder> -P this file
file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK})
# The road script reads the stack from stack/ beside the pictures it saves.
file(CREATE_LINK ${STACK} ${WORK}/stack SYMBOLIC)
foreach(view "front|--azimuth;0" "right|--azimuth;45;--elevation;20" "side-mip|--azimuth;90;--mip")
  string(REPLACE "|" ";" view "${view}")
  list(POP_FRONT view name)
  execute_process(COMMAND ${ONDREL} volume ${STACK} -o ${WORK}/realct-volume-${name}.png ${view}
                  RESULT_VARIABLE code OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT code EQUAL 0)
    message(FATAL_ERROR "ondrel volume failed (${code}): ${out}${err}")
  endif()
  execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files ${WORK}/realct-volume-${name}.png
                          ${REPOSITORY}/tests/data/volume3d/realct-volume-${name}.png RESULT_VARIABLE differ)
  if(NOT differ EQUAL 0)
    message(FATAL_ERROR "realct-volume-${name}.png differs from the kept picture (see ${WORK})")
  endif()
endforeach()
execute_process(COMMAND ${ONDREL} run ${REPOSITORY}/tests/volume3d/volume_road.ondrel WORKING_DIRECTORY ${WORK}
                RESULT_VARIABLE code OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT code EQUAL 0 OR NOT out MATCHES "\nthe volume road ran\n$")
  message(FATAL_ERROR "ondrel run volume_road.ondrel: exit ${code}\nstdout: ${out}\nstderr: ${err}")
endif()
foreach(picture front turned projection)
  file(SIZE ${WORK}/${picture}.png size)
  if(size LESS 200)
    message(FATAL_ERROR "volume_road.ondrel saved no picture ${picture}.png")
  endif()
endforeach()
