#include "support/Generator.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "common/Error.h"

namespace testsupport {

using data::Connection;

namespace {

constexpr int kInterfaceId = 60;

// The order in which gathering lists a run's lines; saved details keep it.
constexpr const char* kComponentOrder =
    "CASE v.sacComponent WHEN 'B' THEN 1 WHEN 'A' THEN 2 WHEN 'D' THEN 3 ELSE 4 END";

std::string quote(const std::string& s) {
    std::string out = "'";
    for (char ch : s) {
        out += ch;
        if (ch == '\'') out += '\'';
    }
    return out + "'";
}

std::string num(int64_t v) { return std::to_string(v); }

// Amounts are kept to the cent and written with exactly two decimals, as the suite keys them.
double cents(double x) { return static_cast<double>(std::llround(x * 100.0)) / 100.0; }
std::string money(double x) {
    char buf[40];
    std::snprintf(buf, sizeof buf, "%.2f", x);
    return buf;
}

int64_t scalarInt(Connection& c, const std::string& sql) {
    auto rs = c.open(sql);
    if (rs->eof() || rs->field(0).isNull()) return 0;
    return rs->field(0).toInt64();
}

bool exists(Connection& c, const std::string& table, const std::string& where) {
    return scalarInt(c, "select count(*) from " + table + " where " + where) > 0;
}

// Multi-row inserts of a few hundred rows each: far fewer statements than rows, and each
// statement stays small enough to adapt and parse quickly.
struct BulkInsert {
    Connection& c;
    std::string head, buf{};
    int rows = 0;
    void add(const std::string& tuple) {
        buf += (rows ? ",(" : "(") + tuple + ')';
        if (++rows == 400) flush();
    }
    void flush() {
        if (rows > 0) c.execute(head + " values " + buf);
        buf.clear();
        rows = 0;
    }
};

struct Tables {
    std::string department, header, details, posting;
};

std::string physical(Connection& c, const std::string& logical) {
    auto rs = c.open("select linktablename from linktable where tablename = " + quote(logical));
    std::string name = logical;
    for (; !rs->eof(); rs->moveNext())
        if (!rs->field(0).isNull()) name = rs->field(0).toText();  // the last row wins
    return name;
}

int64_t nextAccountId(Connection& c, int company) {
    return std::max<int64_t>(
        scalarInt(c, "select max(AccountID) from aAccountMaster where CompanyID = " + num(company)) + 1,
        1001);
}

void ensureCurrency(Connection& c, int company, int64_t currency) {
    if (exists(c, "pCurrencyMaster", "CompanyID = " + num(company) + " and CurrencyID = " + num(currency)))
        return;
    c.execute("insert into pCurrencyMaster (CompanyID, CurrencyID, Symbol, CurrencyName) values (" +
              num(company) + "," + num(currency) + "," + quote("CU" + num(currency)) + "," +
              quote("Currency " + num(currency)) + ")");
}

// Company, currencies, department, salary accounts, link settings and the browser's own
// rows: whatever the database lacks for the screens to work on the generated department.
// Returns the currency the department's staff are paid in.
int64_t ensureMasterData(Connection& c, int k, int64_t department, const Tables& t) {
    const std::string company = num(k);
    if (!exists(c, "pCompanyMaster", "CompanyID = " + company))
        c.execute("insert into pCompanyMaster (CompanyID, CompanyName, CurrencyID) values (" + company + "," +
                  quote("Company " + company) + ",1)");
    int64_t companyCurrency =
        scalarInt(c, "select coalesce(CurrencyID, 1) from pCompanyMaster where CompanyID = " + company);
    ensureCurrency(c, k, companyCurrency);

    const std::string dept = num(department);
    if (!exists(c, t.department, "CompanyID = " + company + " and DepartmentID = " + dept))
        c.execute("insert into " + t.department +
                  " (CompanyID, DepartmentID, DepartmentName, DepCurrencyID) values (" + company + "," +
                  dept + "," + quote("Department " + dept) + "," + num(companyCurrency) + ")");
    int64_t payCurrency =
        scalarInt(c, "select coalesce(DepCurrencyID, " + num(companyCurrency) + ") from " + t.department +
                         " where CompanyID = " + company + " and DepartmentID = " + dept);
    ensureCurrency(c, k, payCurrency);

    if (!exists(c, "paSalaryAccountsConfig",
                "sacCompanyID = " + company + " and sacCurrencyID = " + num(payCurrency))) {
        // Component code, account, credit: debits first.
        static const std::array<std::array<const char*, 3>, 4> components{
            {{"B", "Basic Salaries", "0"},
             {"A", "Allowances", "0"},
             {"D", "Salary Deductions Payable", "1"},
             {"N", "Net Salaries Payable", "1"}}};
        int64_t id = nextAccountId(c, k);
        for (const auto& [code, account, credit] : components) {
            c.execute("insert into aAccountMaster (CompanyID, AccountID, AccountDesc, CurrencyID) values (" +
                      company + "," + num(id) + "," +
                      quote(std::string(account) + " - CU" + num(payCurrency)) + "," + num(payCurrency) +
                      ")");
            c.execute(
                "insert into paSalaryAccountsConfig (sacCompanyID, sacCurrencyID, sacComponent, "
                "sacSalaryaccID, sacCredit) values (" +
                company + "," + num(payCurrency) + "," + quote(code) + "," + num(id++) + "," + credit + ")");
        }
    }

    static const char* const settings[] = {
        "A", "Salary Advances", "R", "Reimbursements", "S",    "Savings", "E", "Leave Encashments",
        "H", "Holded Salaries", "O", "Others",         "CASH", "Cash"};  // code, then name
    for (size_t i = 0; i < std::size(settings); i += 2) {
        const std::string code = settings[i], name = settings[i + 1];
        if (exists(c, "paPayAccLinkSettings", "CompanyID = " + company + " and SettingCode = " + quote(code)))
            continue;
        int64_t id = nextAccountId(c, k);
        c.execute("insert into aAccountMaster (CompanyID, AccountID, AccountDesc, CurrencyID) values (" +
                  company + "," + num(id) + "," + quote(name) + "," + num(companyCurrency) + ")");
        c.execute(
            "insert into paPayAccLinkSettings (CompanyID, SettingCode, SettingName, adcAccountID) values (" +
            company + "," + quote(code) + "," + quote(name) + "," + num(id) + ")");
    }

    if (!exists(c, "psettings", "companyid = " + company))
        c.execute("insert into psettings (companyid, noofpreviousdays) values (" + company + ",90)");
    if (!exists(c, "pusers", "userid = 1"))
        c.execute("insert into pusers (userid, username) values (1, 'admin')");
    if (!exists(c, "puserrights",
                "companyid = " + company + " and userid = 1 and interfaceid = " + num(kInterfaceId)))
        c.execute("insert into puserrights (companyid, userid, interfaceid, FunctionRights) values (" +
                  company + ",1," + num(kInterfaceId) + ",'NEDP')");
    if (!exists(c, "pprefix", "companyid = " + company + " and InterfaceID = " + num(kInterfaceId)))
        c.execute("insert into pprefix (companyid, InterfaceID, Prefix) values (" + company + "," +
                  num(kInterfaceId) + ",'PAL/')");
    if (!exists(c, "ptables", "tableid = 60")) {
        c.execute("insert into ptables (tableid, tablename) values (60, 'paPayAccLinkHeader')");
        c.execute(
            "insert into ptablecolumns (tableid, columnid, columnheader, columnname) values "
            "(60,1,'Trans ID','TransID'),(60,2,'Trans No','TransNo'),(60,3,'Trans Date','TransDate'),"
            "(60,4,'Type','TransType'),(60,5,'Department','DepartmentName'),"
            "(60,6,'Cancelled','cancel'),(60,7,'Posted','Posted')");
    }
    return payCurrency;
}

// The company's entry number prefix and the highest number it has given so far.
std::pair<std::string, int64_t> lastEntryNumber(Connection& c, const Tables& t, const std::string& company) {
    auto rs = c.open("select Prefix from pprefix where companyid = " + company +
                     " and InterfaceID = " + num(kInterfaceId));
    const std::string prefix = rs->eof() ? std::string() : rs->field(0).joinText();
    int64_t lastNo = 0;
    for (rs = c.open("select TransNo from " + t.header + " where CompanyID = " + company); !rs->eof();
         rs->moveNext()) {
        std::string no = rs->field(0).joinText();
        if (no.size() <= prefix.size() || no.size() - prefix.size() > 15 ||
            no.compare(0, prefix.size(), prefix) != 0)
            continue;
        std::string rest = no.substr(prefix.size());
        if (std::all_of(rest.begin(), rest.end(), [](char ch) { return ch >= '0' && ch <= '9'; }))
            lastNo = std::max<int64_t>(lastNo, std::stoll(rest));
    }
    return {prefix, lastNo};
}

// Journal lines of entries from..to-1: one per account and transaction currency, as the
// posting builder groups their details.
void insertJournalLines(Connection& c, const Tables& t, const std::string& company, int64_t from,
                        int64_t to) {
    c.execute("insert into " + t.posting +
              " (CompanyID, TransID, DetailID, DepartmentID, AccountID, AccountDesc, Description, "
              "AccCurrID, AccCurrSymbol, RefCurrID, RefCurrSymbol, DebitAmount, CreditAmount, "
              "RefTransAmount, DeptAmount, CompAmount, Editable) "
              "select CompanyID, TransID, row_number() over (partition by TransID order by min(DetailID)), "
              "min(DepartmentID), AccountID, min(AccountDesc), '', min(AccCurrID), min(AccCurrSymbol), "
              "TransCurrID, min(TransCurrSymbol), "
              "round(sum(case when Credit = 1 then 0 else AccountAmount end), 2), "
              "round(sum(case when Credit = 1 then AccountAmount else 0 end), 2), "
              "round(sum(case when Credit = 1 then -RefTransAmount else RefTransAmount end), 2), "
              "round(sum(case when Credit = 1 then -DeptAmount else DeptAmount end), 2), "
              "round(sum(case when Credit = 1 then -CompAmount else CompAmount end), 2), 'N' from " +
              t.details + " where CompanyID = " + company + " and TransID >= " + num(from) +
              " and TransID < " + num(to) + " group by CompanyID, TransID, AccountID, TransCurrID");
}

// The 28th of the month `back` months before October 2026, as ISO text, and its "yyyymm".
std::pair<std::string, std::string> processingMonth(int back) {
    const int months = 2026 * 12 + 9 - back;  // counted from January of year 0
    char iso[32], tag[32];
    std::snprintf(iso, sizeof iso, "%04d-%02d-28", months / 12, months % 12 + 1);
    std::snprintf(tag, sizeof tag, "%04d%02d", months / 12, months % 12 + 1);
    return {iso, tag};
}

template <class Pick>
std::string randomName(Pick& pick) {
    static const char* firsts[] = {"Ahmed", "Fatima", "Rajesh", "Priya",  "Mohammed", "Aisha",
                                   "John",  "Maria",  "Suresh", "Anita",  "Omar",     "Layla",
                                   "David", "Sarah",  "Vikram", "Deepa",  "Khalid",   "Noura",
                                   "Grace", "Arjun",  "Kavya",  "Hassan", "Mariam",   "Peter"};
    static const char* lasts[] = {"Al Mansoori", "Sharma", "Khan",   "Fernandes", "Pillai",
                                  "Haddad",      "Thomas", "Nair",   "Rahman",    "Menon",
                                  "Siddiqui",    "Joseph", "Kapoor", "Iyer",      "Mathew",
                                  "Qureshi",     "Reddy",  "Saleh",  "George",    "Patel"};

    return std::string(firsts[pick(std::size(firsts))]) + " " + lasts[pick(std::size(lasts))];
}

constexpr const char* kDetailColumns =
    " (CompanyID, TransID, DetailID, DepartmentID, RefTransID, RefTransNo, RefTransType, RefTransDate, "
    "EmpID, EmpName, EmpNo, AccountID, AccountDesc, TransCurrSymbol, AccCurrSymbol, TransCurrID, AccCurrID, "
    "RefTransAmount, AccountAmount, DeptAmount, CompAmount, Credit) ";

// Sources of every kind and the entries that link the posted months' ones; see the header.
void monthEnd(Connection& c, const MonthEndOptions& o) {
    Tables t{physical(c, "pDepartment"), physical(c, "paPayAccLinkHeader"),
             physical(c, "paPayAccLinkDetails"), physical(c, "paPayAccLinkPostingDetails")};
    const int k = o.companyId, D = o.departments, E = o.employees, P = o.payments, M = o.months;
    const int L = std::min(o.postedMonths, M), n = std::max(1, o.entriesPerType);
    const std::string company = num(k);
    std::mt19937 rng(o.seed);
    auto pick = [&rng](int m) { return std::uniform_int_distribution<int>(0, m - 1)(rng); };
    auto next = [&](const std::string& key, const std::string& table, const std::string& of) {
        return scalarInt(
            c, "select coalesce(max(" + key + "), 0) + 1 from " + table + " where " + of + " = " + company);
    };

    // The first department is in the company's currency (and makes the company); the others
    // take turns in it and in two more, each with stored rates both ways.
    const int64_t firstDept = next("DepartmentID", t.department, "CompanyID");
    std::vector<int64_t> currency(static_cast<size_t>(D));
    for (int d = 0; d < D; ++d) {
        const int64_t department = firstDept + d;
        if (d % 3 != 0) {
            const int64_t home = currency[0], other = home + 99 + d % 3;
            const double rate = d % 3 == 1 ? 3.6725 : 0.0442;
            ensureCurrency(c, k, other);
            c.execute(
                "insert or ignore into pExchangeRate (CompanyID, CurrencyID1, CurrencyID2, Rate) values (" +
                company + "," + num(home) + "," + num(other) + "," + std::to_string(rate) + "), (" + company +
                "," + num(other) + "," + num(home) + "," + std::to_string(1 / rate) + ")");
            c.execute("insert into " + t.department +
                      " (CompanyID, DepartmentID, DepartmentName, DepCurrencyID) values (" + company + "," +
                      num(department) + "," + quote("Department " + num(department)) + "," + num(other) +
                      ")");
        }
        currency[static_cast<size_t>(d)] = ensureMasterData(c, k, department, t);
    }

    const int64_t firstEmp = next("eEmployeeID", "pemployee", "eCompanyID");
    const int64_t firstRun = next("mppProcessID", "pMonthlyPayRollProcessing", "mppCompanyID");
    const int64_t firstPay = next("phPaymentID", "pPaymentHeader", "phCompanyID");
    BulkInsert staff{
        c, "insert into pemployee (eCompanyID, eEmployeeID, eEmpNo, eName, eDepartmentID, ecurrencyid)"};
    for (int64_t e = 0; e < int64_t{D} * E; ++e)
        staff.add(company + "," + num(firstEmp + e) + "," + quote("M" + num(firstEmp + e)) + "," +
                  quote(randomName(pick)) + "," + num(firstDept + e / E) + "," +
                  num(currency[static_cast<size_t>(e / E)]));
    staff.flush();
    BulkInsert runs{
        c,
        "insert into pMonthlyPayRollProcessing (mppCompanyID, mppProcessID, mppProcessNo, "
        "mppProcessedDate, mppDepartmentID, mppEmpID, mppBasic, mppAllowances, mppDeductions, mppNetPay)"};
    BulkInsert pays{
        c,
        "insert into pPaymentHeader (phCompanyID, phPaymentID, phPaymentNo, phDate, phDepartmentID, "
        "phEmployeeID, phcurrencyid, phType)"};
    BulkInsert lines{c, "insert into pPaymentDetails (pdCompanyID, pdPaymentID, pdLineID, pdPaymentAmt)"};
    for (int j = 0; j < M; ++j) {
        const auto [date, tag] = processingMonth(M - 1 - j);
        for (int d = 0; d < D; ++d) {
            for (int i = 0; i < E; ++i) {
                const double b = 2000.0 + 250.0 * pick(49), a = cents(b * 0.35 + 25.0 * pick(21)),
                             x = cents(b * 0.04 + 10.25 * pick(31));
                const int64_t id = firstRun + (int64_t{j} * D + d) * E + i;
                runs.add(company + "," + num(id) + "," + quote("MR" + tag + "/" + num(id)) + "," +
                         quote(date) + "," + num(firstDept + d) + "," + num(firstEmp + int64_t{d} * E + i) +
                         "," + money(b) + "," + money(a) + "," + money(x) + "," + money(b + a - x));
            }
            for (int q = 0; q < P && E > 0; ++q) {
                const int64_t id = firstPay + (int64_t{j} * D + d) * P + q;
                pays.add(
                    company + "," + num(id) + "," + quote("MP" + tag + "/" + num(id)) + "," + quote(date) +
                    "," + num(firstDept + d) + "," + num(firstEmp + int64_t{d} * E + q % E) + "," +
                    num(currency[static_cast<size_t>(d)]) + "," + quote(std::string(1, "ARSEHO"[q % 6])));
                lines.add(company + "," + num(id) + ",1," + money(100 + 12.35 * pick(80)));
            }
        }
    }
    runs.flush();
    pays.flush();
    lines.flush();

    // Entry (j, d, type, chunk) has TransID firstTrans + ((j*D + d)*7 + type)*n + chunk, so the
    // details below find their entry by arithmetic on the source's id.
    const int64_t firstTrans = next("TransID", t.header, "CompanyID"),
                  liveEnd = firstTrans + int64_t{L} * D * 7 * n;
    auto [prefix, lastNo] = lastEntryNumber(c, t, company);
    BulkInsert headers{
        c, "insert into " + t.header +
               " (CompanyID, TransID, DepartmentID, TransNo, TransDate, TransType, Remarks, Cancelled, "
               "cancelremarks)"};
    const int every = o.cancelledEvery;
    std::vector<std::string> twins;
    for (int j = 0; j < L; ++j) {
        const auto [date, tag] = processingMonth(M - 1 - j);
        for (int d = 0; d < D; ++d)
            for (int type = 0; type < 7; ++type) {
                // Sources of the cell: the department's runs, or its payments of the kind.
                const int64_t size = type == 0 ? E : P > type - 1 ? (P - (type - 1) + 5) / 6 : 0;
                for (int64_t chunk = 0; chunk < n; ++chunk) {
                    if ((chunk * size + n - 1) / n == ((chunk + 1) * size + n - 1) / n) continue;  // empty
                    const int64_t trans = firstTrans + ((int64_t{j} * D + d) * 7 + type) * n + chunk;
                    const std::string code(1, "PARSEHO"[type]);
                    const std::string dept = num(firstDept + d), row = quote(date) + "," + quote(code) + "," +
                                                                       quote("Month end " + tag + " " + code);
                    headers.add(company + "," + num(trans) + "," + dept + "," +
                                quote(prefix + num(++lastNo)) + "," + row + ",0,NULL");
                    if (every > 0 && (trans - firstTrans) % every == 0)
                        twins.push_back(num(liveEnd + (trans - firstTrans) / every) + "," + dept + ",%," +
                                        row + ",1,'Entered twice'");
                }
            }
    }
    for (std::string& twin : twins)
        headers.add(company + "," + twin.replace(twin.find('%'), 1, quote(prefix + num(++lastNo))));
    headers.flush();

    const std::string run = "(v.mppProcessID - " + num(firstRun) + ")";
    const std::string runTrans = num(firstTrans) + " + (" + run + " / " + num(E) + ") * " + num(7 * n) +
                                 " + (" + run + " % " + num(E) + ") * " + num(n) + " / " + num(E);
    c.execute(
        "insert into " + t.details + kDetailColumns + "select v.mppCompanyID, " + runTrans +
        ", row_number() over (partition by " + runTrans + " order by v.mppProcessID, " + kComponentOrder +
        "), v.mppDepartmentID, v.mppProcessID, v.mppProcessNo, v.Type, v.mppProcessedDate, v.mppEmpID, "
        "v.eName, "
        "v.eEmpNo, v.sacSalaryaccID, v.AccountDesc, v.ResSymbol, v.AccSymbol, v.sacCurrencyID, v.CurrencyID, "
        "v.netPay, v.AccExRate, v.DepExRate, v.CompExRate, v.Credit from vwPayrollAccountLines v "
        "where v.mppCompanyID = " +
        company + " and v.mppProcessID >= " + num(firstRun) + " and v.mppProcessID < " +
        num(firstRun + int64_t{L} * D * E));
    if (P > 0) {
        const std::string pay = "(v.phPaymentID - " + num(firstPay) + ")",
                          q = "(" + pay + " % " + num(P) + ")";
        const std::string payTrans = num(firstTrans) + " + ((" + pay + " / " + num(P) + ") * 7 + " + q +
                                     " % 6 + 1) * " + num(n) + " + (" + q + " / 6) * " + num(n) + " / ((" +
                                     num(P) + " - " + q + " % 6 + 5) / 6)";
        c.execute(
            "insert into " + t.details + kDetailColumns + "select v.phCompanyID, " + payTrans +
            ", row_number() over (partition by " + payTrans +
            " order by v.phPaymentID, v.pdLineID, v.Credit), "
            "v.phDepartmentID, v.phPaymentID, v.phPaymentNo, 'Payment', v.phDate, v.phEmployeeID, v.eName, "
            "v.eEmpNo, v.adcAccountID, v.AccountDesc, v.ResSymbol, v.AccSymbol, v.phcurrencyid, "
            "v.CurrencyID, "
            "v.pdPaymentAmt, v.AccExRate, v.DepExRate, v.CompExRate, v.Credit from vwPaymentAccountLines v "
            "where v.phCompanyID = " +
            company + " and v.phPaymentID >= " + num(firstPay) + " and v.phPaymentID < " +
            num(firstPay + int64_t{L} * D * P));
    }
    insertJournalLines(c, t, company, firstTrans, liveEnd);
    // The twins hold copies of their live entries' details and lines; the sources are flagged.
    for (const std::string& table : {t.details, t.posting})
        if (every > 0)
            for (const std::string& step :
                 {"create temp table twin as select * from " + table + " where CompanyID = " + company +
                      " and TransID >= " + num(firstTrans) + " and TransID < " + num(liveEnd) +
                      " and (TransID - " + num(firstTrans) + ") % " + num(every) + " = 0",
                  "update twin set TransID = " + num(liveEnd) + " + (TransID - " + num(firstTrans) + ") / " +
                      num(every),
                  "insert into " + table + " select * from twin", std::string("drop table twin")})
                c.execute(step);
    c.execute("update pMonthlyPayRollProcessing set mppPosted = 1 where mppCompanyID = " + company +
              " and mppProcessID >= " + num(firstRun) + " and mppProcessID < " +
              num(firstRun + int64_t{L} * D * E));
    c.execute("update pPaymentHeader set phPosted = 1 where phCompanyID = " + company +
              " and phPaymentID >= " + num(firstPay) + " and phPaymentID < " +
              num(firstPay + int64_t{L} * D * P));
}

// All of it or nothing, in one transaction.
template <class Body>
void inOneTransaction(Connection& c, const Body& body) {
    c.beginTrans();
    try {
        body();
        c.commitTrans();
    } catch (...) {
        if (c.inTransaction()) c.rollbackTrans();
        throw;
    }
}

}  // namespace

void generateMonthEnd(Connection& c, const MonthEndOptions& o) {
    if (o.departments < 1 || o.employees < 1 || o.payments < 0 || o.months < 0 || o.cancelledEvery < 0)
        common::raise(common::err::InvalidProcedureCall, "Generator",
                      "A month end needs departments and employees, and no negative counts.");
    inOneTransaction(c, [&] { monthEnd(c, o); });
}

}  // namespace testsupport
