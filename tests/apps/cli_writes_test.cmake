# Every command that writes a file fails when the write fails (a file-size limit, a full device, a
# folder that does not exist or a folder as the target), says why, and leaves no partial file: a file
# that stood there before stays as it was, and no temporary file is left beside it.
# Invoked by CTest: cmake -DONDREL=<path to ondrel> -P cli_writes_test.cmake
include(${CMAKE_CURRENT_LIST_DIR}/cli_common.cmake)

require_program(CONVERT convert)
set(sample "${CMAKE_CURRENT_LIST_DIR}/../../data/sample/CT_small.dcm")
set(picture "${CMAKE_CURRENT_LIST_DIR}/../data/pictures/palette.png")
set(work "${CMAKE_CURRENT_BINARY_DIR}/ondrel_cli_writes")
file(REMOVE_RECURSE ${work})
file(MAKE_DIRECTORY ${work}/folder.png)

# The writers, as NAME|ARGUMENTS, the arguments apart by commas, with @OUT@ where the file to write
# goes. run's `save` is given its file through the script, written afresh for each target.
set(writers
    "render|render,${sample},-o,@OUT@"
    "render --encoding|render,${sample},-o,@OUT@,--encoding,image/png"
    "render --display-raw|render,${sample},-o,${work}/shown.png,--display-raw,@OUT@"
    "pixels|pixels,${sample},-o,@OUT@"
    "import|import,${picture},-o,@OUT@"
    "run save|run,${work}/save.ondrel")

# Runs a writer on `target` (under the file-size limit `blocks` when it is not "none") and fails unless
# it exits 1 with standard error ending in "cannot write TARGET: REASON".
function(expect_write_failure writer target blocks reason)
  string(REPLACE "|" ";" writer "${writer}")
  list(GET writer 0 name)
  list(GET writer 1 arguments)
  string(REPLACE "," ";" arguments "${arguments}")
  string(REPLACE "@OUT@" "${target}" arguments "${arguments}")
  file(WRITE ${work}/save.ondrel "window w 64 48\nsave w ${target}\n")
  set(prefix "")
  if(NOT blocks STREQUAL "none")
    set(prefix sh -c "ulimit -f ${blocks} && exec \"$@\"" ondrel)
  endif()
  execute_process(COMMAND ${prefix} ${ONDREL} ${arguments} RESULT_VARIABLE code OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT code EQUAL 1 OR NOT err MATCHES "^ondrel: [^\n]*cannot write ${target}: ${reason}\n$")
    message(FATAL_ERROR "${name} to ${target} (limit ${blocks}): exit ${code}, expected 1 and '${reason}'\n"
                        "stdout: ${out}\nstderr: ${err}")
  endif()
  file(GLOB leftovers LIST_DIRECTORIES false ${work}/.* ${work}/folder.png/.*)
  if(leftovers)
    message(FATAL_ERROR "${name} to ${target} left ${leftovers}")
  endif()
endfunction()

# A file-size limit of 0: the file that stood there is kept whole.
foreach(writer IN LISTS writers)
  set(target "${work}/out.png")
  file(WRITE ${target} "the file before")
  expect_write_failure("${writer}" ${target} 0 "File too large")
  file(READ ${target} kept)
  if(NOT kept STREQUAL "the file before")
    message(FATAL_ERROR "${writer} replaced ${target} though its write failed: '${kept}'")
  endif()
  file(REMOVE ${target})
  expect_write_failure("${writer}" ${work}/absent/out.png none "No such file or directory")
  expect_write_failure("${writer}" ${work}/folder.png none "Is a directory")
  if(EXISTS ${target} OR EXISTS ${work}/shown.png)
    message(FATAL_ERROR "${writer} wrote a file though its write failed")
  endif()
endforeach()

# A full device. The writers that choose the format by the extension can't be given one.
foreach(writer IN LISTS writers)
  if(writer MATCHES "^(render|run save)\\|")
    continue()
  endif()
  expect_write_failure("${writer}" /dev/full none "No space left on device")
  execute_process(COMMAND sh -c "test -c /dev/full" RESULT_VARIABLE code)
  if(NOT code EQUAL 0)
    message(FATAL_ERROR "${writer} to /dev/full replaced the device")
  endif()
