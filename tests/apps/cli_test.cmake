# Runs the command-line host as a user does and checks exit codes and output.
# Invoked by CTest: cmake -DONDREL=<path to ondrel> -P cli_test.cmake
include(${CMAKE_CURRENT_LIST_DIR}/cli_common.cmake)

expect_run(0 "^ondrel [0-9]+\\.[0-9]+\\.[0-9]+\n$" stdout --version)
expect_run(0 "Usage: ondrel \\[--verbose\\] COMMAND.*Commands:.*help.*--version.*--verbose" stdout --help)
expect_run(0 "Usage: ondrel \\[--verbose\\] COMMAND" stdout -h)
expect_run(0 "Usage: ondrel help \\[COMMAND\\]" stdout help help)
expect_run(0 "Usage: ondrel help \\[COMMAND\\]" stdout help --help)
expect_run(2 "no command given" stderr)
expect_run(2 "unknown command 'frobnicate'" stderr frobnicate)
expect_run(2 "unknown command 'frobnicate'.*Usage: ondrel help" stderr help frobnicate)

# ondrel dump, on the real files of tests/data/dicom.
set(dicom "${CMAKE_CURRENT_LIST_DIR}/../data/dicom")
expect_run(0 "Usage: ondrel dump \\[--up-to-pixels\\] FILE" stdout dump --help)
expect_run(0 "dump +print the elements of DICOM files" stdout --help)
expect_run(2 "dump needs at least one FILE" stderr dump)
expect_run(2 "unknown option '--frobnicate'.*Usage: ondrel dump" stderr dump --frobnicate ${dicom}/MR_small.dcm)
# One element a line, items and their elements indented under their sequence.
expect_run(0 "^\\(0002, 0000\\) VR=UL Length=4<=>0x4 Value=\\[192<=>0xC0\\]\n.*\n\\(0010, 1002\\) VR=SQ Length=72<=>0x48\n  \\(FFFE, E000\\) VR= Length=28<=>0x1C\n    \\(0010, 0020\\) VR=LO Length=8<=>0x8 Value=\\[ABCD1234\\]\n"
           stdout dump ${dicom}/CT_small.dcm)
# Implicit VR: the VRs come from the dictionary beside the executable.
expect_run(0 "\\(0028, 0009\\) VR=AT Length=4<=>0x4Value=\\[\\(3004, c\\)\\]\n\\(0028, 0010\\) VR=US.*\\(7FE0, 0010\\) VR=OB"
           stdout dump ${dicom}/rtdose.dcm)
# The tags of an AT value stay on its line.
expect_run(0 "\n\\(0028, 0009\\) VR=AT Length=8<=>0x8Value=\\[\\(54, 10\\)\\] Value=\\[\\(54, 20\\)\\]\n"
           stdout dump ${dicom}/JPEG2000.dcm)
expect_run(0 "^\\(0002, 0010\\) VR=UI Length=20<=>0x14 Value=\\[1.2.840.10008.1.2.1\\]\n\\(7FE0, 0010\\) VR=OW Length=8192<=>0x2000 Value=BINARY Length=\\[8192<=>0x2000\\]\n$"
           stdout dump --up-to-pixels ${dicom}/MR_small.dcm)
# Failures in a person's words; the core's own text only with --verbose, which may stand anywhere.
expect_run(1 "^ondrel: [^\n]*README.md: not a DICOM file\n$" stderr dump ${dicom}/README.md)
expect_run(1 "README.md: not a DICOM file\nondrel: core: It's not a DICOM file or a well formatted DICOM file\\. File=data_set_text\\.cpp, Line=[0-9]+\n$"
           stderr dump ${dicom}/README.md --verbose)
expect_run(1 "^ondrel: cannot open /nonexistent/image.dcm: No such file or directory\n$" stderr dump /nonexistent/image.dcm)
expect_run(1 "^ondrel: cannot open /nonexistent/image.dcm: No such file or directory\nondrel: core: The /nonexistent/image.dcm file cannot be opened\\. The last error is \\(in hexa\\): 0x3"
           stderr --verbose dump /nonexistent/image.dcm)
# A parse failure names the byte of the file; what was read before it is printed.
expect_run(1 "MR_small_jpeg_ls_lossless.dcm: cannot be read past byte 376, in element \\(0008,0008\\) from byte 366: The buffer is not long enough to perform the requested read operation\\. The engine does not know JPEG-LS Lossless \\(1\\.2\\.840\\.10008\\.1\\.2\\.4\\.80\\)\\.\n$"
           stderr dump ${dicom}/MR_small_jpeg_ls_lossless.dcm)
