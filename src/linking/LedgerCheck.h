#pragma once
// The ledger check: the last step of every save's transaction, before its commit.
//
// It re-reads what the save has written for one entry and refuses it unless
//   - the department amounts net to zero, and so do the company amounts, each within half a
//     cent for the entry and half a cent more for every line typed by hand whose amounts were
//     converted from another currency (gathered lines balance to the cent by themselves);
//   - every posting line names an account of the accounts master that has a known currency,
//     and a line with a debit or a credit has a department and a company amount, of the sign
//     of its side;
//   - the entry holds the detail rows the save wrote, their sources are the sources the save
//     flagged posted, and each of those is flagged. (That no other live entry of the kind links
//     one of them is the save's own guard, run at the same moment.)
// Whatever fault of the screens above let an entry through, it ends here as a refused save
// with one sentence, never as a wrong ledger.
#include <cstdint>
#include <string>
#include <vector>

#include "data/Connection.h"
#include "data/TableNames.h"

namespace linking {

struct LedgerEntry {
    int32_t companyId = 0;
    int32_t transId = 0;
    bool payroll = true;           // payroll runs; payments otherwise
    std::vector<int32_t> flagged;  // the sources the save flagged posted
    std::vector<int32_t> linked;   // the source of each detail row the save wrote
};

// "" when the entry may be committed; otherwise the sentence that tells the user which line
// or source is wrong and what to check.
std::string LedgerCheck(data::Connection& c, const data::TableNames& t, const LedgerEntry& entry);

}  // namespace linking
