#pragma once
// What can be wrong with a database file before the program works on it, each as the end of a
// sentence that names the file, or empty; and the switch to WAL that waits for other programs.
#include <string>

#include "data/sqlite/SqliteConnection.h"

struct sqlite3;

namespace data::sqlite {

bool busy(int rc);
bool damaged(int rc);
std::string lockedProblem(const OpenOptions& options);
int switchToWal(sqlite3* db, int timeoutMs);
std::string accessProblem(sqlite3* db, const std::string& path);
std::string fileProblem(sqlite3* db, const OpenOptions& options);
std::string procedureProblem(const std::string& folder);

}  // namespace data::sqlite