expect_run(1 "\\(0002, 0010\\) VR=UI Length=22<=>0x16 Value=\\[1.2.840.10008.1.2.4.80\\]" stdout
           dump ${dicom}/MR_small_jpeg_ls_lossless.dcm)
# Several files, one of them bad: the others are still dumped, and the exit status is 1.
set(several ${dicom}/ExplVR_LitEndNoMeta.dcm ${dicom}/README.md ${dicom}/MR_small.dcm)
expect_run(1 "^==> [^\n]*ExplVR_LitEndNoMeta.dcm <==\n\\(0008, 0005\\).*\n\n==> [^\n]*README.md <==\n\n==> [^\n]*MR_small.dcm <==\n\\(0002, 0000\\).*\\(7FE0, 0010\\) VR=OW"
           stdout dump ${several})
expect_run(1 "^ondrel: [^\n]*README.md: not a DICOM file\n$" stderr dump ${several})

# ondrel pixels: the loader's buffer, and a line that says what it holds.
set(raw "${CMAKE_CURRENT_BINARY_DIR}/ondrel_cli_pixels.raw")
expect_run(2 "pixels needs -o OUT.raw" stderr pixels ${dicom}/CT_small.dcm)
expect_run(0 "^rows=128 columns=128 samples=1 bits_allocated=16 bits_stored=16 syntax=1.2.840.10008.1.2.1 bytes=32768\n$"
           stdout pixels ${dicom}/CT_small.dcm -o ${raw})
file(SIZE ${raw} size)
if(NOT size EQUAL 32768)
  message(FATAL_ERROR "ondrel pixels wrote ${size} bytes, expected 32768")
endif()
expect_run(0 "rows=1024 columns=256 samples=1 bits_allocated=16 bits_stored=16 syntax=1.2.840.10008.1.2.4.91 bytes=524288"
           stdout pixels ${dicom}/JPEG2000.dcm -o ${raw})
expect_run(1 "^ondrel: [^\n]*README.md: not a DICOM file\n$" stderr pixels ${dicom}/README.md -o ${raw})
file(REMOVE ${raw})

# ondrel run: the frame checks of every method, through a script; script errors and expectations.
execute_process(COMMAND ${ONDREL} run ${CMAKE_CURRENT_LIST_DIR}/scripts/frame_checks.ondrel
                WORKING_DIRECTORY ${CMAKE_CURRENT_LIST_DIR}/../data
                RESULT_VARIABLE code OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT code EQUAL 0 OR NOT out MATCHES "all checks answered\n$")
  message(FATAL_ERROR "ondrel run frame_checks.ondrel: exit ${code}\nstdout: ${out}\nstderr: ${err}")
endif()
expect_run(0 "Usage: ondrel run SCRIPT.*Example:" stdout run --help)
expect_run(2 "run takes one SCRIPT" stderr run)
set(script "${CMAKE_CURRENT_BINARY_DIR}/ondrel_cli_script.ondrel")
file(WRITE ${script} "echo one\ncall Frobnicate\n")
expect_run(2 "ondrel_cli_script.ondrel:2: unknown method 'Frobnicate'" stderr run ${script})
file(WRITE ${script} "window w 8 8\ncall PanImage w 1\n")
expect_run(2 ":2: PanImage takes 3 arguments, not 2" stderr run ${script})
file(WRITE ${script} "echo one\nexpect two\n")
expect_run(1 ":2: expected \"two\" in: one" stderr run ${script})
# An enumerator that is none of its enumeration's says which are; a file that gives no image is the
# core's failure (1), a frame the file does not have a script error (2).
file(WRITE ${script} "window w 8 8\ncall RotateFlipImage w ROTATE_UP\n")
expect_run(2 ":2: 'ROTATE_UP' is none of ROT_FLIP_NONE, ROTATE_RIGHT, ROTATE_LEFT, FLIP_UD or FLIP_LR, nor a number\n$"
           stderr run ${script})
file(WRITE ${script} "image ct ${dicom}/README.md\n")
expect_run(1 "^ondrel: [^\n]*ondrel_cli_script.ondrel:1: [^\n]*README.md: not a DICOM file\n$" stderr run ${script})
file(WRITE ${script} "image ct /nonexistent/image.dcm\n")
expect_run(1 "^ondrel: [^\n]*:1: cannot open /nonexistent/image.dcm: No such file or directory\nondrel: core: The /nonexistent/image.dcm file cannot be opened"
           stderr --verbose run ${script})
