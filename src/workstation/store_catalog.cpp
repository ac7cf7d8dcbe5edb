#include "workstation/store_catalog.h"

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

#include "ondrel/platform/hresult_exception.h"
#include "workstation/utf8.h"

namespace ondrel::workstation {
namespace {

using platform::BStr;
using platform::ComPtr;

// One property of an object as one column, or two for a pair.
template <class Object>
struct Property {
  std::string name;
  const char* sqlType;
  bool pair;
  void (*read)(Object*, SqlRow&);
  void (*write)(Object*, const SqlValue*);
};

template <class Setter>
struct SetterArgument;
template <class C, class A>
struct SetterArgument<HRESULT (C::*)(A)> {
  using Type = A;
};

// Getters answer S_OK for a value and S_FALSE for "not available", which is stored as NULL.
template <class Object, auto Get, auto Set>
Property<Object> PropertyOf(const char* name) {
  if constexpr (std::is_same_v<decltype(Get), HRESULT (Object::*)(double*, double*)>) {
    return {name, "DOUBLE PRECISION", true,
            [](Object* object, SqlRow& row) {
              double first = 0.0;
              double second = 0.0;
              const bool available = (object->*Get)(&first, &second) == S_OK;
              row.push_back(available ? SqlValue(first) : SqlValue());
              row.push_back(available ? SqlValue(second) : SqlValue());
            },
            [](Object* object, const SqlValue* values) {
              if (!IsNull(values[0]) && !IsNull(values[1])) (object->*Set)(AsDouble(values[0]), AsDouble(values[1]));
            }};
  } else {
    using T = typename SetterArgument<decltype(Set)>::Type;
    if constexpr (std::is_same_v<T, BSTR>) {
      return {name, "TEXT", false,
              [](Object* object, SqlRow& row) {
                BStr text;
                if ((object->*Get)(text.Out()) == S_OK)
                  row.emplace_back(Utf8(text.View()));
                else
                  row.emplace_back();
              },
              [](Object* object, const SqlValue* values) {
                if (!IsNull(values[0])) (object->*Set)(BStr(Utf16(AsText(values[0]))).Get());
              }};
    } else {
      constexpr bool real = std::is_floating_point_v<T>;
      return {name, real ? "DOUBLE PRECISION" : "INTEGER", false,
              [](Object* object, SqlRow& row) {
                T value{};
                if ((object->*Get)(&value) != S_OK)
                  row.emplace_back();
                else if constexpr (real)
                  row.emplace_back(static_cast<double>(value));
                else
                  row.emplace_back(static_cast<long long>(value));
              },
              [](Object* object, const SqlValue* values) {
                if (IsNull(values[0])) return;
                if constexpr (real)
                  (object->*Set)(static_cast<T>(AsDouble(values[0])));
                else
                  (object->*Set)(static_cast<T>(AsInteger(values[0])));
              }};
    }
  }
}

// A session's state, not a stored fact.
bool Stored(std::string_view name) {
  return name != "MprType" && name != "MipType" && name != "VolumeType" && name != "NeedsDicomData" &&
         name != "FrameIndex";
}

#define ONDREL_PROPERTY_ROW(Kind, Name) PropertyOf<Object, &Object::Get##Name, &Object::Set##Name>(#Name),

template <class Object>
std::vector<Property<Object>> StoredOnly(std::vector<Property<Object>> all) {
  std::erase_if(all, [](const Property<Object>& property) { return !Stored(property.name); });
  return all;
}

template <class Object>
const std::vector<Property<Object>>& PropertiesOf();
template <>
const std::vector<Property<IPatientInfoNW>>& PropertiesOf() {
  using Object = IPatientInfoNW;
  static const auto properties = StoredOnly<Object>({ONDREL_PATIENT_PROPERTIES(ONDREL_PROPERTY_ROW)});
  return properties;
}
template <>
const std::vector<Property<IStudyInfoNW>>& PropertiesOf() {
  using Object = IStudyInfoNW;
  static const auto properties = StoredOnly<Object>({ONDREL_STUDY_PROPERTIES(ONDREL_PROPERTY_ROW)});
  return properties;
}
template <>
const std::vector<Property<ISeriesInfoNW>>& PropertiesOf() {
  using Object = ISeriesInfoNW;
  static const auto properties = StoredOnly<Object>({ONDREL_SERIES_PROPERTIES(ONDREL_PROPERTY_ROW)});
  return properties;
}
template <>
const std::vector<Property<IImageInfoNW>>& PropertiesOf() {
  using Object = IImageInfoNW;
  static const auto properties = StoredOnly<Object>({ONDREL_IMAGE_PROPERTIES(ONDREL_PROPERTY_ROW)});
  return properties;
}

// A table: its key column, the column that refers to the row above (none for patients), and the
// properties of its object. The patients' key is a column of its own; the others' is a property.
struct Table {
  const char* name;
  const char* key;
  const char* parentColumn;
  const char* parentTable;
};
constexpr Table kPatients{"patients", "PatientKey", nullptr, nullptr};
constexpr Table kStudies{"studies", "StudyInstanceUid", "PatientKey", "patients"};
constexpr Table kSeries{"series", "SeriesInstanceUid", "StudyInstanceUid", "studies"};
constexpr Table kImages{"images", "SopInstanceUid", "SeriesInstanceUid", "series"};

std::string Quoted(std::string_view name) { return "\"" + std::string(name) + "\""; }

// The columns of a table in order: its own key for patients, the reference up, then the properties.
template <class Object>
std::vector<std::pair<std::string, std::string>> Columns(const Table& table) {
  std::vector<std::pair<std::string, std::string>> columns;
  if (table.parentColumn == nullptr) columns.emplace_back(table.key, "TEXT");
  if (table.parentColumn != nullptr) columns.emplace_back(table.parentColumn, "TEXT");
  for (const auto& property : PropertiesOf<Object>()) {
    if (property.pair) {
      columns.emplace_back(property.name + "First", property.sqlType);
      columns.emplace_back(property.name + "Second", property.sqlType);
    } else {
      columns.emplace_back(property.name, property.sqlType);
    }
  }
  return columns;
}

template <class Object>
std::string CreateTable(const Table& table) {
  std::string sql = "CREATE TABLE IF NOT EXISTS " + std::string(table.name) + " (";
  bool first = true;
  for (const auto& [name, type] : Columns<Object>(table)) {
    sql += first ? "" : ", ";
    first = false;
    sql += Quoted(name) + " " + type;
    if (name == table.key) sql += " PRIMARY KEY";
    if (table.parentColumn != nullptr && name == table.parentColumn)
      sql += " NOT NULL REFERENCES " + std::string(table.parentTable) + "(" + Quoted(name) + ")";
  }
  return sql + ")";
}

template <class Object>
std::string Upsert(const Table& table) {
  const auto columns = Columns<Object>(table);
  std::string names;
  std::string values;
  std::string updates;
  for (std::size_t i = 0; i < columns.size(); ++i) {
    const std::string name = Quoted(columns[i].first);
    names += (i ? ", " : "") + name;
    values += (i ? ", $" : "$") + std::to_string(i + 1);
    if (columns[i].first == table.key) continue;
    updates += (updates.empty() ? "" : ", ") + name + " = excluded." + name;
  }
  return "INSERT INTO " + std::string(table.name) + " (" + names + ") VALUES (" + values + ") ON CONFLICT (" +
         Quoted(table.key) + ") DO UPDATE SET " + updates;
}

template <class Object>
void WriteRow(Database& database, const Table& table, Object* object, const SqlValue& leading) {
  static const std::string sql = Upsert<Object>(table);
  SqlRow row{leading};
  for (const auto& property : PropertiesOf<Object>()) property.read(object, row);
  database.Run(sql, row);
}

template <class Object>
ComPtr<Object> MakeObject(const CLSID& clsid) {
  ComPtr<Object> object;
  platform::ThrowIfFailed(
      CoCreateInstance(clsid, nullptr, CLSCTX_ALL, Object::kIid, reinterpret_cast<void**>(object.GetAddressOf())));
  return object;
}

// Reads a table's rows into new objects, by the key of each row, with the value of the reference up;
// with `key`, only the row of that key.
template <class Object>
std::vector<std::pair<SqlValue, ComPtr<Object>>> ReadRows(Database& database, const Table& table, const CLSID& clsid,
                                                          const std::string& order,
                                                          const std::optional<std::string>& key) {
  std::string names;
  for (const auto& [name, type] : Columns<Object>(table)) names += (names.empty() ? "" : ", ") + Quoted(name);
  std::string sql = "SELECT " + names + " FROM " + table.name;
  SqlRow parameters;
  if (key) {
    sql += " WHERE " + Quoted(table.key) + " = $1";
    parameters.emplace_back(*key);
  }
  std::vector<std::pair<SqlValue, ComPtr<Object>>> objects;
  for (const SqlRow& row : database.Run(sql + " ORDER BY " + order, parameters)) {
    ComPtr<Object> object = MakeObject<Object>(clsid);
    std::size_t column = 1;
    for (const auto& property : PropertiesOf<Object>()) {
      property.write(object.Get(), &row[column]);
      column += property.pair ? 2 : 1;
    }
    objects.emplace_back(row[0], object);
  }
  return objects;
}

// The keys of the rows to read at each level; none reads them all.
struct Keys {
  std::optional<std::string> patient;
  std::optional<std::string> study;
  std::optional<std::string> series;
  std::optional<std::string> image;
};

StoredObjects ReadLinked(Database& database, const Keys& keys) {
  StoredObjects stored;
  std::map<std::string, IPatientInfoNW*> patients;
  for (const auto& [key, patient] : ReadRows<IPatientInfoNW>(database, kPatients, CLSID_PatientInfoNW,
                                                              "\"PatientName\", \"PatientKey\"", keys.patient)) {
    stored.patients.push_back(patient);
    patients[AsText(key)] = patient.Get();
  }
  std::map<std::string, ComPtr<IStudyInfoNW>> studies;
  for (const auto& [patientKey, study] : ReadRows<IStudyInfoNW>(
           database, kStudies, CLSID_StudyInfoNW, "\"StudyDateTime\", \"StudyInstanceUid\"", keys.study)) {
    platform::ThrowIfFailed(patients.at(AsText(patientKey))->AddStudyToPatient(study.Get()));
    BStr uid;
    study->GetStudyInstanceUid(uid.Out());
    studies[Utf8(uid.View())] = study;
  }
  std::map<std::string, std::size_t> seriesIndex;
  for (const auto& [studyUid, series] : ReadRows<ISeriesInfoNW>(
           database, kSeries, CLSID_SeriesInfoNW, "\"SeriesNumber\", \"SeriesInstanceUid\"", keys.series)) {
    platform::ThrowIfFailed(studies.at(AsText(studyUid))->AddSeriesToStudy(series.Get()));
    BStr uid;
    series->GetSeriesInstanceUid(uid.Out());
    seriesIndex[Utf8(uid.View())] = stored.series.size();
    stored.series.emplace_back(series, std::vector<ComPtr<IImageInfoNW>>());
  }
  for (const auto& [seriesUid, image] : ReadRows<IImageInfoNW>(
           database, kImages, CLSID_ImageInfoNW, "\"InstanceNumber\", \"SopInstanceUid\"", keys.image))
    stored.series[seriesIndex.at(AsText(seriesUid))].second.push_back(image);
  return stored;
}

// A text property's value, empty when it is not available.
std::string TextIf(HRESULT hr, const BStr& text) { return hr == S_OK ? Utf8(text.View()) : std::string(); }

}  // namespace

void EnsureSchema(Database& database) {
  database.Transaction([](Database& db) {
    db.LockSchema();
    db.Run("CREATE TABLE IF NOT EXISTS ondrel_schema (\"version\" INTEGER NOT NULL)");
    const std::vector<SqlRow> versions = db.Run("SELECT \"version\" FROM ondrel_schema");
    if (!versions.empty() && AsInteger(versions.front().front()) > kSchemaVersion)
      throw SqlError("The database holds schema version " + AsText(versions.front().front()) +
                         ", newer than this program's " + std::to_string(kSchemaVersion) + ".",
                     "");
    db.Run(CreateTable<IPatientInfoNW>(kPatients));
    db.Run(CreateTable<IStudyInfoNW>(kStudies));
    db.Run(CreateTable<ISeriesInfoNW>(kSeries));
    db.Run(CreateTable<IImageInfoNW>(kImages));
    if (versions.empty()) db.Run("INSERT INTO ondrel_schema (\"version\") VALUES ($1)", {kSchemaVersion});
  });
}

void WriteImageRows(Database& database, IPatientInfoNW* patient, IStudyInfoNW* study, ISeriesInfoNW* series,
                    IImageInfoNW* image) {
  BStr id;
  BStr name;
  const std::string patientKey =
      TextIf(patient->GetPatientId(id.Out()), id) + "\\" + TextIf(patient->GetPatientName(name.Out()), name);
  BStr studyUid;
  BStr seriesUid;
  study->GetStudyInstanceUid(studyUid.Out());
  series->GetSeriesInstanceUid(seriesUid.Out());
  WriteRow(database, kPatients, patient, patientKey);
  WriteRow(database, kStudies, study, patientKey);
  WriteRow(database, kSeries, series, Utf8(studyUid.View()));
  WriteRow(database, kImages, image, Utf8(seriesUid.View()));
}

StoredObjects ReadStoredObjects(Database& database) {
  StoredObjects stored;
  database.Snapshot([&](Database& db) { stored = ReadLinked(db, {}); });
  return stored;
}

StoredObjects ReadStoredImage(Database& database, std::u16string_view sopInstanceUid) {
  StoredObjects stored;
  database.Snapshot([&](Database& db) {
    // The keys of the rows above the image, in one lookup by the tables' primary keys.
    const std::vector<SqlRow> found = db.Run(
        "SELECT images.\"SopInstanceUid\", series.\"SeriesInstanceUid\", studies.\"StudyInstanceUid\", "
        "studies.\"PatientKey\" FROM images "
        "JOIN series ON series.\"SeriesInstanceUid\" = images.\"SeriesInstanceUid\" "
        "JOIN studies ON studies.\"StudyInstanceUid\" = series.\"StudyInstanceUid\" "
        "WHERE images.\"SopInstanceUid\" = $1",
        {Utf8(sopInstanceUid)});
    if (found.empty()) return;
    const SqlRow& row = found.front();
    stored = ReadLinked(db, {AsText(row[3]), AsText(row[2]), AsText(row[1]), AsText(row[0])});
  });
  return stored;
}

}  // namespace ondrel::workstation
