// The Connection and its commands over the link: reads send the queue first, writes inside a
// transaction join it, procedures go through the call escape.
#include "data/odbc/OdbcConnection.h"

#include <cctype>
#include <string_view>

#include "common/Conv.h"
#include "common/Error.h"
#include "data/odbc/OdbcLink.h"
#include "data/odbc/ServerDialect.h"
#include "data/sqlite/Migrations.h"

namespace data::odbc {
namespace {

using namespace detail;

// A write without results may wait in the queue.
bool isWrite(std::string_view sql) {
    size_t at = sql.find_first_not_of(" \t\r\n(");
    if (at == std::string_view::npos) return false;
    std::string word;
    for (; at < sql.size() && std::isalpha(static_cast<unsigned char>(sql[at])); ++at)
        word += static_cast<char>(std::tolower(static_cast<unsigned char>(sql[at])));
    return word == "insert" || word == "update" || word == "delete";
}

[[noreturn]] void raiseItemNotFound() {
    common::raise(common::err::ItemNotFound, kSource,
                  "Item cannot be found in the collection corresponding to the requested name or ordinal.");
}

std::string lowerCase(std::string v) { return common::LCase(std::move(v)); }

class OdbcCommand : public Command {
public:
    OdbcCommand(LinkPtr link, std::string text, CommandType type)
        : link_(std::move(link)), text_(std::move(text)), type_(type) {}

    void refreshParameters() override {
        link_->reopenIfLost();
        if (type_ == CommandType::StoredProc) {
            const std::string key = lowerCase(text_);
            auto it = link_->procedures.find(key);
            if (it == link_->procedures.end()) {
                link_->flush();
                it = link_->procedures.emplace(key, describeProcedure(*link_, text_)).first;
            }
            params_ = it->second;
        } else {
            params_.assign(static_cast<size_t>(link_->statement(sqlText())->count), Parameter{});
        }
        refreshed_ = true;
    }

    std::vector<Parameter>& parameters() override {
        ensureRefreshed();
        return params_;
    }

    void setParameter(size_t pos, Value v) override {
        ensureRefreshed();
        if (pos >= params_.size()) raiseItemNotFound();
        params_[pos].value = std::move(v);
    }

    const Value& parameter(size_t pos) override {
        ensureRefreshed();
        if (pos >= params_.size()) raiseItemNotFound();
        return params_[pos].value;
    }

    RecordsetPtr execute() override {
        ensureRefreshed();
        return run();
    }

    RecordsetPtr execute(const std::vector<Value>& args) override {
        ensureRefreshed();
        const size_t first = hasReturnValue() ? 1 : 0;
        if (first + args.size() > params_.size()) raiseItemNotFound();
        for (size_t i = 0; i < args.size(); ++i) params_[first + i].value = args[i];
        return run();
    }

    const std::string& text() const override { return text_; }

private:
    void ensureRefreshed() {
        if (!refreshed_) refreshParameters();
    }
    bool hasReturnValue() const {
        return type_ == CommandType::StoredProc && !params_.empty() &&
               params_[0].direction == ParamDirection::ReturnValue;
    }
    std::string sqlText() const { return unicodeLiterals(text_); }

    RecordsetPtr run() {
        Link& link = *link_;
        link.reopenIfLost();
        if (type_ == CommandType::StoredProc) {
            link.flush();
            return callProcedure(link, text_, params_);
        }
        std::vector<Value> row;
        for (const Parameter& p : params_) row.push_back(p.value);
        auto statement = link.statement(sqlText());
        if (link.inTransaction && isWrite(text_)) {
            link.queueRow(statement, std::move(row));
            Outcome none;
            return recordsOf(none);
        }
        link.flush();
        Outcome out = statement->run(std::span(&row, 1));
        return recordsOf(out);
    }