file(WRITE ${script} "series s ${dicom}/README.md\n")
expect_run(1 ":1: [^\n]*README.md: not a DICOM file\n$" stderr run ${script})
file(WRITE ${script} "image ct ${dicom}/SC_rgb_rle_2frame.dcm 1\nimage ct ${dicom}/SC_rgb_rle_2frame.dcm 2\n")
expect_run(2 ":2: [^\n]*SC_rgb_rle_2frame.dcm has 2 frames: image takes a frame from 0 to 1, not 2\n$" stderr run ${script})
file(REMOVE ${script})

# run --methods lists every method of both components, in the slot order of their interfaces in
# ondrel.h, each with as many parameters as the interface declares.
function(declared_methods interface variable)
  if(interface STREQUAL "IOndrelMeasurements")
    file(READ ${CMAKE_CURRENT_LIST_DIR}/../../include/ondrel/measurements.h header)
  else()
    file(READ ${CMAKE_CURRENT_LIST_DIR}/../../include/ondrel/ondrel.h header)
  endif()
  string(FIND "${header}" "struct ${interface} : IUnknown {" start)
  string(SUBSTRING "${header}" ${start} -1 header)
  string(FIND "${header}" "\n};" end)
  string(SUBSTRING "${header}" 0 ${end} header)
  string(REGEX MATCHALL "virtual HRESULT [A-Za-z0-9]+\\([^)]*\\)" declarations "${header}")
  set(methods "")
  foreach(declaration IN LISTS declarations)
    string(REGEX MATCH "HRESULT ([A-Za-z0-9]+)\\(([^)]*)\\)" found "${declaration}")
    set(name ${CMAKE_MATCH_1})
    set(parameters "${CMAKE_MATCH_2}")
    string(REGEX REPLACE "[^,]" "" commas "${parameters}")
    string(LENGTH "${commas}" count)
    if(NOT parameters STREQUAL "")
      math(EXPR count "${count} + 1")
    endif()
    list(APPEND methods "${name}/${count}")
  endforeach()
  set(${variable} "${methods}" PARENT_SCOPE)
endfunction()
function(listed_methods text variable)
  string(REGEX MATCHALL "\n  [A-Za-z0-9]+[^\n]*" lines "${text}")
  set(methods "")
  foreach(line IN LISTS lines)
    string(STRIP "${line}" line)
    string(REPLACE " " ";" words "${line}")
    list(POP_FRONT words name)
    list(LENGTH words count)
    list(APPEND methods "${name}/${count}")
  endforeach()
  set(${variable} "${methods}" PARENT_SCOPE)
endfunction()
expect_run(0 "^IOndrel, the main component" stdout run --methods)
execute_process(COMMAND ${ONDREL} run --methods OUTPUT_VARIABLE listing)
string(REGEX MATCH "IOndrel, [^\n]*\n(.*)\n\nIOndrelDicomDir, [^\n]*\n(.*)\n\nIOndrelMeasurements, [^\n]*\n(.*)\n\nEnumerations, [^\n]*\n(.*)$" found "${listing}")
set(media_listing "${CMAKE_MATCH_2}")
set(measurements_listing "${CMAKE_MATCH_3}")
set(enumerations "${CMAKE_MATCH_4}")
listed_methods("\n${CMAKE_MATCH_1}" main_listed)
listed_methods("\n${media_listing}" media_listed)
listed_methods("\n${measurements_listing}" measurements_listed)
declared_methods(IOndrel main_declared)
declared_methods(IOndrelDicomDir media_declared)
declared_methods(IOndrelMeasurements measurements_declared)
list(LENGTH main_declared main_count)
list(LENGTH media_declared media_count)
if(NOT main_listed STREQUAL main_declared OR NOT media_listed STREQUAL media_declared OR main_count LESS 70 OR
   media_count LESS 30 OR NOT measurements_listed STREQUAL measurements_declared OR measurements_declared STREQUAL "")
  message(FATAL_ERROR "run --methods does not list the headers' methods:\nIOndrel ${main_declared}\nlisted  ${main_listed}\n"
                      "IOndrelDicomDir ${media_declared}\nlisted  ${media_listed}\n"
                      "IOndrelMeasurements ${measurements_declared}\nlisted  ${measurements_listed}")
endif()
foreach(expected "RenderImage image window bool" "GetColorPaletteMode window \\?palette" "ApplyColorPalette window palette"
                 "MeasOnMouseButtonDown window x,y measurement \\?bool")
  if(NOT listing MATCHES "\n  ${expected}\n")
    message(FATAL_ERROR "run --methods lists no '${expected}':\n${listing}")
  endif()
