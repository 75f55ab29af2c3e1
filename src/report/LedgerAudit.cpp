#include "report/LedgerAudit.h"

#include <algorithm>

#include "common/Conv.h"
#include "report/Fields.h"
#include "report/Statements.h"

namespace report {

namespace {

using fields::number;
using fields::text;

const common::SourceTable* const kKinds[] = {&common::kPayrollRuns, &common::kPayments};

int32_t whole(const common::Value& v) { return static_cast<int32_t>(number(v)); }
std::string amount(double v) { return common::Format(v, "0.00"); }
std::string tolerance(double v) { return common::Format(v, "0.000"); }

class Audit {
public:
    Audit(data::Connection& c, const data::TableNames& t) : c_(c), t_(t) {}

    void add(const std::string& check, int32_t company, std::string entry, std::string source,
             std::string text, std::string action) {
        result.findings.push_back(
            {check, company, std::move(entry), std::move(source), std::move(text), std::move(action)});
    }

    // One pass over a company's sources of one table. The spread of the live entries' keys
    // (none, 0 for one entry, more for several) and the flag decide which are wrong; only for
    // those are the entries counted and named.
    void sources(const common::SourceTable& k, const std::string& company) {
        auto links = [&](const std::string& what, const std::string& id) {
            return "(select " + what + " from " + t_.paPayAccLinkDetails + " d where " +
                   sql::LinksFor(t_, company, id, k.payroll, true) + ")";
        };
        auto entryNo = [&](const char* which) {
            return "(select " + std::string(which) + "(h.TransNo) from " + t_.paPayAccLinkHeader +
                   " h where h.CompanyID=" + company + " and h.TransID in " +
                   links("d.TransID", "m.SourceID") + ")";
        };
        const std::string id = std::string("m.") + k.key;
        std::string perSource = "select m." + std::string(k.company) + " CompanyID, " + id + " SourceID, m." +
                                k.number + " SourceNo, case when m." + k.posted +
                                "=1 then 1 else 0 end Flag, " + links("max(d.TransID)-min(d.TransID)", id) +
                                " Spread from " + k.table + " m where m." + k.company + "=" + company;
        std::string sql = "select m.CompanyID, m.SourceID, m.SourceNo, m.Flag, " +
                          links("count(distinct d.TransID)", "m.SourceID") + " Live, " + entryNo("min") +
                          " FirstEntry, " + entryNo("max") + " LastEntry from (" + perSource + ") m";
        sql += " where case isnull(m.Spread,-1) when -1 then m.Flag when 0 then 1-m.Flag else 1 end=1";
        auto rs = c_.open(sql);
        for (; !rs->eof(); rs->moveNext()) {
            const int32_t company = whole(rs->field(0));
            const std::string source = std::string(k.noun) + " " + text(rs->field(2)) + " (id " +
                                       std::to_string(whole(rs->field(1))) + ")";
            const long live = static_cast<long>(number(rs->field(4)));
            const std::string first = text(rs->field(5)), last = text(rs->field(6));
            const std::string flag = std::string(k.posted);
            if (live > 1) {
                const std::string entries = live == 2
                                                ? first + " and " + last
                                                : first + " ... " + last + " (" + std::to_string(live) + ")";
                add("twice-linked", company, entries, source,
                    "linked by " + std::to_string(live) + " live entries",
                    "cancel the one that linked it in error, then set " + flag +
                        " to 1 again, since the cancellation releases it");
            } else if (live == 0) {
                add("flag-without-link", company, "", source,
                    "flagged posted (" + flag +
                        "=1) but no live entry links it, so it is never listed to post",
                    "set " + flag +
                        " to 0 so that it can be posted, unless it reached the ledger another way");
            } else {
                add("link-without-flag", company, first, source,
                    "linked by live entry " + first + " but not flagged posted (" + flag +
                        "=0), so the linking screen lists it to post again",
                    "set " + flag + " to 1");
            }
        }
    }

