// What every command that drives the core does first.
#pragma once

namespace ondrel::cli {

// Loads dicom_dictionary.txt from beside the executable; warns on standard error when there is none,
// since implicit VR data then read as UN.
void LoadDictionary();
// Registers the workstation's information classes in the class table (once).
void RegisterWorkstation();

}  // namespace ondrel::cli