endforeach()
if(NOT media_listing MATCHES "^  RenderImage media-image window bool\n")
  message(FATAL_ERROR "run --methods lists the media component's RenderImage wrongly:\n${media_listing}")
endif()
foreach(expected "palette: COLOR_PALETTE_NONE=0 COLOR_PALETTE_RAINBOW=1 COLOR_PALETTE_HOT_IRON=2 COLOR_PALETTE_HOT_BLUE_METAL=3"
                 "rotation-flip: ROT_FLIP_NONE=0 ROTATE_RIGHT=1 ROTATE_LEFT=2 FLIP_UD=3 FLIP_LR=4"
                 "mip-mode: MIP_MODE_NONE=0 MIP_MODE_MAXIP=1 MIP_MODE_MINIP=2 MIP_MODE_TRANSLATION=16")
  if(NOT enumerations MATCHES "  ${expected}\n")
    message(FATAL_ERROR "run --methods lists no '${expected}':\n${enumerations}")
  endif()
endforeach()

# ondrel render: command-line errors exit 2 with the usage; an input it can't use exits 1 and writes nothing.
set(sample "${CMAKE_CURRENT_LIST_DIR}/../../data/sample/CT_small.dcm")
set(png "${CMAKE_CURRENT_BINARY_DIR}/ondrel_cli_render.png")
file(REMOVE ${png})
expect_run(0 "Usage: ondrel render INPUT -o OUT.png.*--window W --level L.*--palette NAME" stdout render --help)
expect_run(2 "render needs -o OUT.png\nUsage: ondrel render" stderr render ${sample})
expect_run(2 "render needs an INPUT file" stderr render -o ${png})
expect_run(2 "render takes one INPUT" stderr render ${sample} ${sample} -o ${png})
expect_run(2 "unknown option '--frobnicate'\nUsage: ondrel render" stderr render ${sample} -o ${png} --frobnicate)
expect_run(2 "-o needs a value" stderr render ${sample} -o)
expect_run(2 "'[^']*ondrel_cli_render.raw': the picture format is chosen by the extension \\.png, \\.bmp, \\.jpg, \\.gif or \\.tif"
           stderr render ${sample} -o ${CMAKE_CURRENT_BINARY_DIR}/ondrel_cli_render.raw)
# Sizes: no separator, a zero side, a missing side, a side too large, not a number.
foreach(size 512 0x512 512x 512x16385 axb 512x-1)
  expect_run(2 "--size takes WIDTHxHEIGHT in pixels, each from 1 to 16384, like 512x512, not '${size}'" stderr
             render ${sample} -o ${png} --size ${size})
endforeach()
expect_run(2 "--palette takes none, rainbow, hot-iron or hot-blue-metal, not 'sepia'" stderr
           render ${sample} -o ${png} --palette sepia)
expect_run(2 "--window needs --level\nUsage: ondrel render" stderr render ${sample} -o ${png} --window 400)
expect_run(2 "--level needs --window" stderr render ${sample} -o ${png} --window 400 --level 40 --level 50)
expect_run(2 "--window takes an integer, not '4.5'" stderr render ${sample} -o ${png} --window 4.5 --level 40)
expect_run(2 "--zoom takes a whole percentage, 0 or more, not '-5'" stderr render ${sample} -o ${png} --zoom -5)
expect_run(2 "--pan takes DX,DY in window pixels, like 10,-5, not '10'" stderr render ${sample} -o ${png} --pan 10)
expect_run(2 "--rotate takes right or left, not '90'" stderr render ${sample} -o ${png} --rotate 90)
expect_run(2 "--flip takes lr or ud, not 'h'" stderr render ${sample} -o ${png} --flip h)
expect_run(2 "--frame takes a frame number from 0 to 65535, not '65536'" stderr render ${sample} -o ${png} --frame 65536)
expect_run(2 "--window takes a width of 1 or more, not '0'\nUsage: ondrel render" stderr
           render ${sample} -o ${png} --window 0 --level 40)
expect_run(2 "--window takes a width of 1 or more, not '-400'" stderr render ${sample} -o ${png} --window -400 --level 40)
expect_run(1 "^ondrel: cannot open /nonexistent/image.dcm: No such file or directory\n$" stderr
           render /nonexistent/image.dcm -o ${png})
expect_run(1 "^ondrel: cannot open /nonexistent/image.dcm: No such file or directory\nondrel: core: The /nonexistent/image.dcm file cannot be opened\\. The last error is \\(in hexa\\): 0x3 File=file_parser\\.cpp, Line=[0-9]+\n$"
           stderr render /nonexistent/image.dcm -o ${png} --verbose)
