#pragma once
// An edited entry's posting lines written over its stored ones: a line that is still there is
// updated where it stands, so the columns the suite has added to the table keep their values.
#include <cstdint>
#include <string>
#include <vector>

#include "common/Value.h"
#include "data/Connection.h"

namespace linking {

// One posting line's values in the order of the insert's columns after CompanyID, TransID and
// DetailID: DepartmentID, AccountID, AccountDesc, Description, AccCurrID, AccCurrSymbol,
// RefCurrID, RefCurrSymbol, DebitAmount, CreditAmount, RefTransAmount, DeptAmount,
// CompAmount, Editable.
using PostingLine = std::vector<common::Value>;

// Inside the save's transaction. The lines are numbered 1..n in list order as a new entry's
// are; a stored line that matches a listed one (the same account, transaction currency and
// kind, and for a line added by hand its side and its place among the hand lines alike) is
// updated, a listed line without one is inserted through `insert` (CompanyID, TransID,
// DetailID and the line's values), and the stored lines left over are deleted.
void WritePostingLinesInPlace(data::Connection& conn, const std::string& table, int32_t companyId,
                              int32_t transId, const std::vector<PostingLine>& lines, data::Command& insert);

}  // namespace linking
