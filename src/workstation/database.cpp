// The engine-independent half of the database: values, transactions with their retries, and the
// choice of engine by the connection string.
#include "workstation/database.h"

#include <charconv>
#include <chrono>
#include <cstdio>
#include <thread>

namespace ondrel::workstation {

std::unique_ptr<Database> OpenSqlite(const std::string& path);
std::unique_ptr<Database> OpenPostgres(const std::string& uri);

namespace {

// Tries of a transaction that meets a busy database. SQLite waits up to 30 seconds for a lock before
// it reports one busy, so a busy report means a long wait already; PostgreSQL reports a deadlock or a
// serialisation failure at once, and the second try nearly always passes.
constexpr int kTries = 8;

}  // namespace

bool IsNull(const SqlValue& value) { return std::holds_alternative<std::monostate>(value); }

long long AsInteger(const SqlValue& value) {
  if (const auto* number = std::get_if<long long>(&value)) return *number;
  if (const auto* real = std::get_if<double>(&value)) return static_cast<long long>(*real);
  if (const auto* text = std::get_if<std::string>(&value)) {
    long long number = 0;
    std::from_chars(text->data(), text->data() + text->size(), number);
    return number;
  }
  return 0;
}

double AsDouble(const SqlValue& value) {
  if (const auto* real = std::get_if<double>(&value)) return *real;
  if (const auto* number = std::get_if<long long>(&value)) return static_cast<double>(*number);
  if (const auto* text = std::get_if<std::string>(&value)) {
    double real = 0.0;
    std::from_chars(text->data(), text->data() + text->size(), real);
    return real;
  }
  return 0.0;
}

std::string AsText(const SqlValue& value) {
  if (const auto* text = std::get_if<std::string>(&value)) return *text;
  if (const auto* number = std::get_if<long long>(&value)) return std::to_string(*number);
  if (const auto* real = std::get_if<double>(&value)) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%.17g", *real);
    return buffer;
  }
  return {};
}

void Database::Transaction(const std::function<void(Database&)>& work) {
  for (int attempt = 1;; ++attempt) {
    try {
      Begin();
      work(*this);
      Commit();
      return;
    } catch (const SqlError& error) {
      Rollback();
      if (!error.retry || attempt == kTries) throw;
    } catch (...) {
      Rollback();
      throw;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10 * attempt));
  }
}

void Database::Snapshot(const std::function<void(Database&)>& work) {
  BeginSnapshot();
  try {
    work(*this);
  } catch (...) {
    Rollback();
    throw;
  }
  Commit();
}

bool IsPostgresConnection(std::string_view connection) {
  return connection.starts_with("postgresql://") || connection.starts_with("postgres://");
}

std::unique_ptr<Database> OpenDatabase(std::string_view connection) {
  if (connection.empty()) throw SqlError("The database connection string is empty.", "");
  const std::string text(connection);
  return IsPostgresConnection(connection) ? OpenPostgres(text) : OpenSqlite(text);
}

}  // namespace ondrel::workstation
