#pragma once
// The embedded database on any statement text: the T-SQL adapter rewrites it and SQLite runs
// it on the project's schema and demo data. Errors are fine; crashes, leaks, undefined
// behaviour, an exception that is not a common::Error and a connection left unusable are not.
#include <sqlite3.h>

#include <memory>
#include <string>
#include <string_view>

#include "Checks.h"
#include "common/Conv.h"
#include "common/Error.h"
#include "data/Connection.h"
#include "data/sqlite/SqliteConnection.h"
#include "data/sqlite/TsqlAdapter.h"

namespace fuzzcheck {

namespace detail {

// Bounds on what one statement may cost, so that a recursive query or a huge blob ends in an
// error instead of exhausting the fuzzer's memory and time.
struct SqlBudget {
    static constexpr int kTicks = 300;  // progress calls of 1000 VM steps each
    static constexpr int kMaxValue =
        8192;  // bytes in one text or blob (the schema's longest view is half that)
    int ticks = 0;
    bool unlimited = false;
    bool committed = false;
    sqlite3* opened = nullptr;  // the handle of the connection opened last
};

inline SqlBudget& sqlBudget() {
    static SqlBudget b;
    return b;
}

inline int onProgress(void*) { return !sqlBudget().unlimited && ++sqlBudget().ticks > SqlBudget::kTicks; }

inline int onCommit(void*) {
    sqlBudget().committed = true;
    return 0;
}

// ATTACH, and VACUUM INTO through it, would create database files wherever the input names them.
inline int authorize(void*, int action, const char*, const char*, const char*, const char*) {
    return action == SQLITE_ATTACH || action == SQLITE_DETACH ? SQLITE_DENY : SQLITE_OK;
}

inline int limitConnection(sqlite3* db, char**, const sqlite3_api_routines*) {
    sqlBudget().opened = db;
    sqlite3_limit(db, SQLITE_LIMIT_LENGTH, SqlBudget::kMaxValue);
    sqlite3_limit(db, SQLITE_LIMIT_SQL_LENGTH, 1 << 20);
    sqlite3_progress_handler(db, 1000, onProgress, nullptr);
    sqlite3_commit_hook(db, onCommit, nullptr);
    sqlite3_set_authorizer(db, authorize, nullptr);
    return SQLITE_OK;
}

}  // namespace detail

class SqlSandbox {
public:
    // One per process: the database is built once and kept unchanged between inputs.
    static SqlSandbox& instance() {
        static SqlSandbox s;
        return s;
    }

    void check(std::string_view input) {
        const std::string sql(input);
        checkAdapterAlone(sql);

        auto& budget = detail::sqlBudget();
        budget.committed = false;
        c_->beginTrans();
        budget.ticks = 0;
        try {
            c_->execute(sql);
        } catch (const common::Error&) {
        }
        // Again as a command with a value for each "?": the adapter marks those that meet a
        // date column, and the binding converts the suite's date texts for them.
        budget.ticks = 0;
        try {
            auto cmd = c_->command(sql, data::CommandType::Text);
            std::vector<data::Parameter>& params = cmd->parameters();
            const common::Value values[] = {
                common::Value("15/Oct/2026"), common::Value(7),
                common::Value("12abc"),       common::Value(),
                common::Value(2.5),           common::Value(common::DateTime::ymd(2026, 10, 15))};
            for (size_t i = 0; i < params.size(); ++i) cmd->setParameter(i, values[i % std::size(values)]);
            cmd->execute();
        } catch (const common::Error&) {
        }
        budget.ticks = 0;

        const bool stillOpen = c_->inTransaction();
        try {
            c_->rollbackTrans();
        } catch (const common::Error& e) {
            require(false, "no rollback after " + printable(sql) + ": " + e.description());
        }
        // Whatever failed, the connection goes on serving statements, and without a commit
        // the data is as it was.
        std::string now;
        try {
            now = fingerprint();
        } catch (const common::Error& e) {
            require(false, "the connection is unusable after " + printable(sql) + ": " + e.description());
        }
        if (budget.committed || !stillOpen || changesSchema(sql)) {
            reopen();
        } else {
            require(now == fingerprint_, "a rolled back " + printable(sql) + " changed the data: " + now +
                                             " instead of " + fingerprint_);
        }
    }

