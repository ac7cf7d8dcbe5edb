// The Store class: one transaction per image into the database the process's connection string names.
#include "workstation/store_object.h"

#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <string>

#include "foundation/trace.h"
#include "foundation/uid.h"
#include "ondrel/platform/errorinfo.h"
#include "ondrel/store.h"
#include "ondrel/workstation_config.h"
#include "workstation/store_catalog.h"
#include "workstation/stored_file_name.h"
#include "workstation/utf8.h"

namespace ondrel::workstation {
namespace {

using platform::BStr;
using platform::ComPtr;

// A failure of a store, told to the caller through error information.
struct StoreFailure {
  HRESULT code;
  std::string message;
  std::string sqlCode;
};

// The process's open databases, one connection per connection string, kept for the process: a store
// is made for every image, and a connection (and its check of the schema) for each would cost more
// than the image's rows. A connection serves one transaction at a time.
struct SharedConnection {
  std::mutex lock;
  std::unique_ptr<Database> database;
};

std::shared_ptr<SharedConnection> ConnectionFor(const std::string& connection) {
  static std::mutex lock;
  static std::map<std::string, std::shared_ptr<SharedConnection>> open;
  const std::lock_guard guard(lock);
  std::shared_ptr<SharedConnection>& entry = open[connection];
  if (!entry) entry = std::make_shared<SharedConnection>();
  return entry;
}

// The stores' trace, one for the process like the connections: the first InitializeTrace opens it.
Trace& StoreTrace() {
  static Trace trace;
  return trace;
}

std::string ConnectionString() {
  ComPtr<IGlobalConfiguration> configuration;
  const HRESULT made = CoCreateInstance(CLSID_GlobalConfiguration, nullptr, CLSCTX_ALL, IID_IGlobalConfiguration,
                                        reinterpret_cast<void**>(configuration.GetAddressOf()));
  if (FAILED(made)) throw StoreFailure{made, "The store can't create the GlobalConfiguration object.", ""};
  BStr text;
  if (configuration->GetConnectionString(text.Out()) != S_OK)
    throw StoreFailure{E_FAIL, "No database connection string has been set.", ""};
  return Utf8(text.View());
}

std::u16string TextProperty(HRESULT hr, const BStr& text) { return hr == S_OK ? text.ToString() : std::u16string(); }

// A new SOP Instance UID: the organisation's time-stamped UID and a random component, so that two
// workstations storing in one millisecond do not meet.
std::string NewImageUid() {
  static std::mutex lock;
  static std::mt19937 random{std::random_device{}()};
  const std::lock_guard guard(lock);
  return GenerateUid() + "." + std::to_string(random() % 1000000000U + 1);
}

// The database's words on one line and without double quotes, so that the serialised text that carries
// them stays well formed.
std::string OneLine(const std::string& message) {
  std::string line;
  for (const char c : message) {
    if (c == '\n' || c == '\r' || c == '\t') {
      if (!line.empty() && line.back() != ' ') line += ' ';
    } else {
      line += c == '"' ? '\'' : c;
    }
  }
  return line;
}

// The serialised form the core carries through: the database's words and its code.
std::u16string ExceptionText(const StoreFailure& failure) {
  std::string text = "<exception Message=\"" + OneLine(failure.message) + "\"";
  if (!failure.sqlCode.empty()) text += " SqlErrors=\"" + failure.sqlCode + "\"";
  return Utf16(text + "></exception>");
}

class Store final : public platform::ComObject<IStore, ISupportErrorInfo> {
 public:
  HRESULT InitializeTrace(BSTR logFile, LONG mode, LONG level) override {
    if (mode != 1) return E_INVALIDARG;
    if (logFile == nullptr || SysStringLen(logFile) == 0) return S_OK;
    StoreTrace().Open(std::u16string(logFile, SysStringLen(logFile)), level);
    return S_OK;
  }

