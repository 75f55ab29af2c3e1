#include "report/Voucher.h"

#include <cctype>
#include <cmath>

#include "common/Conv.h"

namespace report {

std::string Amount(double value) { return common::Format(value, "#,##0.00"); }

std::string VoucherFileName(const std::string& entryNo) {
    static const char hex[] = "0123456789ABCDEF";
    std::string name;
    auto escape = [&name](unsigned char c) {
        name += '%';
        name += hex[c >> 4];
        name += hex[c & 15];
    };
    for (size_t i = 0; i < entryNo.size(); ++i) {
        const auto c = static_cast<unsigned char>(entryNo[i]);
        const auto next = i + 1 < entryNo.size() ? static_cast<unsigned char>(entryNo[i + 1]) : 0;
        if (c == '/') {
            name += '-';
        } else if (c == 0xC2 && next >= 0x80 && next < 0xA0) {
            // A C1 control (U+0080 to U+009F) is escaped as the C0 ones are.
            escape(c);
            escape(next);
            ++i;
        } else if (std::isalnum(c) || c == '.' || c == '_' || c >= 0x80) {
            name += static_cast<char>(c);
        } else {
            escape(c);
        }
    }
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
