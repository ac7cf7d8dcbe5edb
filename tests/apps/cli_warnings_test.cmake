# What the commands that load images (render, pixels, run) say of pixels the core shows without
# decoding or understanding them, and of data the engine can't parse, on real files: pydicom's, and
# DCMTK's encodings of them in the JPEG and JPEG-LS syntaxes none of pydicom's files has.
# Invoked by CTest: cmake -DONDREL=<path to ondrel> -P cli_warnings_test.cmake
include(${CMAKE_CURRENT_LIST_DIR}/cli_common.cmake)

require_pydicom_files(CT_small.dcm MR_small.dcm MR_small_implicit.dcm MR_small_RLE.dcm MR_small_bigendian.dcm
                      MR_small_jpeg_ls_lossless.dcm MR_small_jp2klossless.dcm image_dfl.dcm rtdose.dcm
                      rtdose_rle.dcm liver_1frame.dcm SC_ybr_full_422_uncompressed.dcm SC_rgb_dcmtk_+eb+cy+np.dcm
                      SC_rgb_jpeg_dcmtk.dcm SC_rgb_jpeg_gdcm.dcm SC_rgb_rle_32bit.dcm SC_rgb_small_odd.dcm
                      JPGExtended.dcm JPEG2000.dcm)
require_program(DCMCJPEG dcmcjpeg)
require_program(DCMCJPLS dcmcjpls)

set(work "${CMAKE_CURRENT_BINARY_DIR}/ondrel_cli_warnings")
file(REMOVE_RECURSE ${work})
file(MAKE_DIRECTORY ${work})
foreach(encoding "${DCMCJPEG}|+el|MR_small|p14" "${DCMCJPEG}|+es|MR_small|spectral"
                 "${DCMCJPLS}|+en|SC_rgb_small_odd|near_lossless")
  string(REPLACE "|" ";" encoding "${encoding}")
  list(GET encoding 0 tool)
  list(GET encoding 1 option)
  list(GET encoding 2 source)
  list(GET encoding 3 name)
  execute_process(COMMAND ${tool} ${option} ${pydicom_files}/${source}.dcm ${work}/${name}.dcm
                  RESULT_VARIABLE code ERROR_VARIABLE err)
  if(NOT code EQUAL 0)
    message(FATAL_ERROR "${tool} ${option} ${source}.dcm: exit ${code}: ${err}")
  endif()
endforeach()

# Runs render, pixels and run (an image line, twice, and a series of the file) on FILE; each must
# succeed and print each WARNING given after FILE once, whatever the command, and nothing else on
# standard error. (The warnings are taken one by one: they hold semicolons.) With REFUSED before FILE,
# render must fail instead, after the warnings, with the core's refusal of pixels far fewer than the
# header describes (compressed bytes, or packed bits, are).
function(expect_warnings file)
  set(first 1)
  set(refused FALSE)
  if(file STREQUAL "REFUSED")
    set(refused TRUE)
    set(file ${ARGV1})
    set(first 2)
  endif()
  set(expected "")
  if(ARGC GREATER first)
    math(EXPR last "${ARGC} - 1")
    foreach(i RANGE ${first} ${last})
      string(APPEND expected "ondrel: warning: ${file}: ${ARGV${i}}\n")
    endforeach()
  endif()
  file(WRITE ${work}/image.ondrel "image a ${file}\nimage b ${file}\nseries s ${file}\n")
  foreach(command "render;${file};-o;${work}/out.png" "pixels;${file};-o;${work}/out.raw" "run;${work}/image.ondrel")
    execute_process(COMMAND ${ONDREL} ${command} RESULT_VARIABLE code OUTPUT_VARIABLE out ERROR_VARIABLE err)
    list(GET command 0 name)
    if(refused AND name STREQUAL "render")
      string(LENGTH "${expected}" length)
      string(SUBSTRING "${err}" 0 ${length} warnings)
      string(SUBSTRING "${err}" ${length} -1 failure)
      if(NOT code EQUAL 1 OR NOT warnings STREQUAL expected OR NOT failure MATCHES
         "^ondrel: [^\n]*: RenderImage failed \\(0x80004005\\): The pixel data holds [0-9]+ bytes where the image's header needs [0-9]+\\.\n$")
        message(FATAL_ERROR "ondrel ${command}: exit ${code}\nstderr: ${err}\nexpected: ${expected} and the refusal")
      endif()
    elseif(NOT code EQUAL 0 OR NOT err STREQUAL expected)
      message(FATAL_ERROR "ondrel ${command}: exit ${code}\nstderr: ${err}\nexpected: ${expected}")
    endif()
  endforeach()
endfunction()

set(not_decoded "is not decoded; the picture, if any, shows the compressed bytes")
set(grey_422 "Photometric Interpretation (0028,0004) YBR_FULL_422 is not shown as colour; the picture shows its 3 samples as grey bytes")
set(bits_32 "Bits Allocated (0028,0100) is 32: 32-bit samples are not understood; the picture shows their bytes read as 16-bit samples")
expect_warnings(${pydicom_files}/MR_small_RLE.dcm "RLE Lossless (1.2.840.10008.1.2.5) ${not_decoded}")
expect_warnings(${work}/p14.dcm "JPEG Lossless, Non-Hierarchical (Process 14) (1.2.840.10008.1.2.4.57) ${not_decoded}")
expect_warnings(REFUSED ${work}/spectral.dcm
                "JPEG Spectral Selection, Non-Hierarchical (Process 6 & 8) (1.2.840.10008.1.2.4.53) ${not_decoded}")