expect_run(1 "^ondrel: cannot open [^\n]*tests/apps/\\.\\./data: Is a directory\n$" stderr
           render ${CMAKE_CURRENT_LIST_DIR}/../data -o ${png})
# A frame the file does not have is a wrong command line.
expect_run(2 "CT_small.dcm has 1 frame: --frame takes 0 to 0, not 1\nUsage: ondrel render" stderr
           render ${sample} -o ${png} --frame 1)
expect_run(2 "SC_rgb_rle_2frame.dcm has 2 frames: --frame takes 0 to 1, not 2\n" stderr
           render ${dicom}/SC_rgb_rle_2frame.dcm -o ${png} --frame 2)
if(EXISTS ${png})
  message(FATAL_ERROR "ondrel render wrote ${png} though it failed")
endif()

# The example scripts the README points to run from any folder, by any name, and write their pictures
# there; run --help's example runs from the repository's root (a folder with data/ in it).
set(examples "${CMAKE_CURRENT_BINARY_DIR}/ondrel_cli_examples")
file(REMOVE_RECURSE ${examples})
file(MAKE_DIRECTORY ${examples}/elsewhere ${examples}/root)
file(RELATIVE_PATH relative_examples ${examples}/elsewhere ${CMAKE_CURRENT_LIST_DIR}/../../data/examples)
foreach(example "view_ct|${CMAKE_CURRENT_LIST_DIR}/../../data/examples" "display_operations|${relative_examples}"
                "measure_ct|${relative_examples}")
  string(REPLACE "|" ";" example "${example}")
  list(GET example 0 name)
  list(GET example 1 folder)
  execute_process(COMMAND ${ONDREL} run ${folder}/${name}.ondrel WORKING_DIRECTORY ${examples}/elsewhere
                  RESULT_VARIABLE code OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT code EQUAL 0 OR NOT out MATCHES "\nwrote [^\n]*\n$")
    message(FATAL_ERROR "ondrel run ${folder}/${name}.ondrel: exit ${code}\nstdout: ${out}\nstderr: ${err}")
  endif()
endforeach()
foreach(picture view_ct step1_window step2_zoom step3_turned step4_palette step5_reset measure_ct)
  if(NOT EXISTS ${examples}/elsewhere/${picture}.png)
    message(FATAL_ERROR "the example scripts wrote no ${picture}.png in the current folder")
  endif()
endforeach()
execute_process(COMMAND ${ONDREL} run --help OUTPUT_VARIABLE help)
string(REGEX MATCH "\nExample:\n(( [^\n]*\n)+)" found "${help}")
string(REGEX REPLACE "(^|\n)  " "\\1" example "${CMAKE_MATCH_1}")
file(WRITE ${examples}/root/example.ondrel "${example}")
file(CREATE_LINK ${CMAKE_CURRENT_LIST_DIR}/../../data ${examples}/root/data SYMBOLIC)
execute_process(COMMAND ${ONDREL} run example.ondrel WORKING_DIRECTORY ${examples}/root
                RESULT_VARIABLE code OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT code EQUAL 0 OR NOT example MATCHES "\nsave view ct.png\n$" OR NOT EXISTS ${examples}/root/ct.png)
  message(FATAL_ERROR "run --help's example, from the root: exit ${code}\n${example}\nstdout: ${out}\nstderr: ${err}")
endif()
file(REMOVE_RECURSE ${examples})

# ondrel import: a picture made into a DICOM file by the core, which DCMTK reads back with the
# picture's pixels.
set(pictures "${CMAKE_CURRENT_LIST_DIR}/../data/pictures")
set(imported "${CMAKE_CURRENT_BINARY_DIR}/ondrel_cli_import.dcm")
file(REMOVE ${imported})
expect_run(0 "Usage: ondrel import PICTURE -o OUT.dcm.*ImportImageAsDICOMFile" stdout import --help)
expect_run(0 "import +make a DICOM file of a picture" stdout --help)
expect_run(2 "import needs -o OUT.dcm\nUsage: ondrel import" stderr import ${pictures}/palette.png)
expect_run(2 "import --store takes one PICTURE and no -o" stderr import ${pictures}/palette.png --store -o x.dcm)

