# The reformats of a real CT stack against the pictures kept in tests/data/spatial (see its README).
# Invoked by CTest: cmake -DONDREL=<ondrel> -DREPOSITORY=<source root> -DSTACK=<the stack of
# scripts/make_real_ct_stack.py> -DWORK=<folder> -P this file
file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK})
execute_process(COMMAND ${ONDREL} mpr ${STACK} -o ${WORK}/realct --mip
                RESULT_VARIABLE code OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT code EQUAL 0)
  message(FATAL_ERROR "ondrel mpr failed (${code}): ${out}${err}")
endif()
foreach(picture first second oblique mip)
  execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files ${WORK}/realct-${picture}.png
                          ${REPOSITORY}/tests/data/spatial/realct-${picture}.png RESULT_VARIABLE differ)
  if(NOT differ EQUAL 0)
    message(FATAL_ERROR "realct-${picture}.png differs from the kept picture (see ${WORK})")
  endif()
endforeach()
