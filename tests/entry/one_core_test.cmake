# Each process-wide object of the core (the trace, the dictionary, the settings, the display switches,
# the user's preferences, the class table) must exist once in a process. For each executable given,
# the images it loads from this build (itself and its shared libraries, as ldd lists them) are read
# with nm, local symbols included, so that a second copy hidden inside a library counts too.
# Invoked by CTest: cmake -DEXECUTABLES="a;b" -DLIBRARY_DIR=<build/lib> -P one_core_test.cmake

set(singletons
  "Trace::Instance()"
  "DicomEngine::DicomDictionary::Instance()"
  "DicomEngine::TransferSyntax::Instance()"
  "SettingsHelper::Instance()"
  "ShutterApplied()"
  "OverlaysVisible()"
  "SelectedWindow()"
  "GlobalConfiguration()"
  "Preferences()"
  "CoCreateInstance(GUID const&, IUnknown*, unsigned int, GUID const&, void**)")

find_program(NM nm REQUIRED)
find_program(LDD ldd REQUIRED)

foreach(executable IN LISTS EXECUTABLES)
  execute_process(COMMAND ${LDD} ${executable} OUTPUT_VARIABLE listing RESULT_VARIABLE code)
  if(NOT code EQUAL 0)
    message(FATAL_ERROR "ldd ${executable} failed:\n${listing}")
  endif()
  set(images ${executable})
  string(REGEX MATCHALL "=> ${LIBRARY_DIR}/[^ ]+" ours "${listing}")
  foreach(entry IN LISTS ours)
    string(REPLACE "=> " "" path "${entry}")
    list(APPEND images ${path})
  endforeach()

  set(counts "")
  foreach(image IN LISTS images)
    execute_process(COMMAND ${NM} -C --defined-only ${image} OUTPUT_VARIABLE symbols ERROR_VARIABLE nm_error
                    RESULT_VARIABLE code)
    if(NOT code EQUAL 0)
      message(FATAL_ERROR "nm ${image} failed: ${nm_error}")
    endif()
    string(REPLACE "\n" ";" lines "${symbols}")
    foreach(name IN LISTS singletons)
      foreach(line IN LISTS lines)
        string(REGEX REPLACE "^[0-9a-f]+ [A-Za-z] " "" symbol "${line}")
        if(symbol STREQUAL name)
          list(APPEND where_${name} ${image})
        endif()
      endforeach()
    endforeach()
  endforeach()

  foreach(name IN LISTS singletons)
    list(LENGTH where_${name} count)
    if(NOT count EQUAL 1)
      message(FATAL_ERROR "${executable}: ${name} is defined ${count} times among its loaded images: "
                          "${where_${name}}")
    endif()
    unset(where_${name})
  endforeach()
  message(STATUS "${executable}: one of each of the core's process-wide objects")
endforeach()
