#include "host_setup.h"

#include <iostream>

#include "console_text.h"
#include "dicom/dicom_dictionary.h"
#include "ondrel/platform/hresult_exception.h"
#include "ondrel/workstation.h"

namespace ondrel::cli {

void LoadDictionary() {
  DicomEngine::DicomDictionary& dictionary = DicomEngine::DicomDictionary::Instance();
  dictionary.Load("dicom_dictionary.txt");
  if (dictionary.StandardEntryCount() == 0)
    std::cerr << "ondrel: warning: no dictionary at " << NarrowToConsole(dictionary.LoadedFileName())
              << "; implicit VR elements read as UN\n";
}

void RegisterWorkstation() { platform::ThrowIfFailed(RegisterWorkstationClasses()); }

}  // namespace ondrel::cli
