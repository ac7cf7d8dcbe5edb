// The workstation's database, behind one small interface for its two engines: a SQLite file, the
// default of a single workstation, and a PostgreSQL server that several workstations share.
//
// Statements are written once for both: parameters are $1, $2, ... in the order they first appear,
// identifiers are double-quoted, types are TEXT, INTEGER and DOUBLE PRECISION, and rows are written
// with INSERT ... ON CONFLICT ... DO UPDATE.
#pragma once

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace ondrel::workstation {

// A value of a statement or a row: NULL, an integer, a double or UTF-8 text. A PostgreSQL row gives
// its numbers as text: read them with AsInteger and AsDouble.
using SqlValue = std::variant<std::monostate, long long, double, std::string>;
using SqlRow = std::vector<SqlValue>;

bool IsNull(const SqlValue& value);
long long AsInteger(const SqlValue& value);
double AsDouble(const SqlValue& value);
std::string AsText(const SqlValue& value);

// A failure of the database: its own message, and its code (a SQLSTATE, or SQLite's extended result
// code in decimal). `retry` marks a failure that the same transaction may not meet again (a busy
// database, a serialisation failure, a deadlock).
struct SqlError : std::runtime_error {
  SqlError(const std::string& message, std::string sqlCode, bool mayRetry = false)
      : std::runtime_error(message), code(std::move(sqlCode)), retry(mayRetry) {}
  std::string code;
  bool retry;
};

class Database {
 public:
  virtual ~Database() = default;

  // Runs one statement with its parameters and gives its rows. Throws SqlError.
  std::vector<SqlRow> Run(const std::string& sql, const SqlRow& parameters = {}) { return Execute(sql, parameters); }
  // Runs `work` in one transaction that takes the database's write lock at once, commits it, and
  // runs it again from the start when it fails with a failure to retry, a few times, pausing
  // between tries. Any other failure rolls the transaction back and is thrown.
  void Transaction(const std::function<void(Database&)>& work);
  // Runs `work`, which only reads, in one transaction that sees the database as it stood when its
  // first statement ran, whatever others commit meanwhile, and takes no write lock. A failure ends the
  // transaction and is thrown.
  void Snapshot(const std::function<void(Database&)>& work);
  // Whether a statement that failed left the connection unusable (a server gone away).
  virtual bool Broken() const { return false; }
  // Inside a transaction: the lock that serialises the creation of the schema among the database's
  // users; nothing where the write lock the transaction took already does.
  virtual void LockSchema() {}

 protected:
  virtual std::vector<SqlRow> Execute(const std::string& sql, const SqlRow& parameters) = 0;
  virtual void Begin() = 0;
  virtual void BeginSnapshot() = 0;
  virtual void Commit() = 0;
  virtual void Rollback() noexcept = 0;
};

// Opens the database that `connection` names: a "postgresql://" or "postgres://" URI through libpq,
// else a SQLite file, created when missing, in write-ahead-log mode with foreign keys enforced and a
// wait of up to 30 seconds for a lock. Throws SqlError when it can't be opened.
std::unique_ptr<Database> OpenDatabase(std::string_view connection);

// Whether `connection` names a PostgreSQL server.
bool IsPostgresConnection(std::string_view connection);

}  // namespace ondrel::workstation
