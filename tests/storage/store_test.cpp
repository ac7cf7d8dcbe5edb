// The Store and the disk storage against a real database: a SQLite file (Sqlite/...) and a PostgreSQL
// server (Postgres/..., run by tests/storage/with_postgres), the same cases for both. Rows are read
// back with the databases' own clients, sqlite3 and psql.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <random>
#include <set>

#include "dicom/dicom_dictionary.h"
#include "dicom/vr.h"
#include "foundation/settings_helper.h"
#include "ondrel/platform/errorinfo.h"
#include "ondrel/store.h"
#include "ondrel/study_builder.h"
#include "ondrel/workstation_config.h"
#include "storage/dicom_to_sql.h"
#include "storage/disk_storage.h"
#include "workstation/database.h"
#include "workstation/graph_support.h"

namespace {

using namespace workstation_test;
using DicomEngine::DicomData;
namespace fs = std::filesystem;

const DicomEngine::SyntaxRecord kImplicitLittle{DicomEngine::kLittleEndian, DicomEngine::kImplicitVR};

std::string Output(const std::string& command) {
  std::string out;
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), &pclose);
  char buffer[4096];
  while (pipe && std::fgets(buffer, sizeof buffer, pipe.get()) != nullptr) out += buffer;
  while (!out.empty() && out.back() == '\n') out.pop_back();
  return out;
}

// A storage tree and an empty database of the test's own, named in the settings and handed to the
// stores as the core does; all put back afterwards.
class Storage : public ::testing::TestWithParam<const char*> {
 protected:
  void SetUp() override {
    DicomEngine::DicomDictionary::Instance().Load(ONDREL_DATA_DIR "/dicom_dictionary.txt");
    fs::create_directories(folder_);
    if (std::string(GetParam()) == "sqlite") {
      connection_ = (folder_ / "ondrel.sqlite").string();
    } else {
      const char* server = std::getenv("ONDREL_TEST_POSTGRES");
      ASSERT_NE(server, nullptr) << "run under tests/storage/with_postgres, which starts the server";
      const std::string name = "store_" + std::to_string(std::random_device()());
      ASSERT_EQ(std::system(("psql -q '" + std::string(server) + "' -c 'CREATE DATABASE " + name + "'").c_str()), 0);
      connection_ = std::string(server).substr(0, std::string(server).rfind('/') + 1) + name;
    }
    SettingsHelper::Instance().Override("DICOMfiles", root_.string());
    SettingsHelper::Instance().Override("DbConnectionString", connection_);
  }
  void TearDown() override {
    SettingsHelper::Instance().ClearOverride("DICOMfiles");
    SettingsHelper::Instance().ClearOverride("DbConnectionString");
    fs::remove_all(folder_);
  }

  // The first column of the first row, through the database's own client.
  std::string Query(const std::string& sql) const {
    if (std::string(GetParam()) == "sqlite") return Output("sqlite3 -batch '" + connection_ + "' '" + sql + "'");
    return Output("psql -At '" + connection_ + "' -c '" + sql + "'");
  }

  // A store, its connection set as the core sets it.
  ComPtr<IStore> MakeStore() const { return DicomToSQL::CreateStore(); }

  const ClassesRegistered registered_;
  const fs::path folder_ = fs::temp_directory_path() / ("ondrel-store-test-" + std::to_string(std::random_device()()));
  const fs::path root_ = folder_ / "tree";
  std::string connection_;
};

void SetUids(const Graph& graph, const std::u16string& study, const std::u16string& series, const std::u16string& sop) {
  graph.study->SetStudyInstanceUid(BStr(study).Get());
  graph.series->SetSeriesInstanceUid(BStr(series).Get());
  graph.image->SetSopInstanceUid(BStr(sop).Get());
}

HRESULT Store(IStore* store, const Graph& graph, const std::string& root) {
  return store->StoreImage(graph.patient.Get(), graph.study.Get(), graph.series.Get(), graph.image.Get(),
                           BStr(std::u16string(root.begin(), root.end())).Get());
}

