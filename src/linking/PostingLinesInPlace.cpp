#include "linking/PostingLinesInPlace.h"

#include <cmath>
#include <deque>
#include <map>

#include "common/Conv.h"

namespace linking {

namespace {

using common::Value;

// Positions in a PostingLine.
enum : size_t { kAccount = 1, kRefCurrency = 6, kDebit = 8, kCredit = 9, kEditable = 13 };

double Number(const Value& v) { return common::Val(v.joinText()); }

// A gathered line is the one line of its account and currency, on whichever side its sum
// falls; lines added by hand may repeat an account, so their side tells them apart too.
std::string LineKey(const Value& account, const Value& currency, const Value& editable, double debit,
                    double credit) {
    const std::string kind = common::UCase(common::Trim(editable.joinText()));
    std::string key = std::to_string(std::llround(Number(account))) + "|" +
                      std::to_string(std::llround(Number(currency))) + "|" + kind;
    if (kind != "N") key += debit - credit < 0 ? "|C" : "|D";
    return key;
}

}  // namespace

void WritePostingLinesInPlace(data::Connection& conn, const std::string& table, int32_t companyId,
                              int32_t transId, const std::vector<PostingLine>& lines, data::Command& insert) {
    const std::string where =
        " where CompanyID=" + std::to_string(companyId) + " and TransID=" + std::to_string(transId);
    // The stored lines of each key in line order: the n-th listed line of a key is its n-th
    // stored one.
    std::map<std::string, std::deque<int64_t>> stored;
    auto rs = conn.open("select DetailID, AccountID, RefCurrID, Editable, DebitAmount, CreditAmount from " +
                            table + where + " order by DetailID",
                        data::CursorType::ForwardOnly, data::LockType::ReadOnly);
    for (; !rs->eof(); rs->moveNext())
        stored[LineKey(rs->field(1), rs->field(2), rs->field(3), Number(rs->field(4)), Number(rs->field(5)))]
            .push_back(rs->field(0).toInt64());
    rs->close();

    // The stored lines step aside to negative numbers, so that renumbering never holds one
    // number twice; those still negative at the end are the lines the user removed.
    conn.execute(" update " + table + " set DetailID=-DetailID" + where);
    auto update = conn.command(" update " + table +
                               " set DetailID=?, DepartmentID=?, AccountID=?, AccountDesc=?, Description=?, "
                               "AccCurrID=?, AccCurrSymbol=?, RefCurrID=?, RefCurrSymbol=?, DebitAmount=?, "
                               "CreditAmount=?, RefTransAmount=?, DeptAmount=?, CompAmount=?, Editable=?" +
                               where + " and DetailID=?");
    for (size_t i = 0; i < lines.size(); ++i) {
        const PostingLine& line = lines[i];
        const Value detailId(static_cast<int64_t>(i + 1));
        auto match = stored.find(LineKey(line[kAccount], line[kRefCurrency], line[kEditable],
                                         Number(line[kDebit]), Number(line[kCredit])));
        std::vector<Value> values;
        if (match != stored.end() && !match->second.empty()) {
            values.push_back(detailId);
            values.insert(values.end(), line.begin(), line.end());
            values.emplace_back(-match->second.front());
            match->second.pop_front();
            update->execute(values);
        } else {
            values = {Value(companyId), Value(transId), detailId};
            values.insert(values.end(), line.begin(), line.end());
            insert.execute(values);
            insert.refreshParameters();
        }
    }
    conn.execute("Delete from " + table + where + " and DetailID<0");
}

}  // namespace linking