expect_warnings(${pydicom_files}/rtdose.dcm "${bits_32}")
expect_warnings(REFUSED ${pydicom_files}/liver_1frame.dcm
                "Bits Allocated (0028,0100) is 1: 1-bit samples are not understood; the picture shows their packed bits read as 8-bit samples")
expect_warnings(REFUSED ${pydicom_files}/SC_rgb_rle_32bit.dcm "RLE Lossless (1.2.840.10008.1.2.5) ${not_decoded}" "${bits_32}")
expect_warnings(${pydicom_files}/SC_ybr_full_422_uncompressed.dcm "${grey_422}")
expect_warnings(${pydicom_files}/SC_rgb_dcmtk_+eb+cy+np.dcm "${grey_422}")
# What the core shows as meant: plain little-endian data, JPEG .50 (YBR_FULL), .51, .70, JPEG 2000 .90, .91.
foreach(file CT_small.dcm MR_small_implicit.dcm SC_rgb_jpeg_dcmtk.dcm JPGExtended.dcm SC_rgb_jpeg_gdcm.dcm
             MR_small_jp2klossless.dcm JPEG2000.dcm)
  expect_warnings(${pydicom_files}/${file})
endforeach()

# Data the engine can't parse fail every command that reads them, with a sentence that says why; dump
# says where the parse stopped. Rows: FILE|SENTENCE.
function(expect_failure expected)
  execute_process(COMMAND ${ONDREL} ${ARGN} RESULT_VARIABLE code OUTPUT_QUIET ERROR_VARIABLE err)
  if(NOT code EQUAL 1 OR NOT err STREQUAL expected)
    message(FATAL_ERROR "ondrel ${ARGN}: exit ${code}\nstderr: ${err}\nexpected: ${expected}")
  endif()
endfunction()
set(short "The buffer is not long enough to perform the requested read operation.")
file(REMOVE ${work}/out.png ${work}/out.raw)
foreach(row
    "${pydicom_files}/MR_small_bigendian.dcm|The engine reads Explicit VR Big Endian (1.2.840.10008.1.2.2) as little-endian."
    "${pydicom_files}/image_dfl.dcm|The engine does not inflate Deflated Explicit VR Little Endian (1.2.840.10008.1.2.1.99)."
    "${pydicom_files}/MR_small_jpeg_ls_lossless.dcm|The engine does not know JPEG-LS Lossless (1.2.840.10008.1.2.4.80)."
    "${work}/near_lossless.dcm|The engine does not know JPEG-LS Near-Lossless (1.2.840.10008.1.2.4.81).")
  string(REPLACE "|" ";" row "${row}")
  list(GET row 0 file)
  list(GET row 1 sentence)
  set(line "${file}: cannot be read: ${short} ${sentence}\n")
  expect_failure("ondrel: ${line}" render ${file} -o ${work}/out.png)
  expect_failure("ondrel: ${line}" pixels ${file} -o ${work}/out.raw)
  file(WRITE ${work}/image.ondrel "image a ${file}\n")
  expect_failure("ondrel: ${work}/image.ondrel:1: ${line}" run ${work}/image.ondrel)
  execute_process(COMMAND ${ONDREL} dump ${file} RESULT_VARIABLE code OUTPUT_QUIET ERROR_VARIABLE err)
  string(FIND "${err}" "ondrel: ${file}: cannot be read past byte " at)
  string(FIND "${err}" ": ${short} ${sentence}\n" tail REVERSE)
  string(LENGTH "${err}" length)
  string(LENGTH ": ${short} ${sentence}\n" tail_length)
  math(EXPR tail_end "${tail} + ${tail_length}")
  if(NOT code EQUAL 1 OR NOT at EQUAL 0 OR NOT tail_end EQUAL length)
    message(FATAL_ERROR "ondrel dump ${file}: exit ${code}\nstderr: ${err}")
  endif()
endforeach()
if(EXISTS ${work}/out.png OR EXISTS ${work}/out.raw)
  message(FATAL_ERROR "a command that failed wrote out.png or out.raw")
endif()

# The core's decimal tags are shown as (gggg,eeee); its own text, with them, under --verbose only.
set(file "${pydicom_files}/rtdose_rle.dcm")
expect_run(1 "^ondrel: [^\n]*rtdose_rle.dcm: cannot be read: Failed to copy a STRING from VR because is not a string\\. tag \\(0020,000E\\)\n$"
           stderr render ${file} -o ${work}/out.png)
expect_run(1 "tag \\(0020,000E\\)\nondrel: core: Failed to copy a STRING from VR because is not a string\\. Group=32, Attribute=14 File=object_fills\\.cpp, Line=[0-9]+\n$"
           stderr render ${file} -o ${work}/out.png --verbose)
if(EXISTS ${work}/out.png)
  message(FATAL_ERROR "ondrel render wrote out.png though it failed")
endif()
file(REMOVE_RECURSE ${work})
