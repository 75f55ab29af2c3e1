#include "support/Oracle.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <limits>
#include <sstream>

namespace testsupport {

namespace {

constexpr double kNoAmount = std::numeric_limits<double>::quiet_NaN();

// Amounts of the database, Null as no amount.
double num(const common::Value& v) { return v.isNull() ? kNoAmount : v.toDouble(); }
int32_t id(const common::Value& v) { return v.isNull() ? 0 : v.toInt32(); }
std::string day(const common::DateTime& d) {
    char b[16];
    std::snprintf(b, sizeof b, "%04d-%02d-%02d", d.year, d.month, d.day);
    return b;
}

const char* typeName(const std::string& letter) {
    static const std::map<std::string, const char*> names = {
        {"P", "Payroll"},           {"A", "Salary Advances"}, {"R", "Reimbursements"}, {"S", "Savings"},
        {"E", "Leave Encashments"}, {"H", "Holded Salaries"}, {"O", "Others"}};
    auto it = names.find(letter);
    return it == names.end() ? "" : it->second;
}

}  // namespace

std::string money(double x) {
    char b[40];
    std::snprintf(b, sizeof b, "%.2f", x + 0.0);  // no "-0.00"
    return b;
}

double round2(double x) {
    // A product of cents and a rate is off its decimal value by a few units in the last place;
    // the nudge (well below any true distance from a half cent at 15 digits) puts it back.
    const long double r = std::fabs(static_cast<long double>(x)) * 100;
    const long double n = std::floor(r + 0.5L + r * 4e-16L);
    return std::copysign(static_cast<double>(n) / 100, x) + 0.0;
}

std::string SourceLine::text() const {
    return std::to_string(source) + " " + std::to_string(account) + " " + std::to_string(ownCurrency) + "/" +
           std::to_string(accountCurrency) + " credit " + std::to_string(credit) + " own " + money(own) +
           " amount " + money(amount) + " dept " + money(department) + " comp " + money(company);
}

std::string Line::text() const {
    return std::to_string(account) + " " + std::to_string(accountCurrency) + "/" +
           std::to_string(ownCurrency) + " D " + money(debit) + " C " + money(credit) + " T " + money(trans) +
           " dept " + money(department) + " comp " + money(company) + (byHand ? " Y" : "");
}

void PostingList::tick(const SourceLine& row, bool ticked) {
    const bool credit = row.credit == 1;
    auto it = std::find_if(lines.begin(), lines.end(), [&](const Line& l) {
        return l.account == row.account && l.ownCurrency == row.ownCurrency;
    });
    if (it == lines.end())
        it = lines.insert(lines.end(), Line{row.account, row.accountCurrency, row.ownCurrency});
    const double side = ticked ? 1 : -1, sign = side * (credit ? -1 : 1);
    double& sum = credit ? it->credit : it->debit;
    sum = round2(sum + side * row.amount);
    it->trans = round2(it->trans + sign * row.own);
    it->department = round2(it->department + sign * row.department);
    it->company = round2(it->company + sign * row.company);
    // Gone when nothing is left of it, whichever rows are still ticked.
    if (it->debit == 0 && it->credit == 0 && it->trans == 0 && it->department == 0 && it->company == 0)
        lines.erase(it);
}

double PostingList::balance() const {
    double sum = 0;
    for (const auto& l : lines) sum += l.department;
    return round2(sum);
}

Oracle::Oracle(data::Connection& c, int32_t company) : c_(c), company_(company) {
    const std::string k = std::to_string(company);
    auto each = [&](const std::string& sql, auto&& fn) {
        for (auto rs = c_.open(sql); !rs->eof(); rs->moveNext()) fn(*rs);
    };
    each("select CurrencyID from pCompanyMaster where CompanyID=" + k,
         [&](auto& r) { companyCurrency_ = id(r.field(0)); });
    each("select DepartmentID, DepCurrencyID from pDepartmentMaster where CompanyID=" + k,
         [&](auto& r) { departments_[id(r.field(0))] = id(r.field(1)); });
    each("select AccountID, CurrencyID from aAccountMaster where CompanyID=" + k,
         [&](auto& r) { accounts_[id(r.field(0))] = id(r.field(1)); });
    each("select CurrencyID1, CurrencyID2, Rate from pExchangeRate where Rate is not null and CompanyID=" + k,
         [&](auto& r) {
             rates_[{id(r.field(0)), id(r.field(1))}] = num(r.field(2));
         });
    // Basic, allowances, deductions, net pay: the order in which a run's lines are listed.
    each(
        "select sacCurrencyID, upper(sacComponent), sacSalaryaccID, sacCredit from paSalaryAccountsConfig "
        "where sacCompanyID=" +
            k + " order by instr('BADN', upper(sacComponent))",
        [&](auto& r) {
            salaryAccounts_[id(r.field(0))].emplace_back(r.field(1).toText()[0], id(r.field(2)),
                                                         id(r.field(3)));
        });
    each("select upper(SettingCode), adcAccountID from paPayAccLinkSettings where CompanyID=" + k,
         [&](auto& r) { settings_[r.field(0).toText()] = id(r.field(1)); });
}

std::optional<double> Oracle::rate(int32_t to, int32_t from) const {
    auto it = rates_.find({to, from});
    if (it != rates_.end()) return it->second;
    if (to == from && to != 0) return 1.0;
    return std::nullopt;
}

int32_t Oracle::departmentCurrency(int32_t department) const {
    return departments_.count(department) ? departments_.at(department) : 0;
}

int32_t Oracle::accountCurrency(int32_t account) const {
    return accounts_.count(account) ? accounts_.at(account) : 0;
}

double Oracle::convert(double amount, int32_t to, int32_t from) const {
    auto r = rate(to, from);
    return r ? round2(amount * *r) : kNoAmount;
}

void Oracle::runLines(int32_t run, const double parts[4], double netPay, int32_t currency, int32_t department,
                      std::vector<SourceLine>& out) const {
    auto config = salaryAccounts_.find(currency);
    if (config == salaryAccounts_.end()) return;
    for (const auto& [component, account, credit] : config->second) {
        const size_t part = std::string("BADN").find(component);
        if (part == std::string::npos) continue;
        const double own = part == 3 ? netPay : parts[part];
        if (own == 0) continue;
        auto converted = [&](int32_t to) {
            if (part < 3) return convert(own, to, currency);
            // Net pay from the rounded parts, so that the run balances in every currency.
            return convert(parts[0], to, currency) + convert(parts[1], to, currency) -
                   convert(parts[2], to, currency);
        };
        const int32_t accountCur = accountCurrency(account);
        out.push_back({run, account, currency, accountCur, credit, own, converted(accountCur),
                       converted(departmentCurrency(department)), converted(companyCurrency_)});
    }
}

void Oracle::paymentLines(int32_t payment, char kind, int32_t currency, double amount, int32_t department,
                          std::vector<SourceLine>& out) const {
    if (amount == 0) return;
    for (int credit : {0, 1}) {
        auto setting = settings_.find(credit ? "CASH" : std::string(1, kind));
        const int32_t account = setting == settings_.end() ? 0 : setting->second;
        const int32_t accountCur = accountCurrency(account);
        out.push_back({payment, account, currency, accountCur, credit, amount,
                       convert(amount, accountCur, currency),
                       convert(amount, departmentCurrency(department), currency),
                       convert(amount, companyCurrency_, currency)});
    }
}

std::vector<SourceLine> Oracle::linesOf(char type, int32_t source) const {
    return listed(type, -source, {}, {});
}

std::vector<SourceLine> Oracle::listed(char type, int32_t department, const common::DateTime& from,
                                       const common::DateTime& to) const {
    // A negative department asks for the one source of that (negated) key, listed or not.
    const std::string where =
        department < 0
            ? "=" + std::to_string(-department)
            : " is not null and coalesce(Posted, 0) <> 1 and DepartmentID=" + std::to_string(department) +
                  " and date(Date) between '" + day(from) + "' and '" + day(to) + "'";
    std::vector<SourceLine> out;
    if (type == 'P') {
        auto rs = c_.open(
            "select * from (select m.mppProcessID ID, m.mppBasic, m.mppAllowances, m.mppDeductions, "
            "m.mppNetPay, e.ecurrencyid, m.mppDepartmentID DepartmentID, m.mppPosted Posted, "
            "m.mppProcessedDate Date from pMonthlyPayRollProcessing m join pemployee e on "
            "e.eCompanyID=m.mppCompanyID and e.eEmployeeID=m.mppEmpID where m.mppCompanyID=" +
            std::to_string(company_) + ") where ID" + where + " order by Date, ID");
        for (; !rs->eof(); rs->moveNext()) {
            const double parts[4] = {num(rs->field(1)), num(rs->field(2)), num(rs->field(3))};
            runLines(id(rs->field(0)), parts, num(rs->field(4)), id(rs->field(5)), id(rs->field(6)), out);
        }
        return out;
    }
    auto rs = c_.open(
        "select * from (select p.phPaymentID ID, upper(p.phType) Kind, p.phcurrencyid, l.pdPaymentAmt, "
        "p.phDepartmentID DepartmentID, p.phPosted Posted, p.phDate Date, l.pdLineID from pPaymentHeader p "
        "join pPaymentDetails l on l.pdCompanyID=p.phCompanyID and l.pdPaymentID=p.phPaymentID where "
        "p.phCompanyID=" +
        std::to_string(company_) + ") where ID" + where +
        (department < 0 ? "" : " and Kind='" + std::string(1, type) + "'") + " order by Date, ID, pdLineID");
    for (; !rs->eof(); rs->moveNext())
        paymentLines(id(rs->field(0)), rs->field(1).toText()[0], id(rs->field(2)), num(rs->field(3)),
                     id(rs->field(4)), out);
    return out;
}

Line Oracle::byHand(int32_t department, int32_t account, double amount, bool credit) const {
    const int32_t k = accountCurrency(account);
    const double sign = credit ? -1 : 1;
    Line l{account, k, k};
    (credit ? l.credit : l.debit) = amount;
    l.trans = sign * amount + 0.0;
    l.department = sign * convert(amount, departmentCurrency(department), k) + 0.0;
    l.company = sign * convert(amount, companyCurrency_, k) + 0.0;
    l.byHand = true;
    return l;
}

bool Oracle::saves(const std::vector<Line>& lines, int32_t department) const {
    double deptSum = 0, compSum = 0;
    int converted = 0;
    for (const auto& l : lines) {
        deptSum += l.department;
        compSum += l.company;
        converted += l.byHand && l.accountCurrency != companyCurrency_;
        // A converted amount of nought is a missing one only where no rate converts the line.
        auto missing = [&](double amount, int32_t to) {
            const auto r = to == l.accountCurrency ? std::nullopt : rate(to, l.accountCurrency);
            return amount == 0 && (l.debit != 0 || l.credit != 0) && (!r || *r == 0);
        };
        if (!accountCurrency(l.account) || !(l.department == l.department && l.company == l.company) ||
            missing(l.department, departmentCurrency(department)) || missing(l.company, companyCurrency_))
            return false;
    }
    return !lines.empty() && round2(deptSum) == 0 && std::fabs(compSum) <= 0.005 * (1 + converted) + 1e-9;
}

std::vector<Line> Oracle::stored(int32_t transId) const {
    std::vector<Line> out;
    auto rs = c_.open(
        "select AccountID, AccCurrID, RefCurrID, DebitAmount, CreditAmount, RefTransAmount, DeptAmount, "
        "CompAmount, Editable from paPayAccLinkPostingDetails where CompanyID=" +
        std::to_string(company_) + " and TransID=" + std::to_string(transId) + " order by DetailID");
    for (; !rs->eof(); rs->moveNext())
        out.push_back({id(rs->field(0)), id(rs->field(1)), id(rs->field(2)), num(rs->field(3)),
                       num(rs->field(4)), num(rs->field(5)), num(rs->field(6)), num(rs->field(7)),
                       rs->field(8).joinText() == "Y"});
    return out;
}

std::pair<int32_t, char> Oracle::header(int32_t transId) const {
    auto rs = c_.open("select DepartmentID, TransType from paPayAccLinkHeader where CompanyID=" +
                      std::to_string(company_) + " and TransID=" + std::to_string(transId));
    if (rs->eof()) return {0, 0};
    const std::string type = rs->field(1).joinText();
    return {id(rs->field(0)), type.empty() ? '?' : type[0]};
}

std::vector<SourceLine> Oracle::details(int32_t transId) const {
    const char type = header(transId).second;
    std::map<int32_t, std::vector<SourceLine>> unused;
    std::vector<SourceLine> out;
    for (auto rs = c_.open("select RefTransID, AccountID, TransCurrID, AccCurrID, Credit, RefTransAmount, "
                           "AccountAmount, DeptAmount, CompAmount from paPayAccLinkDetails where CompanyID=" +
                           std::to_string(company_) + " and TransID=" + std::to_string(transId) +
                           " order by DetailID");
         !rs->eof(); rs->moveNext()) {
        SourceLine row{id(rs->field(0)),  id(rs->field(1)),  id(rs->field(2)),
                       id(rs->field(3)),  id(rs->field(4)),  num(rs->field(5)),
                       num(rs->field(6)), num(rs->field(7)), num(rs->field(8))};
        if (!unused.count(row.source)) unused[row.source] = linesOf(type, row.source);
        auto& pool = unused[row.source];
        auto it = std::find_if(pool.begin(), pool.end(),
                               [&](const SourceLine& l) { return l.text() == row.text(); });
        if (it == pool.end()) {
            row.source = 0;
            out.push_back(row);
        } else {
            out.push_back(*it);
            pool.erase(it);
        }
    }
    return out;
}

std::string Oracle::entryFaults(int32_t transId) const {
    std::ostringstream faults;
    const auto [department, type] = header(transId);
    if (!type) return "no entry " + std::to_string(transId) + "\n";
    const std::string entry =
        " where CompanyID=" + std::to_string(company_) + " and TransID=" + std::to_string(transId);
    for (const char* table : {"paPayAccLinkDetails", "paPayAccLinkPostingDetails"})
        if (c_.open(std::string("select count(*) = coalesce(max(DetailID), 0) from ") + table + entry)
                ->field(0)
                .toInt32() != 1)
            faults << table << " not numbered 1..n\n";

    // Each detail is a line of its source, a run linked whole; the gathered lines are their sums.
    PostingList gathered;
    std::map<int32_t, size_t> perRun;
    const auto rows = details(transId);
    for (size_t i = 0; i < rows.size(); ++i) {
        if (rows[i].source == 0)
            faults << "detail " << i + 1 << " is no line of its source: " << rows[i].text() << "\n";
        else
            gathered.tick(rows[i], true);
        ++perRun[rows[i].source];
    }
    if (type == 'P')
        for (const auto& [run, n] : perRun)
            if (run && linesOf('P', run).size() != n)
                faults << "run " << run << " linked with " << n << " lines\n";

    // Lines by hand hold their own conversion.
    const auto lines = stored(transId);
    for (size_t i = 0; i < lines.size(); ++i) {
        const Line& got = lines[i];
        std::string want;
        if (got.byHand) {
            const bool credit = got.debit == 0;
            want = byHand(department, got.account, credit ? got.credit : got.debit, credit).text();
        } else {
            auto it = std::find_if(gathered.lines.begin(), gathered.lines.end(), [&](const Line& l) {
                return l.account == got.account && l.ownCurrency == got.ownCurrency;
            });
            if (it != gathered.lines.end()) want = it->text(), gathered.lines.erase(it);
        }
        if (got.text() != want)
            faults << "line " << i + 1 << " is " << got.text() << ", not " << want << "\n";
    }
    for (const auto& l : gathered.lines) faults << "no line " << l.text() << "\n";
    return faults.str();
}

std::string Oracle::totals(int32_t transId) const {
    std::vector<std::pair<int32_t, std::vector<double>>> sums;
    for (const auto& l : stored(transId)) {
        auto it = std::find_if(sums.begin(), sums.end(),
                               [&](const auto& s) { return s.first == l.accountCurrency; });
        if (it == sums.end()) it = sums.insert(sums.end(), {l.accountCurrency, {0, 0, 0, 0}});
        const double add[] = {l.debit, l.credit, l.department, l.company};
        for (int i = 0; i < 4; ++i) it->second[i] += add[i];
    }
    std::string s;
    for (const auto& [currency, v] : sums) {
        auto rs = c_.open("select Symbol from pCurrencyMaster where CompanyID=" + std::to_string(company_) +
                          " and CurrencyID=" + std::to_string(currency));
        s += (rs->eof() ? "" : rs->field(0).joinText()) + " " + money(v[0]) + " " + money(v[1]) + " " +
             money(v[2]) + " " + money(v[3]) + "\n";
    }
    return s;
}

bool Oracle::balanced(int32_t transId) const {
    const int32_t department = header(transId).first;
    double deptSum = 0, compSum = 0;
    int deptConverted = 0, compConverted = 0;
    for (const auto& l : stored(transId)) {
        deptSum += l.department;
        compSum += l.company;
        deptConverted += l.byHand && l.accountCurrency != departmentCurrency(department);
        compConverted += l.byHand && l.accountCurrency != companyCurrency_;
    }
    return std::fabs(deptSum) <= 0.005 * (1 + deptConverted) + 1e-9 &&
           std::fabs(compSum) <= 0.005 * (1 + compConverted) + 1e-9;
}

std::string Oracle::ledger(const common::DateTime& from, const common::DateTime& to, bool cancelled) const {
    auto rs = c_.open(
        "select h.TransNo, strftime('%d/%m/%Y', h.TransDate), h.TransType, d.DepartmentName, p.DetailID, "
        "p.AccountID, p.AccountDesc, p.Description, coalesce(c.Symbol, p.AccCurrSymbol), p.DebitAmount, "
        "p.CreditAmount, p.DeptAmount, p.CompAmount, case when h.Cancelled=1 then 'Cancelled' when "
        "h.Posted=1 then 'Posted' else 'Open' end from paPayAccLinkHeader h join paPayAccLinkPostingDetails "
        "p on p.CompanyID=h.CompanyID and p.TransID=h.TransID left join pDepartmentMaster d on "
        "d.CompanyID=h.CompanyID and d.DepartmentID=h.DepartmentID left join pCurrencyMaster c on "
        "c.CompanyID=p.CompanyID and c.CurrencyID=p.AccCurrID where h.CompanyID=" +
        std::to_string(company_) + " and date(h.TransDate) between '" + day(from) + "' and '" + day(to) +
        "'" + (cancelled ? "" : " and coalesce(h.Cancelled, 0) <> 1") +
        " order by date(h.TransDate), h.TransID, p.DetailID");
    std::string s;
    for (; !rs->eof(); rs->moveNext()) {
        for (int f = 0; f < 14; ++f)
            s += (f == 2              ? typeName(rs->field(f).joinText())
                  : f >= 9 && f <= 12 ? money(num(rs->field(f)))
                                      : rs->field(f).joinText()) +
                 (f < 13 ? "|" : "\n");
    }
    return s;
}

std::string LedgerFaults(data::Connection& c) {
    const std::string lines =
        " from paPayAccLinkHeader h join paPayAccLinkPostingDetails p on p.CompanyID=h.CompanyID and "
        "p.TransID=h.TransID ";
    std::string s;
    auto rows = [&](const std::string& what, const std::string& sql) {
        for (auto rs = c.open(sql); !rs->eof(); rs->moveNext()) {
            s += what;
            for (int i = 0; i < rs->fieldCount(); ++i) s += " " + rs->field(i).joinText();
            s += "\n";
        }
    };
    rows(
        "unbalanced (company, entry, department and company sums):",
        "select h.CompanyID, h.TransNo, round(sum(p.DeptAmount), 6), round(sum(p.CompAmount), 6)" + lines +
            "left join pDepartmentMaster d on d.CompanyID=h.CompanyID and d.DepartmentID=h.DepartmentID left "
            "join pCompanyMaster m on m.CompanyID=h.CompanyID where coalesce(h.Cancelled, 0) <> 1 group by "
            "h.CompanyID, h.TransID having abs(sum(p.DeptAmount)) > 1e-9 + 0.005 * (1 + sum(p.Editable='Y' "
            "and p.AccCurrID is not d.DepCurrencyID)) or abs(sum(p.CompAmount)) > 1e-9 + 0.005 * (1 + "
            "sum(p.Editable='Y' and p.AccCurrID is not m.CurrencyID))");
    rows(
        "line without an account, a currency or an amount (company, entry, line, account):",
        "select h.CompanyID, h.TransNo, p.DetailID, p.AccountID" + lines +
            "left join aAccountMaster a on a.CompanyID=p.CompanyID and a.AccountID=p.AccountID left join "
            "pDepartmentMaster d on d.CompanyID=h.CompanyID and d.DepartmentID=h.DepartmentID left join "
            "pCompanyMaster m on m.CompanyID=h.CompanyID left join pExchangeRate rd on "
            "rd.CompanyID=h.CompanyID "
            "and rd.CurrencyID1=d.DepCurrencyID and rd.CurrencyID2=p.AccCurrID left join pExchangeRate rc on "
            "rc.CompanyID=h.CompanyID and rc.CurrencyID1=m.CurrencyID and rc.CurrencyID2=p.AccCurrID where "
            "a.CurrencyID is null or ((coalesce(p.DebitAmount, 0) <> 0 or coalesce(p.CreditAmount, 0) <> 0) "
            "and ((coalesce(p.DeptAmount, 0) = 0 and coalesce(rd.Rate, 0) = 0) or (coalesce(p.CompAmount, 0) "
            "= 0 and coalesce(rc.Rate, 0) = 0)))");
    // Runs are linked by payroll entries, payments by the others.
    for (const auto& [table, p, key, type] :
         {std::array<std::string, 4>{"pMonthlyPayRollProcessing", "mpp", "mppProcessID", "= 'P'"},
          {"pPaymentHeader", "ph", "phPaymentID", "<> 'P'"}})
        rows("source flagged apart from its live entries (company, source, flag, entries):",
             "select s." + p + "CompanyID, s." + key + ", coalesce(s." + p +
                 "Posted, 0), count(l.TransID) from " + table +
                 " s left join (select distinct d.CompanyID, d.RefTransID, d.TransID from "
                 "paPayAccLinkDetails d "
                 "join paPayAccLinkHeader h on h.CompanyID=d.CompanyID and h.TransID=d.TransID where "
                 "coalesce(h.Cancelled, 0) <> 1 and h.TransType " +
                 type + ") l on l.CompanyID=s." + p + "CompanyID and l.RefTransID=s." + key +
                 " group by 1, 2 having count(l.TransID) <> (coalesce(max(s." + p + "Posted), 0) = 1)");
    return s;
}

}  // namespace testsupport