    // Live entries whose department or company amounts do not net to zero within their
    // rounding: half a cent, and half a cent more for each hand line in another currency.
    void balance() {
        // As the save's ledger check counts them, so that what it lets through the audit passes.
        auto handLines = [](const std::string& currency) {
            return "sum(case when p.Editable='Y' and p.AccCurrID<>" + currency + " then 1 else 0 end)";
        };
        auto outside = [](const std::string& sum, const std::string& hand) {
            return "abs(" + sum + ")>0.005000001*(1+" + hand + ")";
        };
        const std::string dept = "sum(isnull(p.DeptAmount,0))", comp = "sum(isnull(p.CompAmount,0))";
        const std::string deptHand = handLines("dp.DepCurrencyID"), compHand = handLines("c.CurrencyID");
        std::string sql = "select h.CompanyID, h.TransID, h.TransNo, " + dept + " Dept, " + comp + " Comp, " +
                          deptHand + " DeptHand, " + compHand + " CompHand, max(dc.Symbol) DeptSymbol," +
                          " max(cc.Symbol) CompSymbol from " + t_.paPayAccLinkHeader + " h";
        sql += " inner join " + t_.paPayAccLinkPostingDetails +
               " p on p.CompanyID=h.CompanyID and p.TransID=h.TransID";
        sql += " left join " + t_.pDepartment +
               " dp on dp.CompanyID=h.CompanyID and dp.DepartmentID=h.DepartmentID";
        sql += " left join " + t_.pCompanyMaster + " c on c.CompanyID=h.CompanyID";
        sql += " left join " + t_.pCurrencyMaster +
               " dc on dc.CompanyID=h.CompanyID and dc.CurrencyID=dp.DepCurrencyID";
        sql += " left join " + t_.pCurrencyMaster +
               " cc on cc.CompanyID=h.CompanyID and cc.CurrencyID=c.CurrencyID";
        sql += " where isnull(h.Cancelled,0)<>1 group by h.CompanyID, h.TransID, h.TransNo";
        sql += " having " + outside(dept, deptHand) + " or " + outside(comp, compHand);
        sql += " order by h.CompanyID, h.TransID";
        auto rs = c_.open(sql);
        for (; !rs->eof(); rs->moveNext()) {
            const double d = number(rs->field("Dept")), k = number(rs->field("Comp"));
            const std::string deptSymbol = text(rs->field("DeptSymbol")),
                              compSymbol = text(rs->field("CompSymbol"));
            add("unbalanced", whole(rs->field(0)), text(rs->field(2)), "",
                "department amounts sum to " + amount(d) + " " + deptSymbol + " and company amounts to " +
                    amount(k) + " " + compSymbol + " (within " +
                    tolerance(0.005 * (1 + number(rs->field("DeptHand")))) + " and " +
                    tolerance(0.005 * (1 + number(rs->field("CompHand")))) + " would do)",
                "open it and correct its lines, or cancel it and post its sources again");
        }
    }

    // Lines of live entries whose account the company does not have, or whose currency is
    // unknown.
    void lines() {
        std::string sql =
            "select h.CompanyID, h.TransNo, p.DetailID, p.AccountID, p.AccountDesc, p.AccCurrID,"
            " a.AccountID KnownAccount, cu.CurrencyID KnownCurrency from " +
            t_.paPayAccLinkHeader + " h";
        sql += " inner join " + t_.paPayAccLinkPostingDetails +
               " p on p.CompanyID=h.CompanyID and p.TransID=h.TransID";
        sql +=
            " left join " + t_.aAccountMaster + " a on a.CompanyID=p.CompanyID and a.AccountID=p.AccountID";
        sql += " left join " + t_.pCurrencyMaster +
               " cu on cu.CompanyID=p.CompanyID and cu.CurrencyID=p.AccCurrID";
        sql += " where isnull(h.Cancelled,0)<>1 and (a.AccountID is null or cu.CurrencyID is null)";
        sql += " order by h.CompanyID, h.TransID, p.DetailID";
        auto rs = c_.open(sql);
        for (; !rs->eof(); rs->moveNext()) {
            const int32_t company = whole(rs->field(0));
            const std::string line = "line " + std::to_string(whole(rs->field(2))) + " (account " +
                                     rs->field(3).joinText() + " " + text(rs->field(4)) + ")";
            if (rs->field("KnownAccount").isNull())
                add("unknown-account", company, text(rs->field(1)), "",
                    line + " names an account that company " + std::to_string(company) + " does not have",
                    "cancel the entry and post its sources again once the account is set up");
            else
                add("no-currency", company, text(rs->field(1)), "",
                    line + " has no known currency (AccCurrID " +
                        (rs->field(5).isNull() ? std::string("empty") : rs->field(5).joinText()) + ")",
                    "set the line's AccCurrID to the account's currency");
        }
    }

