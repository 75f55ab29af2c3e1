#include "report/Voucher.h"

#include <cctype>
#include <cmath>

#include "common/Conv.h"

namespace report {

std::string Amount(double value) { return common::Format(value, "#,##0.00"); }

std::string VoucherFileName(const std::string& entryNo) {
    std::string name;
    for (char c : entryNo)
        name += std::isalnum(static_cast<unsigned char>(c)) || c == '.' || c == '_' ? c : '-';
    return (name.empty() ? std::string("voucher") : name) + ".pdf";
}

Imbalance NetAmounts(const Voucher& voucher) {
    Imbalance net;
    for (const VoucherLine& l : voucher.lines) {
        net.department += l.departmentAmount;
        net.company += l.companyAmount;
    }
    return net;
}

bool Balanced(const Voucher& voucher) {
    int deptConverted = 0, compConverted = 0;
    for (const VoucherLine& l : voucher.lines) {
        deptConverted += l.byHand && l.accountCurrency != voucher.departmentCurrency;
        compConverted += l.byHand && l.accountCurrency != voucher.companyCurrency;
    }
    const double halfCent = 0.005 + 1e-9;
    const Imbalance net = NetAmounts(voucher);
    return std::fabs(net.department) <= halfCent * (1 + deptConverted) &&
           std::fabs(net.company) <= halfCent * (1 + compConverted);
}

}  // namespace report
