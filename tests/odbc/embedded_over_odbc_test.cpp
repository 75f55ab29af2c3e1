// The embedded database's T-SQL adapter and procedure catalog above a real ODBC connection
// to the same SQLite file, so the suite's own statements, procedure calls and parameter
// refreshes travel through the ODBC backend and the driver.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <unordered_set>
#include <vector>

#include "OdbcTestSupport.h"
#include "common/Conv.h"
#include "common/Error.h"
#include "data/ErrorLog.h"
#include "data/TableNames.h"
#include "data/odbc/OdbcConnection.h"
#include "data/sqlite/ProcedureCatalog.h"
#include "data/sqlite/SqliteConnection.h"
#include "data/sqlite/TsqlAdapter.h"
#include "entry/Module.h"
#include "entry/qorPayrollAccounts.h"
#include "script/ScriptRunner.h"
#include "ui/Headless.h"

namespace {

using common::Value;
using data::CommandPtr;
using data::CommandType;
using data::ConnectionPtr;
using data::CursorType;
using data::LockType;
using data::Parameter;
using data::RecordsetPtr;

// The driver and this program share the system's SQLite library, so an automatic extension
// gives every database the driver opens the T-SQL functions the adapted statements call.
int addTsqlFunctions(sqlite3* db, char**, const void*) {
    try {
        data::sqlite::registerFunctions(db);
        return SQLITE_OK;
    } catch (...) {
        return SQLITE_ERROR;
    }
}

// A procedure body with each "@Name" outside literals replaced by "?" and its comments left
// out (the driver splits statements at any ";", also inside one); names gets the parameter
// named at each marker, in order.
std::string markParameters(const std::string& body, std::vector<std::string>& names) {
    std::string out;
    for (size_t i = 0; i < body.size();) {
        char ch = body[i];
        if (ch == '\'' || ch == '"') {
            size_t end = body.find(ch, i + 1);
            end = end == std::string::npos ? body.size() : end + 1;
            out.append(body, i, end - i);
            i = end;
        } else if (ch == '-' && i + 1 < body.size() && body[i + 1] == '-') {
            size_t end = body.find('\n', i);
            i = end == std::string::npos ? body.size() : end;
        } else if (ch == '@') {
            size_t end = i + 1;
            while (end < body.size() &&
                   (std::isalnum(static_cast<unsigned char>(body[end])) || body[end] == '_'))
                ++end;
            names.push_back(body.substr(i, end - i));
            out += '?';
            i = end;
        } else {
            out += ch;
            ++i;
        }
    }
    return out;
}

// The adapter and catalog over the ODBC connection. The screens use text commands with
// positional markers and "exec" with literal arguments only, so that is all this carries.
class AdaptedOdbc : public data::Connection {
public:
    explicit AdaptedOdbc(ConnectionPtr odbc)
        : odbc_(std::move(odbc)),
          catalog_(data::sqlite::procedureFolder()),
          adapter_([this](const std::string& column) { return dateColumns_.count(column) > 0; }) {
        loadDateColumns();
    }
    bool isOpen() const override { return odbc_->isOpen(); }
    long execute(const std::string& sql) override {
        auto a = adapter_.adapt(sql);
        if (a.isExec) return runExec(a), -1;
        long n = odbc_->execute(a.sql);
        if (a.changesSchema) loadDateColumns();
        return n;
    }
    RecordsetPtr open(const std::string& sql, CursorType cursor, LockType lock) override {
        auto a = adapter_.adapt(sql);
        return a.isExec ? runExec(a) : odbc_->open(a.sql, cursor, lock);
    }
    CommandPtr command(const std::string& text, CommandType) override {
        return std::make_unique<Command>(adapter_.adapt(text), odbc_);
    }
    void beginTrans() override { odbc_->beginTrans(); }
    void commitTrans() override { odbc_->commitTrans(); }
    void rollbackTrans() override { odbc_->rollbackTrans(); }
    bool inTransaction() const override { return odbc_->inTransaction(); }

private:
    // The driver describes the adapted statement's markers; the suite's date texts become
    // dates where the adapter found a date column, so the driver stores them in ISO form.
    class Command : public data::Command {
    public:
        Command(data::sqlite::AdaptedStatement a, const ConnectionPtr& odbc)
            : a_(std::move(a)), inner_(odbc->command(a_.sql, CommandType::Text)) {}
        void refreshParameters() override { inner_->refreshParameters(); }
        std::vector<Parameter>& parameters() override { return inner_->parameters(); }
        void setParameter(size_t pos, Value v) override { inner_->setParameter(pos, std::move(v)); }
        const Value& parameter(size_t pos) override { return inner_->parameter(pos); }
        RecordsetPtr execute() override { return inner_->execute(); }
        RecordsetPtr execute(const std::vector<Value>& args) override {
            std::vector<Value> values = args;
            for (size_t i = 0; i < values.size() && i < a_.dateParams.size(); ++i)
                if (a_.dateParams[i] && values[i].asText())
                    if (auto d = common::parseDate(*values[i].asText())) values[i] = Value(*d);
            return inner_->execute(values);
        }
        const std::string& text() const override { return inner_->text(); }

