// The workstation's database on a PostgreSQL server, through libpq.
#include <libpq-fe.h>

#include <cstdio>
#include <memory>
#include <string>

#include "workstation/database.h"

namespace ondrel::workstation {
namespace {

// An arbitrary number that names the schema's advisory lock among the server's users.
constexpr long long kSchemaLockKey = 0x4F4E4452454CLL;

struct ResultDeleter {
  void operator()(PGresult* result) const { PQclear(result); }
};
using Result = std::unique_ptr<PGresult, ResultDeleter>;

// The server's message without the line break libpq ends it with.
std::string Trimmed(const char* message) {
  std::string text = message != nullptr ? message : "";
  while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) text.pop_back();
  return text;
}

class PostgresDatabase final : public Database {
 public:
  explicit PostgresDatabase(const std::string& uri) : connection_(PQconnectdb(uri.c_str())) {
    if (connection_ == nullptr) throw SqlError("Cannot connect to the PostgreSQL server: out of memory.", "");
    if (PQstatus(connection_) != CONNECTION_OK) {
      const std::string message = Trimmed(PQerrorMessage(connection_));
      PQfinish(connection_);
      // 08001: the client could not establish the connection.
      throw SqlError("Cannot connect to the PostgreSQL server: " + message, "08001");
    }
    Run("SET client_min_messages TO WARNING");
  }
  ~PostgresDatabase() override { PQfinish(connection_); }

  std::vector<SqlRow> Execute(const std::string& sql, const SqlRow& parameters) override {
    std::vector<std::string> texts(parameters.size());
    std::vector<const char*> values(parameters.size(), nullptr);
    for (std::size_t i = 0; i < parameters.size(); ++i) {
      if (IsNull(parameters[i])) continue;
      texts[i] = AsText(parameters[i]);
      values[i] = texts[i].c_str();
    }
    const Result result(PQexecParams(connection_, sql.c_str(), static_cast<int>(values.size()), nullptr,
                                     values.data(), nullptr, nullptr, 0));
    const ExecStatusType status = result ? PQresultStatus(result.get()) : PGRES_FATAL_ERROR;
    if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK) {
      const char* state = result ? PQresultErrorField(result.get(), PG_DIAG_SQLSTATE) : nullptr;
      const std::string code = state != nullptr ? state : "08006";
      // Serialisation failures and deadlocks pass on a second try; so does a unique violation that
      // a concurrent first insert of the same key caused outside an upsert.
      const bool retry = code == "40001" || code == "40P01" || code == "23505";
      throw SqlError(Trimmed(result ? PQresultErrorMessage(result.get()) : PQerrorMessage(connection_)), code, retry);
    }
    std::vector<SqlRow> rows;
    for (int row = 0; row < PQntuples(result.get()); ++row) {
      SqlRow fields;
      for (int column = 0; column < PQnfields(result.get()); ++column) {
        if (PQgetisnull(result.get(), row, column))
          fields.emplace_back();
        else
          fields.emplace_back(std::string(PQgetvalue(result.get(), row, column),
                                          static_cast<std::size_t>(PQgetlength(result.get(), row, column))));
      }
      rows.push_back(std::move(fields));
    }
    return rows;
  }

  bool Broken() const override { return PQstatus(connection_) != CONNECTION_OK; }
  void LockSchema() override { Run("SELECT pg_advisory_xact_lock($1)", {kSchemaLockKey}); }

 protected:
  void Begin() override { Run("BEGIN"); }
  void BeginSnapshot() override { Run("BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY"); }
  void Commit() override { Run("COMMIT"); }
  void Rollback() noexcept override {
    if (PQtransactionStatus(connection_) != PQTRANS_IDLE) PQclear(PQexec(connection_, "ROLLBACK"));
  }

 private:
  PGconn* connection_;
};

}  // namespace

std::unique_ptr<Database> OpenPostgres(const std::string& uri) { return std::make_unique<PostgresDatabase>(uri); }

}  // namespace ondrel::workstation
