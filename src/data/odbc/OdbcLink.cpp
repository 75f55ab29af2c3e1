#include "data/odbc/OdbcLink.h"

#include <algorithm>

#include "common/Error.h"
#include "common/Utf8.h"

namespace data::odbc::detail {

void fail(const std::string& text) { throw common::Error(common::err::Database, kSource, text); }

Diagnostics diagnostics(SQLSMALLINT handleType, SQLHANDLE handle) {
    Diagnostics out;
    std::u16string message(SQL_MAX_MESSAGE_LENGTH + 1, u'\0');
    for (SQLSMALLINT rec = 1;; ++rec) {
        SQLWCHAR state[SQL_SQLSTATE_SIZE + 1] = {};
        SQLINTEGER native = 0;
        SQLSMALLINT length = 0;
        auto get = [&] {
            return SQLGetDiagRecW(handleType, handle, rec, state, &native, wide(message),
                                  static_cast<SQLSMALLINT>(message.size()), &length);
        };
        SQLRETURN r = get();
        if (r == SQL_SUCCESS_WITH_INFO && static_cast<size_t>(length) >= message.size()) {
            message.assign(static_cast<size_t>(length) + 1, u'\0');
            r = get();
        }
        if (!SQL_SUCCEEDED(r)) break;
        std::string text = common::fromUtf16(
            std::u16string_view(message.data(), std::min<size_t>(length, message.size() - 1)));
        while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
        out.lockTimeout = out.lockTimeout || native == kLockTimeoutError;
        out.linkLost = out.linkLost || (state[0] == '0' && state[1] == '8');
        if (text.empty()) continue;
        if (!out.text.empty()) out.text += "; ";
        out.text += text;
    }
    return out;
}

Link::~Link() {
    pending.clear();
    prepared.clear();
    disconnect();
    if (env) SQLFreeHandle(SQL_HANDLE_ENV, env);
}

void Link::raise(Diagnostics d, SQLRETURN r) {
    // Not every driver says 08S01 when the server goes away; it can be asked.
    SQLUINTEGER dead = SQL_CD_FALSE;
    if (connected && SQL_SUCCEEDED(SQLGetConnectAttr(dbc, SQL_ATTR_CONNECTION_DEAD, &dead, 0, nullptr)))
        d.linkLost = d.linkLost || dead == SQL_CD_TRUE;
    if (d.linkLost) {
        // The server ends the transaction of a connection that is gone.
        lost = true;
        inTransaction = false;
        discard();
    }
    if (d.lockTimeout) fail(kLockTimeoutSentence);
    std::string text =
        d.text.empty() ? "The ODBC driver failed without a message (return code " + std::to_string(r) + ")"
                       : d.text;
    if (d.linkLost) text += " (the connection to the database was lost; the next action connects again)";
    fail(text);
}

void Link::disconnect() {
    if (connected) {
        if (inTransaction) SQLEndTran(SQL_HANDLE_DBC, dbc, SQL_ROLLBACK);
        SQLDisconnect(dbc);
    }
    if (dbc) SQLFreeHandle(SQL_HANDLE_DBC, dbc);
    dbc = SQL_NULL_HDBC;
    connected = false;
    inTransaction = false;
}

void Link::reopenIfLost() {
    if (!lost) return;
    discard();
    prepared.clear();
    ++generation;  // SQLDisconnect frees the old statements
    disconnect();
    connect();
}

void Link::setAutocommit(bool on) {
    auto value = on ? SQL_AUTOCOMMIT_ON : SQL_AUTOCOMMIT_OFF;
    checkDbc(
        SQLSetConnectAttr(dbc, SQL_ATTR_AUTOCOMMIT, reinterpret_cast<SQLPOINTER>(value), SQL_IS_UINTEGER));
}

void Link::endTransaction(SQLSMALLINT completion) {
    discard();
    SQLRETURN r = SQLEndTran(SQL_HANDLE_DBC, dbc, completion);
    std::optional<Diagnostics> failure;
    if (!SQL_SUCCEEDED(r)) {
        failure = diagnostics(SQL_HANDLE_DBC, dbc);
        // A commit that failed leaves the work open on the server: undo it here.
        if (completion == SQL_COMMIT) SQLEndTran(SQL_HANDLE_DBC, dbc, SQL_ROLLBACK);
    }
    inTransaction = false;
    SQLRETURN a = SQLSetConnectAttr(dbc, SQL_ATTR_AUTOCOMMIT, reinterpret_cast<SQLPOINTER>(SQL_AUTOCOMMIT_ON),
                                    SQL_IS_UINTEGER);
    if (failure) {
        if (failure->text.empty()) failure->text = "The ODBC driver could not end the transaction";
        raise(*failure, r);
    }
    checkDbc(a);
}

void Link::connect() {
    if (!env) {
        if (!SQL_SUCCEEDED(SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &env)))
            fail("The ODBC driver manager could not be loaded");
        check(SQLSetEnvAttr(env, SQL_ATTR_ODBC_VERSION, reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0),
              SQL_HANDLE_ENV, env);
    }
    check(SQLAllocHandle(SQL_HANDLE_DBC, env, &dbc), SQL_HANDLE_ENV, env);
    std::u16string text = common::toUtf16(connectionString);
    SQLWCHAR completed[1024];
    SQLSMALLINT completedLength = 0;
    checkDbc(SQLDriverConnectW(dbc, nullptr, wide(text), SQL_NTS, completed, 1024, &completedLength,
                               SQL_DRIVER_NOPROMPT));
    connected = true;
    lost = false;