    private:
        data::sqlite::AdaptedStatement a_;
        CommandPtr inner_;
    };

    // "exec NAME args": the procedure's statement through an ODBC text command, arguments by
    // position, then by name, as the server matches them.
    RecordsetPtr runExec(const data::sqlite::AdaptedStatement& a) {
        const auto& proc = catalog_.find(a.procedure);
        std::vector<Value> values(proc.parameters.size());
        size_t position = 0;
        for (const auto& arg : a.arguments) {
            EXPECT_FALSE(arg.placeholder) << a.procedure;
            size_t slot = position;
            if (!arg.name.empty()) {
                for (size_t i = 0; i < proc.parameters.size(); ++i)
                    if (common::EqualsNoCase(proc.parameters[i].name, arg.name)) slot = i;
            } else {
                ++position;
            }
            values.at(slot) = arg.value;
        }
        std::vector<std::string> names;
        std::string sql = markParameters(proc.body, names);
        // The driver takes one statement: no trailing separator.
        while (!sql.empty() && (std::isspace(static_cast<unsigned char>(sql.back())) || sql.back() == ';'))
            sql.pop_back();
        std::vector<Value> bound;
        for (const std::string& n : names) {
            size_t slot = 0;
            while (slot < proc.parameters.size() && !common::EqualsNoCase(proc.parameters[slot].name, n))
                ++slot;
            if (slot == proc.parameters.size()) ADD_FAILURE() << proc.name << " uses undeclared " << n;
            bound.push_back(data::sqlite::convertArgument(proc.parameters.at(slot), values.at(slot)));
        }
        return odbc_->command(sql, CommandType::Text)->execute(bound);
    }
    void loadDateColumns() {
        dateColumns_.clear();
        auto tables = odbc_->open("select name from sqlite_schema where type in ('table','view')",
                                  CursorType::ForwardOnly, LockType::ReadOnly);
        for (const auto& t : tables->rows()) {
            auto cols = odbc_->open("select name, type from pragma_table_info('" + t[0].toText() + "')",
                                    CursorType::ForwardOnly, LockType::ReadOnly);
            for (const auto& c : cols->rows())
                if (common::ContainsNoCase(c[1].joinText(), "DATE"))
                    dateColumns_.insert(common::LCase(c[0].toText()));
        }
    }

    ConnectionPtr odbc_;
    data::sqlite::ProcedureCatalog catalog_;
    std::unordered_set<std::string> dateColumns_;
    data::sqlite::TsqlAdapter adapter_;
};

// A demo database made by the embedded backend, opened again through the driver.
class EmbeddedOverOdbcTest : public ::testing::Test {
protected:
    void SetUp() override {
        static bool registered = false;
        if (!registered) {
            sqlite3_auto_extension(reinterpret_cast<void (*)()>(&addTsqlFunctions));
            registered = true;
        }
        dbPath = tmp.file("demo.db");
        std::filesystem::copy_file(testsupport::demoTemplate(), dbPath);
        odbc = data::odbc::open(odbctest::Registry::connectionString(dbPath));
        db = std::make_shared<AdaptedOdbc>(odbc);
    }

    testsupport::TempDir tmp;
    std::string dbPath;
    ConnectionPtr odbc;
    std::shared_ptr<AdaptedOdbc> db;
};

// A user's whole session, from the browser through a new payroll entry, its edit and its
// cancellation.
const char* const kSession = R"(dump flexMaster
click cmdnew
select cboType Payroll
select cboDepartment Administration
set dtpFromDate 01/10/2026
set dtpToDate 31/10/2026
click cmdShow
dump lvwTransactions
tick lvwTransactions 1
tick lvwTransactions 2
dump lvwTransactionDetails
dump lvwPostingDetails
expect txtTotDepAmount 0.00
set txtRemarks October run
click cmdOk
expect-sql Select isnull(max(try_convert(int,substring(TransNo,5,4000))),0) from paPayAccLinkHeader
dump flexMaster
click CmdEdit
dump lvwTransactions
tick lvwTransactions 2
set txtRemarks October run, one removed
click cmdOk
dump flexMaster
answer Yes
click CmdDelete
set txtreason entered twice
click cmdok
dump flexMaster
)";

