#pragma once
// The columns of the linking screen's three lists, each named once: the position every reader
// and writer uses (the screen, the line editor, loading and saving an entry, the Qt front end)
// and the heading the screen gives it. Column 0 is the row's own text.
#include <array>
#include <cstddef>

namespace linking {

// The headings of a list, one for each of its N columns: a list one short does not compile
// (a braced array would, and shift every heading after the gap).
template <size_t N, class... H>
constexpr std::array<const char*, N> headings(H... h) {
    static_assert(sizeof...(H) == N, "a heading for every column");
    return {h...};
}

namespace trn {  // lvwTransactions
enum : int { SlNo, TransNo, Date, EmpNo, Employee, TransID, DeptID, Count };
inline constexpr auto kHeadings =
    headings<Count>("Sl No", "Trans No", "Date", "Emp No", "Employee", "Trans ID ", "Dept ID");
}  // namespace trn

namespace det {  // lvwTransactionDetails
enum : int {
    SlNo,
    TransNo,
    Date,
    EmpNo,
    Employee,
    Amount,
    Credit,
    TransID,
    AccountID,
    DeptID,
    AccountName,
    Type,
    RespAmt,
    DepAmount,
    ComAmt,
    ResCurr,
    AccCur,
    ResCurrID,
    AccCurrID,
    EmpID,
    Count
};
inline constexpr auto kHeadings =
    headings<Count>("Sl No", "Trans No", "Date", "Emp No", "Employee", "Amount", "Credit", "Trans ID ",
                    "Account ID", "Dept ID", "Account Name", "Type", "Resp. Amt", "Dep Amount", "Com. Amt.",
                    "Res Curr", "Acc Cur", "Res Curr ID", "Acc Curr ID", "EmpID");
}  // namespace det

namespace pst {  // lvwPostingDetails
enum : int {
    SlNo,
    DebitAccount,
    Description,
    AccCurrency,
    DebitAccountID,
    DebitAmount,
    CreditAmount,
    DeptID,
    TotalAmount,
    TransAmt,
    TransCurr,
    CompAmount,
    DeptAmount,
    ResCurrID,
    AccCurrID,
    Editable,
    Count
};
inline constexpr auto kHeadings =
    headings<Count>("Sl No", "Debit Account", "Description", "Acc Currency", "Debit Account ID",
                    "Debit Amount", "Credit Amount", "Dept ID", "Total Amount", "Trans Amt", "Trans Curr.",
                    "Comp Amount", "Dept amount", "Res Curr ID", "Acc Curr ID", "Editable");
}  // namespace pst

}  // namespace linking