# ondrel store and ondrel studies: their arguments (tests/storage runs them on real databases).
expect_run(0 "Usage: ondrel store \\[--copy\\] FILE\\|DIR.*ONDREL_DB_CONNECTION" stdout store --help)
expect_run(2 "store needs a FILE or DIR\nUsage: ondrel store" stderr store)
expect_run(2 "studies takes PATHs or --db" stderr studies --db ${pictures})
# A DICOMDIR lists its medium (the hierarchy itself is checked in tests/workstation); one that sends an
# image out of its folder says which record it passed over. A DICOMDIR is not an image to render.
set(media "/usr/lib/python3/dist-packages/pydicom/data/test_files/dicomdirtests")
expect_run(0 "^patient \"Doe\\^Archibald\" id 77654033\n    study [^\n]*\n      series [^\n]* CR: 1 image\n.*\n        image 1\\.3\\.6\\.1\\.4\\.1\\.5962\\.1\\.1\\.0\\.0\\.0\\.1196533885\\.18148\\.0\\.124 number 7 ${media}/98892003/MR700/4648\n$"
           stdout studies --images ${media}/DICOMDIR-reordered)
expect_run(0 "\npassed over [^\n]*dotdot\\.dcm: The IMAGE directory record at byte 856 has the file ID \"\\.\\.\\\\[^\n]*which would leave the DICOMDIR's folder\\.\n$"
           stdout studies ${CMAKE_CURRENT_LIST_DIR}/../data/workstation/dicomdir/dotdot.dcm)
expect_run(1 "DICOMDIR: is a media directory \\(DICOMDIR\\), not an image" stderr render ${media}/DICOMDIR -o x.png)
expect_run(1 "^ondrel: [^\n]*README.md: not a picture the core reads \\(BMP, JPEG, GIF, TIFF or PNG\\)\n$" stderr
           import ${pictures}/README.md -o ${imported})
expect_run(1 "\nondrel: core: <exception Message=\"Failed to save the image as DICOM file\\. File=image_export\\.cpp, Line=[0-9]+\"><exception Message=\"Failed to create the DICOM file\\. [^\n]*Failed to create the GDI\\+ bitmap File=image_export\\.cpp, Line=[0-9]+\"></exception></exception></exception>\n$"
           stderr import ${pictures}/README.md -o ${imported} --verbose)
expect_run(1 "^ondrel: cannot open [^\n]*pictures/absent.png: No such file or directory\n$" stderr
           import ${pictures}/absent.png -o ${imported})
if(EXISTS ${imported})
  message(FATAL_ERROR "ondrel import wrote ${imported} though it failed")
endif()
expect_run(0 "^wrote [^\n]*ondrel_cli_import.dcm: 13x7 RGB, SOP Instance UID 1\\.3\\.6\\.1\\.4\\.1\\.77777\\.[0-9.]+\n$"
           stdout import ${pictures}/palette.png -o ${imported})
require_program(DCMDUMP dcmdump)
require_program(DCMJ2PNM dcmj2pnm)
require_program(CONVERT convert)
execute_process(COMMAND ${DCMDUMP} ${imported} RESULT_VARIABLE code OUTPUT_VARIABLE dump ERROR_VARIABLE err)
foreach(line "\\(0002,0010\\) UI =LittleEndianImplicit" "\\(0008,0064\\) CS \\[WSD\\]" "\\(0028,0002\\) US 3"
             "\\(0028,0004\\) CS \\[RGB\\]" "\\(0028,0010\\) US 7" "\\(0028,0011\\) US 13" "\\(7fe0,0010\\) [^\n]*# 274,")
  if(NOT code EQUAL 0 OR NOT dump MATCHES "${line}")
    message(FATAL_ERROR "dcmdump of the imported file: exit ${code}, no '${line}'\n${dump}\n${err}")
  endif()
endforeach()
set(decoded "${CMAKE_CURRENT_BINARY_DIR}/ondrel_cli_import")
execute_process(COMMAND ${DCMJ2PNM} +on ${imported} ${decoded}.png RESULT_VARIABLE code ERROR_VARIABLE err)
execute_process(COMMAND ${CONVERT} ${decoded}.png -depth 8 rgb:${decoded}.dicom.rgb)
execute_process(COMMAND ${CONVERT} ${pictures}/palette.png -depth 8 rgb:${decoded}.picture.rgb)
file(SHA256 ${decoded}.dicom.rgb dicom_pixels)
file(SHA256 ${decoded}.picture.rgb picture_pixels)
if(NOT code EQUAL 0 OR NOT dicom_pixels STREQUAL picture_pixels)
  message(FATAL_ERROR "dcmj2pnm of the imported file (exit ${code}: ${err}) differs from palette.png")
endif()
file(REMOVE ${decoded}.png ${decoded}.dicom.rgb ${decoded}.picture.rgb)
file(REMOVE ${imported})