endforeach()

# The core's DICOM writer does not say that its write was cut short: a file of the first 4096 bytes of
# a picture's 12 KiB DICOM file must not take the target's name.
execute_process(COMMAND ${CONVERT} -size 64x64 gradient: ${work}/gradient.png RESULT_VARIABLE code)
if(NOT code EQUAL 0)
  message(FATAL_ERROR "convert made no gradient.png")
endif()
expect_write_failure("import|import,${work}/gradient.png,-o,@OUT@" ${work}/gradient.dcm 4 "File too large")
if(EXISTS ${work}/gradient.dcm)
  message(FATAL_ERROR "import kept the cut-short ${work}/gradient.dcm")
endif()

# SaveImageAsFile with a MIME type no encoder has writes nothing and succeeds: the command fails.
file(WRITE ${work}/unknown.png "the file before")
expect_run(1 "^ondrel: nothing was written to [^\n]*unknown.png: no encoder has the MIME type image/PNG, and SaveImageAsFile then writes nothing\n$"
           stderr render ${sample} -o ${work}/unknown.png --encoding image/PNG)
file(READ ${work}/unknown.png kept)
if(NOT kept STREQUAL "the file before")
  message(FATAL_ERROR "render --encoding image/PNG replaced unknown.png: '${kept}'")
endif()

# Standard output is written too: a full device there fails the command.
foreach(command "dump;${sample}" "pixels;${sample};-o;${work}/pixels.raw" "run;--methods")
  execute_process(COMMAND ${ONDREL} ${command} RESULT_VARIABLE code OUTPUT_FILE /dev/full ERROR_VARIABLE err)
  if(NOT code EQUAL 1 OR NOT err MATCHES "^ondrel: cannot write standard output: [^\n]+\n$")
    message(FATAL_ERROR "ondrel ${command} > /dev/full: exit ${code}\nstderr: ${err}")
  endif()
endforeach()

# Writes that succeed: into a device, through a symbolic link (which stays one), over a file kept
# private (which stays private); none leaves a temporary file.
execute_process(COMMAND sh -c "\"$0\" pixels \"$1\" -o /dev/stdout | wc -c" ${ONDREL} ${sample}
                RESULT_VARIABLE code OUTPUT_VARIABLE size OUTPUT_STRIP_TRAILING_WHITESPACE)
string(LENGTH "rows=128 columns=128 samples=1 bits_allocated=16 bits_stored=16 syntax=1.2.840.10008.1.2.1 bytes=32768\n" line)
math(EXPR expected "32768 + ${line}")
if(NOT code EQUAL 0 OR NOT size EQUAL expected)
  message(FATAL_ERROR "pixels -o /dev/stdout | wc -c: exit ${code}, ${size} bytes, expected ${expected}")
endif()
file(WRITE ${work}/private.png "the file before")
file(CHMOD ${work}/private.png PERMISSIONS OWNER_READ OWNER_WRITE)
file(CREATE_LINK ${work}/private.png ${work}/link.png SYMBOLIC)
expect_run(0 "^$" stderr render ${sample} -o ${work}/link.png)
execute_process(COMMAND stat -c %a ${work}/private.png OUTPUT_VARIABLE mode OUTPUT_STRIP_TRAILING_WHITESPACE)
file(READ ${work}/private.png signature LIMIT 4 HEX)
if(NOT IS_SYMLINK ${work}/link.png OR NOT signature STREQUAL "89504e47" OR NOT mode STREQUAL "600")
  message(FATAL_ERROR "render through link.png: private.png starts ${signature}, mode ${mode}; a link still: see link.png")
endif()
file(GLOB leftovers LIST_DIRECTORIES false ${work}/.*)
if(leftovers)
  message(FATAL_ERROR "the writes left ${leftovers}")
endif()
file(REMOVE_RECURSE ${work})
