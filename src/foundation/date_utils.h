// Dates between DICOM text ("20140309", "210507") and date values, the OLE automation dates
// (days since 1899-12-30) in which the workstation objects keep dates.
#pragma once

#include <string>

// False for 0.0 (no date) or a value that is no calendar time; else the date as "YYYYMMDD" and the time
// as "HHMMSS" (rounded to the second) and true.
bool DateValueToDicom(double value, std::string& date, std::string& time);
// "YYYY/MM/DD" and "HH:MM:SS". Unlike DateValueToDicom, 0.0 is not special: it shows 1899/12/30.
// False, with the outputs untouched, for a value that is no calendar time.
bool DateValueToDisplay(double value, std::u16string& date, std::u16string& time);
// The date value of a DICOM date and time. A null date, or one that does not read as "%4d%2d%2d", gives
// 0.0; a null time, or one that does not read as "%2d%2d%2d", counts as midnight; an impossible date
// gives 0.0.
double DicomToDateValue(const char* date, const char* time);
// The local time now as a date value, or 0.0.
double NowAsDateValue();
