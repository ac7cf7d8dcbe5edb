# What the command-line tests share: running ondrel as a user does and checking what it answered.
# Included by the cli_*.cmake scripts, which CTest runs as: cmake -DONDREL=<path to ondrel> -P SCRIPT

# Runs `ondrel ARGN` and fails unless it exits with `expected_code` and `stream` (stdout or stderr)
# matches `expected_pattern`. A caller may set `run_prefix` to a command that runs ondrel for it.
function(expect_run expected_code expected_pattern stream)
  execute_process(COMMAND ${run_prefix} ${ONDREL} ${ARGN} RESULT_VARIABLE code OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT code EQUAL expected_code)
    message(FATAL_ERROR "ondrel ${ARGN}: exit ${code}, expected ${expected_code}\nstdout: ${out}\nstderr: ${err}")
  endif()
  if(stream STREQUAL "stdout")
    set(text "${out}")
  else()
    set(text "${err}")
  endif()
  if(NOT text MATCHES "${expected_pattern}")
    message(FATAL_ERROR "ondrel ${ARGN}: ${stream} does not match '${expected_pattern}'\nstdout: ${out}\nstderr: ${err}")
  endif()
endfunction()

# expect_run under a file-size limit of `blocks` blocks of 1024 bytes (the shell's ulimit -f): a write
# past it raises SIGXFSZ, which ondrel must ignore so that the write fails with EFBIG.
function(expect_run_limited blocks)
  set(run_prefix sh -c "ulimit -f ${blocks} && exec \"$@\"" ondrel)
  expect_run(${ARGN})
endfunction()

# The full path of a tool scripts/setup installs; the test fails without it.
function(require_program variable name)
  find_program(${variable} ${name})
  if(NOT ${variable})
    message(FATAL_ERROR "${name} is needed (scripts/setup installs it)")
  endif()
endfunction()

# pydicom's real DICOM files (scripts/setup installs python3-pydicom); a missing file fails the test.
set(pydicom_files "/usr/lib/python3/dist-packages/pydicom/data/test_files")
function(require_pydicom_files)
  foreach(name ${ARGN})
    if(NOT EXISTS ${pydicom_files}/${name})
      message(FATAL_ERROR "pydicom's ${name} is missing from ${pydicom_files} (scripts/setup installs python3-pydicom)")
    endif()
  endforeach()
endfunction()
