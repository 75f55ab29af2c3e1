#include "data/TableNames.h"

#include <utility>

#include "common/Conv.h"

namespace data {

void AssignTableName(Connection& c, TableNames& names) {
    std::string sql;
    sql += " select tablename, linktablename from linktable where tablename in ( ";
    sql += " 'pusers', 'ptables', 'ptablecolumns', 'puserrights','pprefix', 'pSettings',";
    sql += " 'pEmployee','pCurrencyMaster','aAccountMaster', 'paPayAccLinkPostingDetails',";
    sql += "'paPayAccLinkDetails', 'paPayAccLinkHeader','pDepartment','pCompanyMaster')";

    // pLoans is looked for but never asked for, so its slot stays empty: kept as the suite has it.
    const std::pair<const char*, std::string*> slots[] = {
        {"pusers", &names.pusers},
        {"ptables", &names.ptables},
        {"ptablecolumns", &names.ptablecolumns},
        {"puserrights", &names.puserrights},
        {"pEmployee", &names.pEmployee},
        {"pLoans", &names.pLoans},
        {"pprefix", &names.pprefix},
        {"pCurrencyMaster", &names.pCurrencyMaster},
        {"pSettings", &names.pSettings},
        {"aAccountMaster", &names.aAccountMaster},
        {"paPayAccLinkPostingDetails", &names.paPayAccLinkPostingDetails},
        {"paPayAccLinkDetails", &names.paPayAccLinkDetails},
        {"paPayAccLinkHeader", &names.paPayAccLinkHeader},
        {"pDepartment", &names.pDepartment},
        {"pCompanyMaster", &names.pCompanyMaster},
    };

    RecordsetPtr rs = c.open(sql, CursorType::ForwardOnly, LockType::ReadOnly);
    while (!rs->eof()) {
        // UCase of a Null name is Null and never equal, so such a row matches nothing.
        const std::string table = common::UCase(rs->field("tablename").joinText());
        for (const auto& [logical, slot] : slots) {
            if (!table.empty() && table == common::UCase(logical))
                *slot = rs->field("linktablename").toText();
        }
        rs->moveNext();
    }
    rs->close();
}

}  // namespace data