    auto info = [&](SQLUSMALLINT what) {
        std::u16string value(128, u'\0');
        SQLSMALLINT bytes = 0;
        if (!SQL_SUCCEEDED(
                SQLGetInfoW(dbc, what, value.data(), static_cast<SQLSMALLINT>(value.size() * 2), &bytes)))
            return std::string();
        value.resize(std::min(value.size() - 1, static_cast<size_t>(bytes) / 2));
        return common::fromUtf16(value);
    };
    const std::string dbms = info(SQL_DBMS_NAME);
    if (dbms.find("SQL Server") == std::string::npos) {
        const std::string version = info(SQL_DBMS_VER);
        disconnect();
        fail("the ODBC data source is " + (dbms.empty() ? std::string("unnamed") : dbms) +
             (version.empty() ? "" : " " + version) +
             ", not SQL Server: payacclink speaks SQL Server's T-SQL; give --db FILE for the embedded "
             "database");
    }
    dialect.sqlServer = true;
    direct(kLockTimeoutSql);
    // Before level 110 TRY_CONVERT is no keyword; a level that cannot be read counts as the oldest.
    try {
        Outcome out = direct("select compatibility_level from sys.databases where name = db_name()");
        dialect.compatibilityLevel =
            out.records && !out.records->eof() ? static_cast<int>(out.records->field(0).toInt64()) : 100;
    } catch (const common::Error&) {
        dialect.compatibilityLevel = 100;
    }
}

Outcome Link::direct(const std::string& sql) {
    Handle s(*this);
    std::u16string text = common::toUtf16(sql);
    return collect(s, SQLExecDirectW(s.h, wide(text), SQL_NTS));
}

std::shared_ptr<Prepared> Link::statement(const std::string& text) {
    if (auto it = prepared.find(text); it != prepared.end()) return it->second;
    // Texts built with their values differ every time; keep the set bounded.
    if (prepared.size() >= 64) prepared.clear();
    return prepared[text] = std::make_shared<Prepared>(*this, text);
}

void Link::queueText(std::string sql) {
    if (pending.empty() || pending.back().statement) pending.emplace_back();
    pending.back().texts.push_back(std::move(sql));
    if (pending.back().texts.size() == kBatchStatements) flush();
}

void Link::queueRow(const std::shared_ptr<Prepared>& s, std::vector<Value> row) {
    if (pending.empty() || pending.back().statement != s) pending.push_back({s, {}, {}});
    pending.back().rows.push_back(std::move(row));
    if (pending.back().rows.size() == kArrayRows) flush();
}

void Link::flush() {
    std::vector<Pending> items;
    items.swap(pending);
    for (Pending& item : items) {
        const auto& rows = item.rows;
        for (size_t at = 0; at < rows.size(); at += kArrayRows)
            item.statement->run(std::span(rows).subspan(at, std::min(kArrayRows, rows.size() - at)));
        for (size_t at = 0; at < item.texts.size(); at += kBatchStatements) {
            std::string batch;
            for (size_t i = at; i < item.texts.size() && i < at + kBatchStatements; ++i)
                batch += item.texts[i] + ";\n";
            direct(batch);
        }
    }
}

}  // namespace data::odbc::detail
