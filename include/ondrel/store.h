// The workstation's store: it records patients, studies, series and images in the workstation's
// database, and chooses where a stored image's file goes in the storage tree.
//
// A COM class of the process-wide class table ("Ondrel.Store"), made with CoCreateInstance once
// RegisterWorkstationClasses has run. The database is the one named by the process's connection
// string, which a host sets through GlobalConfiguration's SetConnectionString before it stores:
// - "postgresql://..." or "postgres://..." (a libpq connection URI): a PostgreSQL server that several
//   workstations share;
// - anything else: the path of a SQLite file, created with its tables on first use.
// Both hold one schema: tables patients, studies, series and images keyed by Patient ID and name,
// Study, Series and SOP Instance UID, with a column per property of the information objects
// (ondrel/workstation.h), and the table ondrel_schema holding the schema's version.
//
// Failures answer E_FAIL (or E_POINTER, E_OUTOFMEMORY) and leave error information whose description
// is serialised exception text, `<exception Message="..." SqlErrors="CODE"></exception>`, the database's
// own words in Message and its error code (a SQLSTATE, or SQLite's result code) in SqlErrors; the
// Store supports error information for IStore (ISupportErrorInfo).
#pragma once

#include "ondrel/platform/bstr.h"
#include "ondrel/platform/com.h"
#include "ondrel/workstation.h"

struct IStore : IUnknown {
  using BaseInterface = IUnknown;
  static constexpr IID kIid = MakeGuid("5C0E8C1A-3B51-4F0E-9D7E-2B6A41C0D913");
  // Appends the store's trace lines to `logFile` (a path, or a name put into the folder "Log" beside
  // the host executable), in the form of the core's trace log, for levels up to `level`: failures at
  // 1, each stored image at 3. A null or empty name leaves the store silent: the core hands over its
  // own log's name, which is empty while the host has opened none. `mode` must be 1 (the file is
  // shared with the core's trace and appended to); E_INVALIDARG for another. The first call wins.
  virtual HRESULT InitializeTrace(BSTR logFile, LONG mode, LONG level) = 0;
  // Records the image, its series, study and patient in one transaction: rows that exist (by their
  // keys) are updated with the objects' values, so storing an image again duplicates nothing. A
  // property that is not available is stored as NULL.
  // When the image's IsStoredFile is true the store chooses its FileName, sets it on the image object
  // and records it: rootPath "/" study "/" series "/" file, where study and series are folder names
  // made from the Study and Series Instance UID and file the SOP Instance UID with ".dcm". A folder or
  // file name is the UID itself when it is a well-formed UID (1 to 64 characters, dot-separated
  // components of digits, none empty or with a leading zero), else "00." and the decimal 64-bit
  // FNV-1a hash of the text, which no well-formed UID can be: no value can lead out of rootPath
  // ("..", "/", an empty or a 200-character UID) or give two UIDs one file. Otherwise FileName is
  // recorded as the image object holds it.
  // An image without a SOP Instance UID is given a new one (organisation root 1.3.6.1.4.1.77777), set
  // on the image object. A series or study without its UID is refused (E_INVALIDARG with error
  // information), since it would merge with every other such series.
  // Concurrent stores from several processes into one database lose nothing: a store that meets a
  // busy database waits for it and tries its transaction again.
  virtual HRESULT StoreImage(IPatientInfoNW* patient, IStudyInfoNW* study, ISeriesInfoNW* series,
                             IImageInfoNW* image, BSTR rootPath) = 0;

 protected:
  ~IStore() = default;
};

inline constexpr IID IID_IStore = IStore::kIid;
inline constexpr CLSID CLSID_Store = MakeGuid("A0D6E2F4-6C1B-4B8E-8E3A-97F2C5D1B0E7");