# ondrel render's export options: the core's own save, its raw display pixels, the switches and the glass.
set(exported "${CMAKE_CURRENT_BINARY_DIR}/ondrel_cli_export")
expect_run(0 "--magnify X,Y.*--encoding MIME.*--display-raw RAW" stdout render --help)
expect_run(2 "--magnify takes X,Y in window pixels, like 100,80, not '1'" stderr render ${sample} -o ${png} --magnify 1)
expect_run(0 "^$" stdout render ${sample} -o ${exported}.picture --encoding image/png --size 64x48)
file(READ ${exported}.picture signature LIMIT 4 HEX)
if(NOT signature STREQUAL "89504e47")
  message(FATAL_ERROR "render --encoding image/png wrote no PNG: ${signature}")
endif()
expect_run(0 "^rows=128 columns=128 colour=no\n$" stdout
           render ${sample} -o ${exported}.png --no-overlays --no-shutter --display-raw ${exported}.raw)
file(SIZE ${exported}.raw size)
if(NOT size EQUAL 16384)
  message(FATAL_ERROR "render --display-raw wrote ${size} bytes, expected 128 x 128")
endif()
expect_run(0 "^$" stdout render ${sample} -o ${exported}.png --size 128x128)
expect_run(0 "^$" stdout render ${sample} -o ${exported}.glass.png --size 128x128 --magnify 64,64)
file(SHA256 ${exported}.png plain)
file(SHA256 ${exported}.glass.png glass)
if(plain STREQUAL glass)
  message(FATAL_ERROR "render --magnify saved the picture without the glass")
endif()
# --measure draws as a user does and prints what the measurements read; they stay on their image pixels
# through a later rotation. Wrong measures are the command line's; a point beside the image and points
# that overlap are failures in plain words.
expect_run(0 "^line 10,10 60,10 selected=no mode=MEAS_MODE_NONE label=\"33 mm\"\nangle 70,70 70,110 110,110 selected=yes mode=MEAS_MODE_NONE label=\"90°\"\n$"
           stdout render ${sample} -o ${exported}.measured.png --size 128x128 --measure line:10,10:60,10
           --rotate right --measure angle:57,70:17,70:17,110)
file(SHA256 ${exported}.measured.png measured)
if(plain STREQUAL measured)
  message(FATAL_ERROR "render --measure saved the picture without the measurements")
endif()
expect_run(2 "--measure takes line:X1,Y1:X2,Y2, ellipse:X1,Y1:X2,Y2 or angle:X1,Y1:X2,Y2:X3,Y3 in window pixels, not 'circle:1,1:9,9'"
           stderr render ${sample} -o ${png} --measure circle:1,1:9,9)
expect_run(2 "not 'angle:1,1:9,9'" stderr render ${sample} -o ${png} --measure angle:1,1:9,9)
expect_run(2 "not 'line:1,1:9'" stderr render ${sample} -o ${png} --measure line:1,1:9)
expect_run(1 "^ondrel: --measure line:20,20:22,21: the points overlap on the image: each must lie further than the grip handle size"
           stderr render ${sample} -o ${png} --size 128x128 --measure line:20,20:22,21)
expect_run(1 "^ondrel: --measure ellipse:2,2:100,100: its first point is not on the image\n$"
           stderr render ${sample} -o ${png} --size 128x128 --zoom 50 --measure ellipse:2,2:100,100)
# A press on an earlier measurement takes hold of it, as a user's would: the ellipse is never begun.
expect_run(1 "^ondrel: --measure ellipse:30,10:50,40: its first point falls on an earlier measurement, which the press took hold of"
           stderr render ${sample} -o ${png} --size 128x128 --measure line:10,10:60,10 --measure ellipse:30,10:50,40)
if(EXISTS ${png})
  message(FATAL_ERROR "ondrel render wrote ${png} though a measure failed")
endif()
file(REMOVE ${exported}.picture ${exported}.png ${exported}.raw ${exported}.glass.png ${exported}.measured.png)

