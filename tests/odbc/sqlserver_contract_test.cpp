// The SQL Server schema against what the C++ expects of it: the columns' lengths behind the free
// text boxes.
#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

#include "../TestSupport.h"
#include "common/Conv.h"
#include "data/TableNames.h"
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