std::string ErrorDescription() {
  ComPtr<IErrorInfo> info;
  if (GetErrorInfo(0, info.GetAddressOf()) != S_OK) return "(none)";
  BStr text;
  info->GetDescription(text.Out());
  return std::string(text.View().begin(), text.View().end());
}

TEST_P(Storage, StoringAnImageTwiceUpdatesItsRowsAndAddsNone) {
  const Graph graph;
  SetUids(graph, u"1.2.3", u"1.2.3.4", u"1.2.3.4.5");
  graph.patient->SetPatientName(BStr(u"M\u00fcller^J\u00f6rg").Get());
  graph.series->SetSeriesDescription(BStr(u"first").Get());
  graph.image->SetPixelSpacing(0.1, 1.0 / 3.0);
  graph.image->SetAcquisitionDateTime(41707.5);
  graph.image->SetFileName(BStr(u"/images/a.dcm").Get());
  const ComPtr<IStore> store = MakeStore();
  ASSERT_EQ(Store(store.Get(), graph, root_.string()), S_OK) << ErrorDescription();
  graph.series->SetSeriesDescription(BStr(u"second").Get());
  ASSERT_EQ(Store(store.Get(), graph, root_.string()), S_OK) << ErrorDescription();

  EXPECT_EQ(Query("SELECT count(*) FROM images") + Query("SELECT count(*) FROM series") +
                Query("SELECT count(*) FROM studies") + Query("SELECT count(*) FROM patients"),
            "1111");
  EXPECT_EQ(Query("SELECT \"SeriesDescription\" FROM series"), "second");
  EXPECT_EQ(Query("SELECT \"PatientName\" FROM patients"), "M\u00fcller^J\u00f6rg");
  EXPECT_EQ(Query("SELECT \"WindowCenter\" IS NULL FROM images"), std::string(GetParam()) == "sqlite" ? "1" : "t");
  EXPECT_EQ(Query("SELECT \"FileName\" FROM images"), "/images/a.dcm");

  // What the database gives back are the values stored, to the last bit.
  const ondrel::StudyGraph stored = ondrel::OpenStoredStudies(connection_);
  ASSERT_EQ(stored.series.size(), 1U);
  const auto images = ImagesOf(stored.series[0].Get());
  ASSERT_EQ(images.size(), 1U);
  double x = 0.0;
  double y = 0.0;
  DATE acquired = 0.0;
  EXPECT_EQ(images[0]->GetPixelSpacing(&x, &y), S_OK);
  EXPECT_EQ(x, 0.1);
  EXPECT_EQ(y, 1.0 / 3.0);
  images[0]->GetAcquisitionDateTime(&acquired);
  EXPECT_EQ(acquired, 41707.5);
  LONG center = 0;
  EXPECT_EQ(images[0]->GetWindowCenter(&center), S_FALSE);
  EXPECT_EQ(ReadText(stored.patients[0].Get(), &IPatientInfoNW::GetPatientName), u"M\u00fcller^J\u00f6rg");
}