# ondrel run through scripts kept in tests/apps/scripts: every method of both components, the
# display operations on the bundled CT against the pictures of tests/data/display, and reference
# lines and synchronisation over the series of tests/data/spatial. The scripts run in
# a folder of their own, with data/ and testdata/ linked in, where what they write lands.
set(scripts "${CMAKE_CURRENT_BINARY_DIR}/ondrel_cli_scripts")
file(REMOVE_RECURSE ${scripts})
file(MAKE_DIRECTORY ${scripts})
file(CREATE_LINK ${CMAKE_CURRENT_LIST_DIR}/../../data ${scripts}/data SYMBOLIC)
file(CREATE_LINK ${CMAKE_CURRENT_LIST_DIR}/../data ${scripts}/testdata SYMBOLIC)
foreach(run "main_methods|every method answered" "media_methods|every media method answered"
            "display_operations|saved initial.png to reset.png"
            "spatial_methods|reference lines and synchronisation answered")
  string(REPLACE "|" ";" run "${run}")
  list(GET run 0 script)
  list(GET run 1 last)
  execute_process(COMMAND ${ONDREL} run ${CMAKE_CURRENT_LIST_DIR}/scripts/${script}.ondrel WORKING_DIRECTORY ${scripts}
                  RESULT_VARIABLE code OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT code EQUAL 0 OR NOT out MATCHES "\n${last}\n$")
    message(FATAL_ERROR "ondrel run ${script}.ondrel: exit ${code}\nstdout: ${out}\nstderr: ${err}")
  endif()
endforeach()
# What the methods wrote: the picture and the two DICOM files, the trace; SaveImageAsDICOMFile writes
# nothing.
file(READ ${scripts}/main_methods.png signature LIMIT 4 HEX)
if(NOT signature STREQUAL "89504e47")
  message(FATAL_ERROR "SaveImageAsFile of main_methods.ondrel wrote no PNG: ${signature}")
endif()
foreach(written consult imported)
  file(READ ${scripts}/${written}.dcm prefix LIMIT 4 OFFSET 128 HEX)
  if(NOT prefix STREQUAL "4449434d")
    message(FATAL_ERROR "main_methods.ondrel wrote no DICOM file ${written}.dcm: ${prefix}")
  endif()
endforeach()
if(EXISTS ${scripts}/never.dcm)
  message(FATAL_ERROR "SaveImageAsDICOMFile of main_methods.ondrel wrote never.dcm")
endif()
foreach(log main_methods media_methods)
  file(READ ${scripts}/${log}.log text)
  if(NOT text MATCHES "The unmanaged trace level is: 4")
    message(FATAL_ERROR "InitializeTrace of ${log}.ondrel opened no trace at level 4")
  endif()
endforeach()
file(WRITE ${scripts}/no_method.ondrel "window view 8 8\ncomponent dicomdir\ncall ReleaseWindow view\n")
expect_run(2 "no_method.ondrel:3: the media component has no method ReleaseWindow" stderr
           run ${scripts}/no_method.ondrel)
file(WRITE ${scripts}/no_component.ondrel "component media\n")
expect_run(2 ":1: component is main or dicomdir, not media" stderr run ${scripts}/no_component.ondrel)

# Each saved picture against its reference, but for the bottom-right 20 x 20 pixels, where the full
# draw puts the dotted square of the image's tag mark, which is not part of the picture: ImageMagick's
# count of the pixels that differ by more than `fuzz`, in the band above the corner and the one left of
# it.
require_program(COMPARE compare)
function(expect_same_picture picture reference fuzz)
  foreach(region 128x108+0+0 108x20+0+108)
    execute_process(COMMAND ${COMPARE} -metric AE -fuzz ${fuzz} -extract ${region} ${picture} ${reference} null:
                    ERROR_VARIABLE count)
    string(STRIP "${count}" count)
    if(NOT count STREQUAL "0")
      message(FATAL_ERROR "${picture} differs from ${reference} in ${region}: ${count} pixels beyond ${fuzz}")
    endif()
  endforeach()
endfunction()
set(display "${CMAKE_CURRENT_LIST_DIR}/../data/display")
foreach(picture initial preset drag inverted turned_right turned_right_mirrored flipped_ud hot_iron panned
                dynamic_zoom)
  expect_same_picture(${scripts}/${picture}.png ${display}/${picture}.png 0)
endforeach()
expect_same_picture(${scripts}/reset_refused.png ${display}/dynamic_zoom.png 0)
expect_same_picture(${scripts}/reset.png ${display}/initial.png 0)
# Three channels one level apart make a distance of 0.68%: the bilinear stretch may round one level
# away from the exact value its reference holds (scripts/make_display_references says why), no more.
expect_same_picture(${scripts}/zoomed.png ${display}/zoomed.png 0.7%)
# ondrel render in a window of the image's size, at zoom 100, writes the display buffer's pixels.
expect_run(0 "^$" stdout render ${sample} -o ${scripts}/rendered.png --size 128x128 --no-overlays)
expect_same_picture(${scripts}/rendered.png ${display}/initial.png 0)
file(REMOVE_RECURSE ${scripts})
