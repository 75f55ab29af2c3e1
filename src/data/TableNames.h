#pragma once
// Physical names of the suite's logical tables, loaded from linktable.
#include <string>

#include "data/Connection.h"

namespace data {

struct TableNames {
    std::string pusers, ptables, ptablecolumns, puserrights, pEmployee, pLoans, pprefix, pCurrencyMaster,
        pSettings, aAccountMaster, paPayAccLinkPostingDetails, paPayAccLinkDetails, paPayAccLinkHeader,
        pDepartment, pCompanyMaster;
};

// The mapping load: one statement on linktable; every logical name tested against every row.
void AssignTableName(Connection& c, TableNames& names);

}  // namespace data
