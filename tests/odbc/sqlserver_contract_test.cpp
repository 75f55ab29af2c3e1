// The SQL Server scripts against what the C++ expects of them: procedures' parameters and result
// columns, and the columns' lengths behind the free text boxes.
#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "../TestSupport.h"
#include "common/Conv.h"
#include "common/TransactionTypes.h"
#include "data/TableNames.h"
#include "data/sqlite/ProcedureCatalog.h"
#include "journal/frmJournalDetails.h"
#include "linking/frmPayrollAccountsLinking.h"
#include "linking/frmcancell.h"

namespace {

using SqlServerContract = testsupport::ModuleTest;

std::string readSource(const std::string& relative) {
    std::string text = testsupport::slurp(std::string(PAYACC_SOURCE_DIR) + "/" + relative);
    EXPECT_FALSE(text.empty()) << relative;
    return text;
}

struct ServerParameter {
    std::string name, type;
    bool output = false;
};

struct ServerProcedure {
    std::vector<ServerParameter> parameters;
    std::set<std::string> columns;  // lower case
};

// The procedures of the T-SQL script: parameters from the header, result columns from the
// first SELECT list (none when it assigns variables).
std::map<std::string, ServerProcedure> serverProcedures() {
    std::map<std::string, ServerProcedure> out;
    const std::string text = readSource("db/sqlserver/procedures.sql");
    static const std::regex procedure(R"(CREATE PROCEDURE (\w+)([\s\S]*?)\bAS\s+BEGIN([\s\S]*?)\nEND)");
    static const std::regex parameter(R"(@(\w+)\s+(\w+)(\([^)]*\))?(\s+OUTPUT)?)");
    static const std::regex selectList(R"(\bSELECT\s+([\s\S]*?)\s+FROM\b)");
    for (std::sregex_iterator p(text.begin(), text.end(), procedure), end; p != end; ++p) {
        ServerProcedure proc;
        const std::string header = (*p)[2], body = (*p)[3];
        for (std::sregex_iterator a(header.begin(), header.end(), parameter); a != end; ++a)
            proc.parameters.push_back({"@" + (*a)[1].str(), common::LCase((*a)[2].str()), (*a)[4].matched});
        std::smatch list;
        if (std::regex_search(body, list, selectList) && list[1].str().find('@') == std::string::npos) {
            std::stringstream items(list[1].str());
            for (std::string item; std::getline(items, item, ',');) {
                item = common::Trim(item);
                proc.columns.insert(common::LCase(item.substr(item.find_last_of(" .") + 1)));
            }
        }
        out[(*p)[1]] = proc;
    }
    return out;
}

data::sqlite::ProcedureParameter::Type embeddedTypeOf(const std::string& serverType) {
    using T = data::sqlite::ProcedureParameter::Type;
    if (serverType == "int") return T::Int;
    if (serverType == "smallint") return T::SmallInt;
    if (serverType == "float") return T::Double;
    if (serverType == "datetime" || serverType == "date") return T::Date;
    return T::Text;
}

// The body of one C++ function: from its definition's name to the next definition.
std::string functionBody(const std::string& source, const std::string& qualifiedName) {
    auto at = source.find(qualifiedName + "(");
    EXPECT_NE(at, std::string::npos) << qualifiedName;
    if (at == std::string::npos) return {};
    auto next = source.find("\n}\n", at);
    return source.substr(at, next == std::string::npos ? std::string::npos : next - at);
}

std::set<std::string> fieldsRead(const std::string& body) {
    std::set<std::string> out;
    static const std::regex field(R"re(\bf\("(\w+)"\))re");
    for (std::sregex_iterator m(body.begin(), body.end(), field), end; m != end; ++m) out.insert((*m)[1]);
    return out;
}

TEST_F(SqlServerContract, ProceduresGiveWhatTheReadersTakeAndTakeWhatTheCallersPass) {
    const auto server = serverProcedures();
    data::sqlite::ProcedureCatalog embedded(std::string(PAYACC_SOURCE_DIR) + "/db/sqlite/procedures");
    ASSERT_EQ(server.size(), 6u);

    // Parameters: the calls run against the embedded catalog, so the server's must agree.
    for (const auto& [name, proc] : server) {
        SCOPED_TRACE(name);
        const auto& local = embedded.find(name).parameters;
        ASSERT_EQ(proc.parameters.size(), local.size());
        for (size_t i = 0; i < local.size(); ++i) {
            EXPECT_TRUE(common::EqualsNoCase(proc.parameters[i].name, local[i].name))
                << proc.parameters[i].name;
            EXPECT_EQ(proc.parameters[i].output, local[i].output) << proc.parameters[i].name;
            EXPECT_EQ(embeddedTypeOf(proc.parameters[i].type), local[i].type) << proc.parameters[i].name;
        }
    }

    // Result columns: every field a gathering reader takes by name.
    const std::string gather = readSource("src/linking/frmPayrollAccountsLinking_Gather.cpp");
    const std::set<std::string> runFields =
        fieldsRead(functionBody(gather, "frmPayrollAccountsLinking::FillPayrollDetails"));
    const std::set<std::string> paymentFields =
        fieldsRead(functionBody(gather, "frmPayrollAccountsLinking::FillPaymentDetails"));
    std::map<std::string, std::set<std::string>> readers;
    for (const auto& t : common::TransactionTypes())
        readers[t.procedure] = t.source->payroll ? runFields : paymentFields;
    EXPECT_EQ(readers.size(), 5u);
    for (const auto& [name, fields] : readers) {
        ASSERT_TRUE(server.count(name)) << name;
        EXPECT_GT(fields.size(), 15u) << name;
        for (const auto& f : fields)
            EXPECT_TRUE(server.at(name).columns.count(common::LCase(f))) << name << ": " << f;
    }
}

// Each free-text box takes as many characters as its column holds, here and on SQL Server.
TEST_F(SqlServerContract, FreeTextBoxesAreAsLongAsTheirColumns) {
    const std::string schema = readSource("db/sqlserver/schema.sql");
    data::AssignTableName(*raw, module->session.tables);
    struct Box {
        const ui::TextBox& box;
        std::string table, column, insert;
    };
    const std::vector<Box> boxes{
        {module->frmPayrollAccountsLinking().txtRemarks, "paPayAccLinkHeader", "Remarks",
         "insert into paPayAccLinkHeader (CompanyID, TransID, Remarks) values (9, 1, ?)"},
        {module->frmcancell().txtreason, "paPayAccLinkHeader", "cancelremarks",
         "insert into paPayAccLinkHeader (CompanyID, TransID, cancelremarks) values (9, 2, ?)"},
        {module->frmJournalDetails().txtDescription, "paPayAccLinkPostingDetails", "Description",
         "insert into paPayAccLinkPostingDetails (CompanyID, TransID, DetailID, Description) values (9, 1, "
         "1, ?)"},
    };
    for (const auto& b : boxes) {
        SCOPED_TRACE(b.column);
        const size_t at = schema.find("CREATE TABLE " + b.table + " (");
        const std::string table = schema.substr(at, schema.find(");", at) - at);
        std::smatch m;
        ASSERT_TRUE(
            std::regex_search(table, m, std::regex("\\n\\s*" + b.column + "\\s+nvarchar\\((\\d+)\\)")));
        const int length = std::stoi(m[1]);
        EXPECT_EQ(b.box.maxLength, length);
        auto insert = raw->command(b.insert, data::CommandType::Text);
        EXPECT_ANY_THROW(insert->execute({common::Value(std::string(static_cast<size_t>(length) + 1, 'x'))}));
        EXPECT_NO_THROW(insert->execute({common::Value(std::string(static_cast<size_t>(length), 'x'))}));
    }
}

}  // namespace