// Whatever the UIDs hold, a stored file lands three levels below the root, and distinct UIDs never
// share a file.
TEST_P(Storage, HostileUidsCanNeverLeadOutOfTheRoot) {
  const std::u16string longUid(200, u'1');
  const struct {
    const char* what;
    std::u16string study, series, sop;
  } cases[] = {
      {"parent folders", u"../../x", u"..", u"../../../etc/passwd"},
      {"slashes", u"/abs/olute", u"a/b", u"1.2/3"},
      {"empty components and leading zeros", u"1..2", u".", u"01.2"},
      {"an empty image UID is given a new one", u"1.2", u"1.2.3", u""},
      {"200 characters", longUid, longUid + u"2", longUid + u"3"},
      {"a well-formed UID beside them", u"1.2", u"1.2.3", u"1.2.3.4"},
  };
  const ComPtr<IStore> store = MakeStore();
  std::set<fs::path> files;
  for (const auto& c : cases) {
    const Graph graph;
    SetUids(graph, c.study, c.series, c.sop);
    graph.image->SetIsStoredFile(VARIANT_TRUE);
    ASSERT_EQ(Store(store.Get(), graph, root_.string()), S_OK) << c.what << ": " << ErrorDescription();
    const std::u16string name = ReadText(graph.image.Get(), &IImageInfoNW::GetFileName);
    const fs::path file = fs::path(std::string(name.begin(), name.end())).lexically_normal();
    EXPECT_EQ(file.parent_path().parent_path().parent_path(), root_) << c.what << ": " << file;
    EXPECT_EQ(file.extension(), ".dcm") << c.what;
    EXPECT_TRUE(files.insert(file).second) << c.what << ": two images share " << file;
  }
  EXPECT_EQ(Query("SELECT count(*) FROM images"), "6");

  // A study without its UID would merge with every other one: refused.
  const Graph graph;
  SetUids(graph, u"", u"1.2.3", u"1.2.3.9");
  EXPECT_EQ(Store(store.Get(), graph, root_.string()), E_INVALIDARG);
  EXPECT_NE(ErrorDescription().find("The study has no Study Instance UID."), std::string::npos);
}

// One image read back by its UID brings its own series, study and patient and nothing of the others.
TEST_P(Storage, OneStoredImageIsReadBackWithItsParentsAlone) {
  const ComPtr<IStore> store = MakeStore();
  const struct {
    const char16_t* patient;
    std::u16string study, series, sop;
  } images[] = {{u"P1", u"1.2.1", u"1.2.1.1", u"1.2.1.1.1"},
                {u"P1", u"1.2.1", u"1.2.1.1", u"1.2.1.1.2"},
                {u"P1", u"1.2.1", u"1.2.1.2", u"1.2.1.2.1"},
                {u"P2", u"1.2.2", u"1.2.2.1", u"1.2.2.1.1"}};
  for (const auto& image : images) {
    const Graph graph;
    graph.patient->SetPatientId(BStr(image.patient).Get());
    SetUids(graph, image.study, image.series, image.sop);
    graph.image->SetIsStoredFile(VARIANT_TRUE);
    ASSERT_EQ(Store(store.Get(), graph, root_.string()), S_OK) << ErrorDescription();
  }

  const ondrel::StudyGraph found = ondrel::OpenStoredImage(connection_, u"1.2.1.1.2");
  ASSERT_EQ(found.patients.size(), 1U);
  EXPECT_EQ(ReadText(found.patients[0].Get(), &IPatientInfoNW::GetPatientId), u"P1");
  ASSERT_EQ(found.series.size(), 1U);
  EXPECT_EQ(ReadText(found.series[0].Get(), &ISeriesInfoNW::GetSeriesInstanceUid), u"1.2.1.1");
  ComPtr<IStudyInfoNW> study;
  ASSERT_EQ(found.series[0]->GetStudy(study.GetAddressOf()), S_OK);
  EXPECT_EQ(ReadText(study.Get(), &IStudyInfoNW::GetStudyInstanceUid), u"1.2.1");
  const auto stored = ImagesOf(found.series[0].Get());
  ASSERT_EQ(stored.size(), 1U);
  EXPECT_EQ(ReadText(stored[0].Get(), &IImageInfoNW::GetSopInstanceUid), u"1.2.1.1.2");
  const std::u16string file = ReadText(stored[0].Get(), &IImageInfoNW::GetFileName);
  EXPECT_EQ(fs::path(std::string(file.begin(), file.end())).filename(), "1.2.1.1.2.dcm");

  const ondrel::StudyGraph missing = ondrel::OpenStoredImage(connection_, u"1.2.9");
  EXPECT_TRUE(missing.patients.empty());
  EXPECT_TRUE(missing.series.empty());
  EXPECT_EQ(ondrel::OpenStoredStudies(connection_).series.size(), 3U);
}

