// The workstation's database in a SQLite file.
#include <sqlite3.h>

#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <thread>

#include "workstation/database.h"

namespace ondrel::workstation {
namespace {

constexpr int kLockWaitMilliseconds = 30000;

bool Busy(int code) {
  const int primary = code & 0xFF;
  return primary == SQLITE_BUSY || primary == SQLITE_LOCKED;
}

class SqliteDatabase final : public Database {
 public:
  explicit SqliteDatabase(const std::string& path) {
    const int opened = sqlite3_open_v2(path.c_str(), &db_,
                                       SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX, nullptr);
    if (opened != SQLITE_OK) {
      const std::string message = db_ != nullptr ? sqlite3_errmsg(db_) : sqlite3_errstr(opened);
      sqlite3_close_v2(db_);
      db_ = nullptr;
      throw SqlError("Cannot open the SQLite database " + path + ": " + message, std::to_string(opened));
    }
    sqlite3_extended_result_codes(db_, 1);
    sqlite3_busy_timeout(db_, kLockWaitMilliseconds);
    // Write-ahead logging lets readers go on while a workstation stores, and keeps the file whole
    // when a process dies mid-transaction. Its commits reach the disk at each checkpoint rather than
    // each commit: a power cut may take back the last commits, never a part of one, and the files
    // those rows name were not forced to the disk either (storing again records them).
    TurnOnWriteAheadLog();
    Run("PRAGMA synchronous=NORMAL");
    Run("PRAGMA foreign_keys=ON");
  }
  ~SqliteDatabase() override {
    statements_.clear();
    sqlite3_close_v2(db_);
  }

  std::vector<SqlRow> Execute(const std::string& sql, const SqlRow& parameters) override {
    sqlite3_stmt* statement = Prepare(sql);
    sqlite3_reset(statement);
    sqlite3_clear_bindings(statement);
    for (std::size_t i = 0; i < parameters.size(); ++i) Bind(statement, sql, i + 1, parameters[i]);
    std::vector<SqlRow> rows;
    while (true) {
      const int step = sqlite3_step(statement);
      if (step == SQLITE_DONE) break;
      if (step != SQLITE_ROW) {
        sqlite3_reset(statement);
        throw Failure(step);
      }
      SqlRow row;
      for (int column = 0; column < sqlite3_column_count(statement); ++column) row.push_back(Column(statement, column));
      rows.push_back(std::move(row));
    }
    sqlite3_reset(statement);
    return rows;
  }

 protected:
  // IMMEDIATE takes the write lock at once: two writers never both read and then both wait to write.
  void Begin() override { Run("BEGIN IMMEDIATE"); }
  // A deferred transaction reads from one snapshot of the write-ahead log, from its first read on.
  void BeginSnapshot() override { Run("BEGIN DEFERRED"); }
  void Commit() override { Run("COMMIT"); }
  void Rollback() noexcept override {
    if (sqlite3_get_autocommit(db_) == 0) sqlite3_exec(db_, "ROLLBACK", nullptr, nullptr, nullptr);
  }

 private:
  struct StatementDeleter {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };

  // Two processes opening a new file at once race to change its journal, and SQLite tells the one
  // that finds the other mid-change that the file is busy without waiting for the lock: it tries again.
  void TurnOnWriteAheadLog() {
    constexpr int kTries = 50;
    for (int attempt = 1;; ++attempt) {
      try {
        Run("PRAGMA journal_mode=WAL");
        return;
      } catch (const SqlError& error) {
        if (!error.retry || attempt == kTries) throw;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
  }

  SqlError Failure(int code) const {
    return SqlError(sqlite3_errmsg(db_), std::to_string(code), Busy(code));
  }

  sqlite3_stmt* Prepare(const std::string& sql) {
    auto found = statements_.find(sql);
    if (found != statements_.end()) return found->second.get();
    sqlite3_stmt* statement = nullptr;
    const int prepared = sqlite3_prepare_v2(db_, sql.c_str(), static_cast<int>(sql.size()), &statement, nullptr);
    if (prepared != SQLITE_OK) throw Failure(prepared);
    return statements_.emplace(sql, std::unique_ptr<sqlite3_stmt, StatementDeleter>(statement)).first->second.get();
  }

  void Bind(sqlite3_stmt* statement, const std::string& sql, std::size_t position, const SqlValue& value) {
    const std::string name = "$" + std::to_string(position);
    const int index = sqlite3_bind_parameter_index(statement, name.c_str());
    if (index == 0) throw SqlError("The statement has no parameter " + name + ": " + sql, "");
    int bound = SQLITE_OK;
    if (const auto* number = std::get_if<long long>(&value))
      bound = sqlite3_bind_int64(statement, index, *number);
    else if (const auto* real = std::get_if<double>(&value))
      bound = sqlite3_bind_double(statement, index, *real);
    else if (const auto* text = std::get_if<std::string>(&value))
      bound = sqlite3_bind_text(statement, index, text->data(), static_cast<int>(text->size()), SQLITE_TRANSIENT);
    else
      bound = sqlite3_bind_null(statement, index);
    if (bound != SQLITE_OK) throw Failure(bound);
  }

  static SqlValue Column(sqlite3_stmt* statement, int column) {
    switch (sqlite3_column_type(statement, column)) {
      case SQLITE_INTEGER:
        return static_cast<long long>(sqlite3_column_int64(statement, column));
      case SQLITE_FLOAT:
        return sqlite3_column_double(statement, column);
      case SQLITE_NULL:
        return {};
      default: {
        const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
        return std::string(text, static_cast<std::size_t>(sqlite3_column_bytes(statement, column)));
      }
    }
  }

  sqlite3* db_ = nullptr;
  std::map<std::string, std::unique_ptr<sqlite3_stmt, StatementDeleter>> statements_;
};

}  // namespace

std::unique_ptr<Database> OpenSqlite(const std::string& path) { return std::make_unique<SqliteDatabase>(path); }

}  // namespace ondrel::workstation
