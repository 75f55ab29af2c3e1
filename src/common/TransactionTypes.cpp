#include "common/TransactionTypes.h"

#include <algorithm>

#include "common/Conv.h"

namespace common {

namespace {

std::vector<TransactionType>& registry() {
    // Held salaries come before leave encashments in the linking screen's list only.
    static std::vector<TransactionType> types = [] {
        std::vector<TransactionType> v{
            {"P", "Payroll", "spPAGetPayrollAccountDetails", "", "", &kPayrollRuns, 0},
            {"A", "Salary Advances", "spPAGetLoanIssueDetails", "Salary Advance", "A", &kPayments, 1},
            {"R", "Reimbursements", "spPAGetReimbursementDetails", "Reimbursement", "R", &kPayments, 2},
            {"S", "Savings", "spPAGetSavingsDetails", "Savings", "S", &kPayments, 3},
            {"E", "Leave Encashments", "spPAGetPaymentOthersDetails", "Leave Encashment", "E", &kPayments, 5},
            // "Holded" is the suite's own spelling.
            {"H", "Holded Salaries", "spPAGetPaymentOthersDetails", "Holded Salary", "H", &kPayments, 4},
            {"O", "Others", "spPAGetPaymentOthersDetails", "Others", "O", &kPayments, 6},
        };
        // Room for a test's extra types, so that pointers to the rows stay valid.
        v.reserve(16);
        return v;
    }();
    return types;
}

}  // namespace

const std::vector<TransactionType>& TransactionTypes() { return registry(); }

const TransactionType* TypeOfCode(std::string_view code) {
    for (const auto& t : registry())
        if (code == t.code) return &t;
    return nullptr;
}

bool IsPayrollCode(std::string_view code) { return EqualsNoCase(code, kPayrollRuns.soleCode); }

std::string TypeCodeOf(const SourceTable& table, const std::string& a) {
    return table.type ? a + "." + table.type : "'" + std::string(table.soleCode) + "'";
}

const TransactionType* TypeOfName(std::string_view name) {
    for (const auto& t : registry())
        if (name == t.name) return &t;
    return nullptr;
}

std::vector<const TransactionType*> TypesInComboOrder() {
    std::vector<const TransactionType*> out;
    for (const auto& t : registry()) out.push_back(&t);
    std::stable_sort(out.begin(), out.end(), [](const TransactionType* a, const TransactionType* b) {
        return a->comboPosition < b->comboPosition;
    });
    return out;
}

ExtraTransactionType::ExtraTransactionType(const TransactionType& type) { registry().push_back(type); }

ExtraTransactionType::~ExtraTransactionType() { registry().pop_back(); }

}  // namespace common