// A reading snapshot sees the database as it stood at its first read while another connection
// stores an image, and the store neither waits for it nor fails.
TEST_P(Storage, ASnapshotReadsOneStateWhileAnotherConnectionStores) {
  const ComPtr<IStore> store = MakeStore();
  const auto storeImage = [&](const char16_t* sop) {
    const Graph graph;
    SetUids(graph, u"1.2.1", u"1.2.1.1", sop);
    graph.image->SetIsStoredFile(VARIANT_TRUE);
    return Store(store.Get(), graph, root_.string());
  };
  ASSERT_EQ(storeImage(u"1.2.1.1.1"), S_OK) << ErrorDescription();
  const std::unique_ptr<ondrel::workstation::Database> reader = ondrel::workstation::OpenDatabase(connection_);
  const auto count = [](ondrel::workstation::Database& db) {
    return ondrel::workstation::AsInteger(db.Run("SELECT count(*) FROM images").front().front());
  };
  reader->Snapshot([&](ondrel::workstation::Database& db) {
    EXPECT_EQ(count(db), 1);
    EXPECT_EQ(storeImage(u"1.2.1.1.2"), S_OK) << ErrorDescription();
    EXPECT_EQ(count(db), 1);
  });
  EXPECT_EQ(count(*reader), 2);
}

std::unique_ptr<DicomData> DataSet(bool withSopInstanceUid = true) {
  auto made = std::make_unique<DicomData>(true);
  DicomData& data = *made;
  const auto add = [&](std::uint16_t group, std::uint16_t element, const char* vr, const char* text) {
    auto value = std::string(vr) == "UI"
                     ? std::make_unique<DicomEngine::VRUniqueIdentifier>(vr, group, element, 0, std::string())
                     : std::make_unique<DicomEngine::VRString>(vr, group, element, 0, std::string());
    value->SetValue(text);
    data.AddSorted(std::move(value));
  };
  if (withSopInstanceUid) add(0x0008, 0x0018, "UI", "1.2.826.0.1.3680043.2.1");
  add(0x0008, 0x0060, "CS", "OT");
  add(0x0010, 0x0010, "PN", "Test^Disk");
  add(0x0020, 0x000D, "UI", "1.2.826.0.1.3680043.2");
  add(0x0020, 0x000E, "UI", "1.2.826.0.1.3680043.2.5");
  return made;
}

TEST_P(Storage, AStoredFileIsWrittenWhereTheDatabaseSaysAndReadsBack) {
  const std::unique_ptr<DicomData> owned = DataSet();
  DicomData& data = *owned;
  char uid[64];
  DiskStorage::StoreDicomData(data, uid, nullptr, true, kImplicitLittle, DicomEngine::kImplicitVRLittleEndianUid);
  EXPECT_STREQ(uid, "1.2.826.0.1.3680043.2.1");
  const std::string file = Query("SELECT \"FileName\" FROM images");
  EXPECT_EQ(file, (root_ / "1.2.826.0.1.3680043.2/1.2.826.0.1.3680043.2.5/1.2.826.0.1.3680043.2.1.dcm").string());
  // The missing transfer syntax was completed before the record, and dcmdump reads the file whole.
  EXPECT_EQ(Query("SELECT \"TransferSyntaxUid\" FROM images"), "1.2.840.10008.1.2");
  EXPECT_EQ(Output("dcmdump -q +P 0002,0010 '" + file + "'").substr(0, 36), "(0002,0010) UI =LittleEndianImplicit");
  EXPECT_EQ(Output("dcmdump -q '" + file + "' >/dev/null 2>&1; echo $?"), "0");

  // Folders that exist are no failure; the row is updated.
  const std::unique_ptr<DicomData> second = DataSet();
  DicomData& again = *second;
  DiskStorage::StoreDicomData(again, nullptr, nullptr, true, kImplicitLittle, DicomEngine::kImplicitVRLittleEndianUid);
  EXPECT_EQ(Query("SELECT count(*) FROM images"), "1");
}