    void numbers(int32_t interfaceId) {
        auto rs = c_.open("select CompanyID, TransNo, count(*) Entries, min(TransID), max(TransID) from " +
                          t_.paPayAccLinkHeader + " group by CompanyID, TransNo having count(*)>1" +
                          " order by CompanyID, min(TransID)");
        for (; !rs->eof(); rs->moveNext()) {
            const std::string no = text(rs->field(1));
            const std::string ids = std::to_string(whole(rs->field(3))) +
                                    (number(rs->field(2)) > 2 ? " ... " : " and ") +
                                    std::to_string(whole(rs->field(4)));
            add("duplicate-number", whole(rs->field(0)), no, "",
                (no.empty() ? std::string("entries without a number: ")
                            : "entry number " + no + " is used by ") +
                    rs->field(2).joinText() + " entries (TransID " + ids + ")",
                no.empty() ? "give each a number of its own"
                           : "give all but one of them a number of their own");
        }

        // The suffix after the company's prefix: the numbering takes the highest whole one,
        // and the classic statement fails on one that isnumeric accepts and int refuses. A
        // server without TRY_CONVERT (level below 110) is asked the same of the digits.
        const std::string prefix = "isnull(x.Prefix,'')";
        const std::string suffix = "substring(h.TransNo,len(" + prefix + ")+1,4000)";
        const std::string beyond = c_.dialect().hasTryConvert()
                                       ? "isnull(try_convert(int," + suffix + "),2147483647)=2147483647"
                                       : "not (" + suffix + " not like '%[^0-9]%' and (len(" + suffix +
                                             ") between 1 and 9 or (len(" + suffix + ")=10 and " + suffix +
                                             "<'2147483647')))";
        std::string sql = "select h.CompanyID, h.TransNo, " + prefix + " Prefix from " +
                          t_.paPayAccLinkHeader + " h left join " + t_.pprefix +
                          " x on x.companyid=h.CompanyID and x.InterfaceID=" + std::to_string(interfaceId);
        sql += " where len(h.TransNo)>len(" + prefix +
               ") and (x.Prefix=substring(h.TransNo,1,len(x.Prefix)) or " + prefix + "='') and isnumeric(" +
               suffix + ")=1 and " + beyond;
        sql += " order by h.CompanyID, h.TransID";
        rs = c_.open(sql);
        for (; !rs->eof(); rs->moveNext())
            add("number-blocks-numbering", whole(rs->field(0)), text(rs->field(1)), "",
                "entry number " + text(rs->field(1)) + " continues the prefix '" + text(rs->field(2)) +
                    "' with a number the numbering cannot count past (not a whole one, or the largest there "
                    "is), so the classic numbering fails for every new entry of the company",
                "renumber it with a whole number below 2147483647");
    }

    long count(const std::string& sql) {
        auto rs = c_.open(sql);
        return rs->eof() ? 0 : static_cast<long>(number(rs->field(0)));
    }

    AuditResult result;

private:
    data::Connection& c_;
    const data::TableNames& t_;
};

}  // namespace

AuditResult RunAudit(data::Connection& connection, const data::TableNames& tables, int32_t interfaceId) {
    sql::RequireTables(tables);
    Audit audit(connection, tables);
    // Company by company, so that each reads its entries of a kind once, as a list.
    auto rs = connection.open("select CompanyID from " + tables.pCompanyMaster +
                              " union select CompanyID from " + tables.paPayAccLinkHeader +
                              " union select mppCompanyID from pMonthlyPayRollProcessing" +
                              " union select phCompanyID from pPaymentHeader");
    std::vector<std::string> companies;
    for (; !rs->eof(); rs->moveNext()) companies.push_back(rs->field(0).joinText());
    for (const std::string& company : companies)
        for (const common::SourceTable* k : kKinds) audit.sources(*k, company);
    // Twice-linked first, then the flags, whatever table they came from.
    std::stable_sort(audit.result.findings.begin(), audit.result.findings.end(),
                     [](const Finding& a, const Finding& b) {
                         auto rank = [](const std::string& c) {
                             return c == "twice-linked" ? 0 : c == "flag-without-link" ? 1 : 2;
                         };
                         return rank(a.check) < rank(b.check);
                     });
    audit.balance();
    audit.lines();
    audit.numbers(interfaceId);
    audit.result.entries = audit.count("select count(*) from " + tables.paPayAccLinkHeader);
    for (const common::SourceTable* k : kKinds)
        audit.result.sources += audit.count(std::string("select count(*) from ") + k->table);
    return std::move(audit.result);
}

}  // namespace report