    // The connection the next input runs on.
    data::Connection& connection() { return *c_; }

private:
    SqlSandbox() {
        template_ = openLimited(templateDb_);
        detail::sqlBudget().unlimited = true;
        data::sqlite::initialise(*template_, true, common::DateTime::ymd(2026, 10, 28));
        reopen();
    }

    // A connection as data::sqlite::open makes it, with the budget's limits on its handle.
    static data::ConnectionPtr openLimited(sqlite3*& handle) {
        // Registered only while opening, so that other connections in the same process (the
        // unit tests') keep SQLite's defaults.
        auto init = reinterpret_cast<void (*)()>(&detail::limitConnection);
        sqlite3_auto_extension(init);
        data::ConnectionPtr c;
        try {
            data::sqlite::OpenOptions o;
            o.create = true;
            c = data::sqlite::open(":memory:", o);
        } catch (...) {
            sqlite3_cancel_auto_extension(init);
            throw;
        }
        sqlite3_cancel_auto_extension(init);
        handle = detail::sqlBudget().opened;
        return c;
    }

    // A fresh connection on a copy of the template: copying pages is far quicker than running
    // the schema and demo scripts again.
    void reopen() {
        auto& budget = detail::sqlBudget();
        budget.unlimited = true;
        c_.reset();
        sqlite3* db = nullptr;
        c_ = openLimited(db);
        sqlite3_backup* copy = sqlite3_backup_init(db, "main", templateDb_, "main");
        const bool copied = copy && sqlite3_backup_step(copy, -1) == SQLITE_DONE;
        require(sqlite3_backup_finish(copy) == SQLITE_OK && copied,
                std::string("cannot copy the template database: ") + sqlite3_errmsg(db));
        // The connection read its date columns from the empty database; a schema statement
        // makes it read them again.
        c_->execute("drop table if exists fuzz_no_such_table");
        fingerprint_ = fingerprint();
        budget.unlimited = false;
        budget.committed = false;
    }

    std::string fingerprint() {
        auto rs = c_->open(
            "select (select count(*) from sqlite_schema), (select count(*) from paPayAccLinkHeader), "
            "(select count(*) from paPayAccLinkDetails), (select count(*) from paPayAccLinkPostingDetails), "
            "(select count(*) from pMonthlyPayRollProcessing), (select total(mppPosted) from "
            "pMonthlyPayRollProcessing), "
            "(select count(*) from pPaymentHeader), (select total(phPosted) from pPaymentHeader), "
            "(select count(*) from pusers)");
        std::string f;
        for (int i = 0; i < rs->fieldCount(); ++i) f += rs->field(i).joinText() + " ";
        return f;
    }

    static bool changesSchema(const std::string& sql) {
        for (const char* word : {"create", "drop", "alter", "pragma", "reindex", "analyze"})
            if (common::ContainsNoCase(sql, word)) return true;
        return false;
    }

    // The adapter on its own, with every column that names a date taken as one: it answers
    // or refuses with the database's error, never with anything else.
    static void checkAdapterAlone(const std::string& sql) {
        data::sqlite::TsqlAdapter adapter(
            [](const std::string& column) { return column.find("date") != std::string::npos; });
        try {
            adapter.adapt(sql);
        } catch (const common::Error& e) {
            require(e.number() == common::err::Database && e.source() == data::sqlite::kErrorSource,
                    "the adapter refused " + printable(sql) + " with error " + std::to_string(e.number()) +
                        " from " + e.source());
        }
    }

    data::ConnectionPtr template_;
    sqlite3* templateDb_ = nullptr;  // owned by template_
    data::ConnectionPtr c_;
    std::string fingerprint_;
};

inline void checkTsqlInput(std::string_view input) { SqlSandbox::instance().check(input); }

}  // namespace fuzzcheck