// Runs the script on the connection as the host program does; returns the transcript.
std::string runSession(const ConnectionPtr& connection, const std::string& folder) {
    auto trace = std::make_shared<data::TraceConnection>(connection);
    data::setComponentFolder(folder);
    ui::HeadlessToolkit toolkit;
    std::ostringstream out;
    std::istringstream script(kSession);
    {
        entry::Module module(toolkit);
        entry::qorPayrollAccounts component(module);
        component.setAdocon(trace);
        component.strProjectKey = entry::kProjectKey;
        component.MsgboxTitle = "Payroll Accounts Linking";
        component.ProcessDate = "15/10/2026";
        component.intUserID = 1;
        component.intCompanyID = 1;
        component.intInterfaceID = 60;
        script::ScriptRunner runner(toolkit, out);
        runner.setTrace(trace.get());
        int status = runner.run(script, [&] { component.Show(); });
        out << "status " << status << "\n";
    }
    return out.str();
}

// The link tables and the source flags, one line per row, dates as dates.
std::string linkState(data::Connection& c) {
    std::string out;
    for (const char* sql :
         {"select * from paPayAccLinkHeader order by CompanyID, TransID",
          "select * from paPayAccLinkDetails order by CompanyID, TransID, DetailID",
          "select * from paPayAccLinkPostingDetails order by CompanyID, TransID, DetailID",
          "select mppCompanyID, mppProcessID, mppPosted from pMonthlyPayRollProcessing order by 1, 2"}) {
        auto rs = c.open(sql, CursorType::ForwardOnly, LockType::ReadOnly);
        for (const auto& row : rs->rows()) {
            for (const Value& v : row) {
                std::string text = v.joinText();
                if (auto d = common::parseDate(text); d && !v.isNumeric()) text = common::isoDate(*d);
                out += text + "|";
            }
            out += "\n";
        }
        out += "--\n";
    }
    return out;
}

// The same session on a copy of the same database, once on the embedded backend and once
// through the driver: the user sees the same and the database ends the same. Stored numbers
// the classic numbering statement cannot read (a decimal, an exponent, more than an int holds)
// and one shorter than the prefix: on both backends the save logs the failure and takes the
// next whole number.
TEST_F(EmbeddedOverOdbcTest, AUsersWholeSessionRunsAlikeThroughTheDriver) {
    std::string embeddedPath = tmp.file("embedded.db");
    std::filesystem::copy_file(testsupport::demoTemplate(), embeddedPath);
    for (const std::string& path : {embeddedPath, dbPath}) {
        auto c = data::sqlite::open(path);
        int id = 101;
        for (const char* no : {"PAL/7", "PAL/1.5", "PAL/1e5", "PAL/3000000000", "PA"})
            c->execute(
                "insert into paPayAccLinkHeader (CompanyID, TransID, DepartmentID, TransNo, TransDate, "
                "TransType, Cancelled) values (1, " +
                std::to_string(id++) + ", 1, '" + no + "', '2026-10-01', 'P', 0)");
    }
    auto embedded = data::sqlite::open(embeddedPath);
    std::string transcripts[2], states[2];
    const std::vector<std::pair<ConnectionPtr, std::string>> backends{{embedded, "embedded"}, {db, "odbc"}};
    for (int i = 0; i < 2; ++i) {
        const auto& [connection, name] = backends[i];
        SCOPED_TRACE(name);
        std::filesystem::create_directory(tmp.path() / name);
        transcripts[i] = runSession(connection, (tmp.path() / name).string());
        EXPECT_NE(transcripts[i].find("status 0"), std::string::npos) << transcripts[i];
        states[i] = linkState(i == 0 ? *embedded : *odbc);
        EXPECT_NE(states[i].find("October run, one removed"), std::string::npos) << states[i];
        EXPECT_NE(states[i].find("|PAL/8|"), std::string::npos) << states[i];
        std::ifstream log(tmp.path() / name / (std::string(data::kComponentName) + "Error.log"));
        std::string line;
        std::getline(log, line);
        EXPECT_EQ(line.rfind("Employeeexit:QORPayAccLinking:", 0), 0u) << line;
        EXPECT_NE(line.find(":Generateexitno:N"), std::string::npos) << line;
    }
    EXPECT_EQ(transcripts[1], transcripts[0]);
    EXPECT_EQ(states[1], states[0]);
}

}  // namespace