TEST_P(Storage, AFileRecordedInPlaceMakesNoFolderAndKeepsItsPath) {
  const std::unique_ptr<DicomData> owned = DataSet();
  DicomData& data = *owned;
  auto syntax = std::make_unique<DicomEngine::VRUniqueIdentifier>("UI", 0x0002, 0x0010, 0, std::string());
  syntax->SetValue("1.2.840.10008.1.2.1");  // disagrees with the syntax given, and is kept
  data.AddSorted(std::move(syntax));
  DiskStorage::StoreDicomData(data, nullptr, "/archive/x.dcm", false, kImplicitLittle,
                              DicomEngine::kImplicitVRLittleEndianUid);
  EXPECT_FALSE(fs::exists(root_));
  EXPECT_EQ(Query("SELECT \"FileName\" FROM images"), "/archive/x.dcm");
  EXPECT_EQ(Query("SELECT \"TransferSyntaxUid\" FROM images"), "1.2.840.10008.1.2.1");
}

TEST_P(Storage, ADataSetWithoutSopInstanceUidGivesAnEmptyUid) {
  const std::unique_ptr<DicomData> owned = DataSet(false);
  DicomData& data = *owned;
  char uid[64] = "unchanged";
  DiskStorage::StoreDicomData(data, uid, "/archive/y.dcm", false, kImplicitLittle,
                              DicomEngine::kImplicitVRLittleEndianUid);
  EXPECT_STREQ(uid, "");
  // The store keyed the image by a new UID of the organisation's root.
  EXPECT_EQ(Query("SELECT substr(\"SopInstanceUid\", 1, 18) FROM images"), "1.3.6.1.4.1.77777.");
}

TEST_P(Storage, ARefusedDatabaseFailsWithTheStoresOwnWordsAndWritesNoFile) {
  const std::string refused = std::string(GetParam()) == "sqlite" ? (folder_ / "missing/ondrel.sqlite").string()
                                                                  : "postgresql://postgres@127.0.0.1:1/none";
  SettingsHelper::Instance().Override("DbConnectionString", refused);
  const std::unique_ptr<DicomData> owned = DataSet();
  DicomData& data = *owned;
  try {
    DiskStorage::StoreDicomData(data, nullptr, nullptr, true, kImplicitLittle, DicomEngine::kImplicitVRLittleEndianUid);
    ADD_FAILURE() << "the store did not fail";
  } catch (const SerializableException& failure) {
    EXPECT_STREQ(failure.what(), "Failed to store the image into the database. HRESULT=80004005");
    const std::u16string details = failure.Details();
    const std::string text(details.begin(), details.end());
    EXPECT_NE(text.find(std::string(GetParam()) == "sqlite" ? "unable to open database file" : "Connection refused"),
              std::string::npos) << text;
    EXPECT_NE(text.find(std::string(GetParam()) == "sqlite" ? "SqlErrors=\"14\"" : "SqlErrors=\"08001\""),
              std::string::npos) << text;
  }
  EXPECT_FALSE(fs::exists(root_));
}

TEST_P(Storage, FoldersAreMadeTwoLevelsDownAndAMissingParentOfTheRootFails) {
  const std::string root = root_.string();
  FolderGenerator::CreateFolders(root, root + "/study/series/deeper/file.dcm");
  FolderGenerator::CreateFolders(root, root + "/study/series/deeper/file.dcm");
  EXPECT_TRUE(fs::is_directory(root_ / "study/series"));
  EXPECT_FALSE(fs::exists(root_ / "study/series/deeper"));
  EXPECT_EQ(MessageOf([&] { FolderGenerator::CreateFolders(root + "/no/root", root + "/no/root/a/b/c"); })
                .substr(0, 55),
            "Failed to create the root directory, Last error is: 3\r\n");
}

INSTANTIATE_TEST_SUITE_P(Sqlite, Storage, ::testing::Values("sqlite"));
INSTANTIATE_TEST_SUITE_P(Postgres, Storage, ::testing::Values("postgresql"));

}  // namespace
