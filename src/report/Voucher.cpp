#include "report/Voucher.h"

#include "common/Conv.h"

namespace report {

std::string Amount(double value) { return common::Format(value, "#,##0.00"); }

bool Balanced(const Voucher& voucher) {
    for (const CurrencyTotal& t : voucher.totals)
        if (Amount(t.debit) != Amount(t.credit)) return false;
    return true;
}

}  // namespace report