  HRESULT StoreImage(IPatientInfoNW* patient, IStudyInfoNW* study, ISeriesInfoNW* series, IImageInfoNW* image,
                     BSTR rootPath) override {
    if (patient == nullptr || study == nullptr || series == nullptr || image == nullptr) return E_POINTER;
    try {
      const std::string connection = ConnectionString();
      const std::u16string file = PrepareImage(study, series, image, rootPath);
      const std::shared_ptr<SharedConnection> open = ConnectionFor(connection);
      const std::lock_guard guard(open->lock);
      try {
        if (!open->database) {
          auto database = OpenDatabase(connection);
          EnsureSchema(*database);
          open->database = std::move(database);
        }
        open->database->Transaction([&](Database& database) { WriteImageRows(database, patient, study, series, image); });
      } catch (const SqlError& error) {
        // A connection the server dropped is opened afresh by the next store.
        if (open->database && open->database->Broken()) open->database.reset();
        throw StoreFailure{E_FAIL, error.what(), error.code};
      }
      StoreTrace().Write(u"Store: stored " + file, 3);
      return S_OK;
    } catch (const StoreFailure& failure) {
      StoreTrace().Write("Store: " + failure.message, 1);
      return Report(failure);
    } catch (const std::bad_alloc&) {
      return Report({E_OUTOFMEMORY, "Out of memory.", ""});
    }
  }

  HRESULT InterfaceSupportsErrorInfo(REFIID riid) override { return riid == IID_IStore ? S_OK : S_FALSE; }

 private:
  // Checks the keys, gives an image without a UID one, and sets the FileName of a stored file: what
  // the row will hold. Gives the file's name, or its UID when the file is kept elsewhere.
  static std::u16string PrepareImage(IStudyInfoNW* study, ISeriesInfoNW* series, IImageInfoNW* image, BSTR root) {
    BStr text;
    const std::u16string studyUid = TextProperty(study->GetStudyInstanceUid(text.Out()), text);
    const std::u16string seriesUid = TextProperty(series->GetSeriesInstanceUid(text.Out()), text);
    if (studyUid.empty()) throw StoreFailure{E_INVALIDARG, "The study has no Study Instance UID.", ""};
    if (seriesUid.empty()) throw StoreFailure{E_INVALIDARG, "The series has no Series Instance UID.", ""};
    std::u16string sopUid = TextProperty(image->GetSopInstanceUid(text.Out()), text);
    if (sopUid.empty()) {
      sopUid = Utf16(NewImageUid());
      image->SetSopInstanceUid(BStr(sopUid).Get());
    }
    VARIANT_BOOL stored = VARIANT_FALSE;
    image->GetIsStoredFile(&stored);
    if (stored != VARIANT_TRUE) return sopUid;
    const std::u16string rootText = root != nullptr ? std::u16string(root, SysStringLen(root)) : std::u16string();
    if (rootText.empty()) throw StoreFailure{E_INVALIDARG, "The storage tree has no root folder.", ""};
    const std::u16string file = StoredFileName(rootText, studyUid, seriesUid, sopUid);
    image->SetFileName(BStr(file).Get());
    return file;
  }

  static HRESULT Report(const StoreFailure& failure) {
    ComPtr<ICreateErrorInfo> create;
    if (FAILED(CreateErrorInfo(create.GetAddressOf()))) return failure.code;
    create->SetGUID(IID_IStore);
    create->SetSource(const_cast<LPOLESTR>(u"Ondrel.Store"));
    const std::u16string text = ExceptionText(failure);
    create->SetDescription(const_cast<LPOLESTR>(text.c_str()));
    ComPtr<IErrorInfo> info;
    if (SUCCEEDED(create.As(&info))) SetErrorInfo(0, info.Get());
    return failure.code;
  }
};

}  // namespace

HRESULT RegisterStoreClass(REFCLSID clsid, LPCOLESTR progId) { return platform::RegisterComClass<Store>(clsid, progId); }

}  // namespace ondrel::workstation