    LinkPtr link_;
    std::string text_;
    CommandType type_;
    std::vector<Parameter> params_;
    bool refreshed_ = false;
};

class OdbcConnection : public Connection {
public:
    explicit OdbcConnection(LinkPtr link) : link_(std::move(link)) {}

    bool isOpen() const override { return link_->connected || link_->lost; }

    long execute(const std::string& sql) override {
        link_->reopenIfLost();
        if (link_->inTransaction && isWrite(sql)) {
            link_->queueText(unicodeLiterals(sql));
            return -1;
        }
        link_->flush();
        return link_->direct(unicodeLiterals(sql)).affected;
    }

    RecordsetPtr open(const std::string& sql, CursorType, LockType) override {
        // Every cursor type reads the same: the whole result is materialised.
        link_->reopenIfLost();
        link_->flush();
        Outcome out = link_->direct(unicodeLiterals(sql));
        return recordsOf(out);
    }

    CommandPtr command(const std::string& text, CommandType type) override {
        return std::make_unique<OdbcCommand>(link_, text, type);
    }

    void beginTrans() override {
        link_->reopenIfLost();
        if (link_->inTransaction) fail("Cannot start more transactions on this session.");
        link_->flush();
        link_->setAutocommit(false);
        link_->inTransaction = true;
    }

    void commitTrans() override {
        if (!link_->inTransaction) fail("No transaction is active.");
        try {
            link_->flush();
        } catch (const common::Error&) {
            if (link_->inTransaction) {
                try {
                    link_->endTransaction(SQL_ROLLBACK);
                } catch (const common::Error&) {
                }
            }
            throw;
        }
        // A failed commit is rolled back here, so the caller's own rollback finds nothing open.
        link_->endTransaction(SQL_COMMIT);
    }

    // With nothing open there is nothing to undo: a save's error handler may roll back after a
    // failed commit has already done so, or after the connection was lost, which the server
    // ends the transaction of.
    void rollbackTrans() override {
        link_->discard();
        if (!link_->inTransaction) return;
        try {
            link_->endTransaction(SQL_ROLLBACK);
        } catch (const common::Error&) {
            if (!link_->lost) throw;
        }
    }

    bool inTransaction() const override { return link_->inTransaction; }

    // An exclusive application lock owned by the transaction; sp_getapplock answers below zero
    // when it is not granted within the wait.
    void lockForTransaction(const std::string& resource) override {
        if (!link_->inTransaction) fail("No transaction is active.");
        link_->flush();
        std::string name;
        for (char c : resource) name += c == '\'' ? std::string("''") : std::string(1, c);
        Outcome out =
            link_->direct("declare @r int; exec @r = sp_getapplock @Resource = N'" + name +
                          "', @LockMode = 'Exclusive', @LockOwner = 'Transaction', @LockTimeout = 15000; "
                          "select @r as granted");
        if (!out.records || out.records->eof() || out.records->field(0).toInt64() < 0)
            fail(kLockTimeoutSentence);
    }

    Dialect dialect() const override { return link_->dialect; }

private:
    LinkPtr link_;
};

// The number of the last numbered script the database has had; 0 for one made before them,
// which has no version table.
int64_t serverSchemaVersion(Connection& c) {
    try {
        RecordsetPtr rs = c.open("select max(Version) from paPayAccLinkSchema");
        return rs->eof() || rs->field(0).isNull() ? 0 : rs->field(0).toInt64();
    } catch (const common::Error&) {
        return 0;
    }
}

}  // namespace

ConnectionPtr open(const std::string& connectionString) {
    auto link = std::make_shared<Link>();
    link->connectionString = connectionString;
    link->connect();
    auto c = std::make_shared<OdbcConnection>(std::move(link));
    // The program changes no server schema of its own accord: a database older than it needs
    // is refused with the script to run, before a statement fails on what it lacks.
    if (const std::string problem = sqlite::serverSchemaProblem(serverSchemaVersion(*c)); !problem.empty())
        fail("the SQL Server database " + problem);
    return c;
}

}  // namespace data::odbc
