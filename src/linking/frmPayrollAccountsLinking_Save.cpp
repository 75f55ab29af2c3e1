// Saving: the checks, the entry number, the one transaction that writes an entry and flags
// its sources, the browser row refresh and the closing of the screen.
#include <map>
#include <utility>
#include <vector>

#include "browser/FrmMaster.h"
#include "browser/GridColumns.h"
#include "common/Conv.h"
#include "common/DateTime.h"
#include "common/Utf8.h"
#include "data/ErrorLog.h"
#include "linking/LedgerCheck.h"
#include "linking/PostingLinesInPlace.h"
#include "linking/frmPayrollAccountsLinking.h"
#include "linking/frmPayrollAccountsLinking_Index.h"
#include "report/EntryHistory.h"
#include "report/Statements.h"
#include "ui/Helpers.h"

namespace linking {

using common::Trim;
using common::Val;
using common::Value;

namespace {

Value Number(const std::string& cell) { return Value(Val(cell)); }
Value Text(const std::string& cell) { return Value(Trim(cell)); }
Value DateText(const data::Dialect& dialect, const std::string& cell) {
    return dialect.dateValue(common::toDate(cell), "dd/MMM/yyyy");
}

// The TransID of the browser's selected row.
int32_t SelectedTransID(entry::Module& module) {
    auto& grid = module.FrmMaster().flexMaster;
    return WholeNumber(grid.textMatrix(grid.row(), browser::mst::TransID));
}

// The credit that makes the stored line what its total shows. The list holds a credit added by
// hand as a negative credit (its total negative) and an edited one as a positive one, and a
// gathered credit sum may be negative in its own right (a negative payment line, its total
// positive). Re-opening an entry reads a line's side as its debit less its credit, so the
// stored credit is the debit less the total: a hand credit is stored positive, a negative
// gathered credit stays negative, and each line re-opens on the side it was saved on.
Value StoredCredit(const std::string& debit, const std::string& total) {
    return Value(Val(debit) - Val(total));
}

std::string QuotedText(const std::string& text) {
    std::string out = "'";
    for (char c : text) out += c == '\'' ? std::string("''") : std::string(1, c);
    return out + "'";
}

// The number a refused ledger check is logged with: the first of the numbers an application
// may raise as its own.
constexpr int32_t kLedgerCheckFailed = -2147221504 + 513;
// How often a save takes fresh keys after another copy took the ones it read.
constexpr int kKeyAttempts = 5;
// A long list of sources is checked in slices, so that no statement grows without bound.
constexpr size_t kSourcesPerCheck = 1000;

}  // namespace

// A save stopped by a guard: rolled back, the screen left as it was before Ok. An empty
// sentence means the user has been told already.
struct frmPayrollAccountsLinking::SaveStopped {
    std::string sentence;
};

void frmPayrollAccountsLinking::cmdOk_Click() {
    const int info = ui::vbOKOnly + ui::vbInformation;
    // A save that does not go through leaves the screen as unsaved as it found it, so that
    // closing it still offers to save the user's work.
    const std::string tagBefore = cmdOk.Tag, numberBefore = txtTransNo.text();
    auto rollBack = [&] {
        auto& conn = module_.connection();
        // A rollback that fails (the connection is gone, and its transaction with it) must
        // not cost the work on screen.
        try {
            if (module_.TransactionOpen && conn.inTransaction()) conn.rollbackTrans();
        } catch (const common::Error&) {
        }
        cmdOk.Tag = tagBefore;
        if (txtTransNo.text() != numberBefore) txtTransNo.setText(numberBefore);
    };
    try {
        if (module_.EntryMode == "E" && browser::IsEntryPosted(module_)) {
            module_.MsgBox("Entry Posted. Cannot Save.", info);
            return;
        }
        if (cboType.listIndex() == -1) {
            module_.MsgBox("Select a type.", info);
            cboType.setListIndex(-1);
            if (fraDateRange.enabled()) cboType.setFocus();
            return;
        }
        if (cboDepartment.listIndex() == -1) {
            module_.MsgBox("Select a department.", info);
            cboDepartment.setListIndex(-1);
            if (fraDateRange.enabled()) cboDepartment.setFocus();
            return;
        }
        // Compared with the host's process date, not the machine's clock, whatever the text says.
        if (common::formatDate(common::toDate(module_.session.processDate), "yyyy/mm/dd") >
            common::formatDate(dtpTransDate.value(), "yyyy/mm/dd")) {
            module_.MsgBox("Date cannot be less than today.", info);
            dtpTransDate.setFocus();
            return;
        }
        if (lvwPostingDetails.count() == 0) {
            module_.MsgBox("Select at least one details.", info);
            lvwPostingDetails.setFocus();
            return;
        }
        // No tolerance: the balance must be exactly zero.
        if (Val(txtTotDepAmount.text()) != 0.0) {
            module_.MsgBox("Debit total and Credit total must be same", info);
            lvwPostingDetails.setFocus();
            return;
        }
        InsertIntoTable();
    } catch (const SaveStopped& stop) {
        rollBack();
        if (!stop.sentence.empty()) module_.MsgBox(stop.sentence, info);
    } catch (const common::Error& e) {
        // The flag outlives a failed save; a retry that fails before its own transaction
        // begins has nothing to roll back.
        rollBack();
        module_.MsgBox(e.description(), info);
    }
}

std::string frmPayrollAccountsLinking::Generateappno() {
    try {
        return NextEntryNumber();
    } catch (const common::Error& e) {
        // Screen and procedure names are those the suite's log readers know this handler by.
        module_.LogError("Employeeexit", module_.session.userId, "Generateexitno", e.number(), e.source(),
                         e.description(), module_.EntryMode, true);
        return std::string();
    }
}

std::string frmPayrollAccountsLinking::NextEntryNumber() {
    auto& s = module_.session;
    auto& conn = module_.connection();
    const std::string company = std::to_string(s.companyId);

    std::string prefix;
    auto rs = conn.open("SELECT Prefix FROM " + s.tables.pprefix + " WHERE InterfaceID = " +
                            std::to_string(s.interfaceId) + " and companyid=" + company,
                        data::CursorType::ForwardOnly, data::LockType::ReadOnly);
    if (!rs->eof()) prefix = rs->field("Prefix").joinText();
    rs->close();

    // Only numbers of this company that are the prefix followed by digits count.
    // Characters, not bytes: a prefix in another script is cut where the server cuts it.
    const std::string len = std::to_string(common::utf8Length(prefix));
    std::string sql = "Select isnull(max(convert(int,right(TransNo,len(TransNo)-" + len + "))),0) from " +
                      s.tables.paPayAccLinkHeader + " where CompanyID    = " + company +
                      " and len(TransNo)>len('" + prefix + "') and " +
                      " isnumeric(isnull(right(TransNo,len(TransNo)-" + len +
                      "),0)) =1 and substring(TransNo,1,len('" + prefix + "'))='" + prefix + "'";
    std::string highest;
    try {
        rs = conn.open(sql, data::CursorType::Static, data::LockType::Optimistic);
        highest = rs->eof() ? std::string("0") : rs->field(0).toText();
        rs->close();
    } catch (const common::Error& e) {
        // Logged for support without a message: the guarded statement numbers the entry and
        // the save goes on, also when the log itself cannot be written.
        try {
            module_.LogError("Employeeexit", s.userId, "Generateexitno", e.number(), e.source(),
                             e.description(), module_.EntryMode, false);
        } catch (const common::Error&) {
        }
        highest = HighestEntryNumberGuarded(prefix);
    }

    int32_t next = common::CLng(Val(highest) + 1);
    return prefix + std::to_string(next);
}

// The classic statement fails for the whole company once one stored number continues the
// prefix with a text that isnumeric accepts and int refuses ('PAL/1.5', 'PAL/1e5',
// 'PAL/1,000', more than an int holds), and SQL Server may take right() of an older number
// shorter than the prefix before the length test (error 536). Here only suffixes starting
// with a digit that convert to an int count, and substring never gets a negative length.
std::string frmPayrollAccountsLinking::HighestEntryNumberGuarded(const std::string& prefix) {
    auto& s = module_.session;
    // The server counts characters, not bytes: a prefix in Arabic is as long as it looks.
    const std::string suffix =
        "substring(TransNo," + std::to_string(common::utf8Length(prefix) + 1) + ",4000)";
    // Before compatibility level 110 TRY_CONVERT is no keyword: up to nine digits always fit.
    const std::string number = module_.connection().dialect().hasTryConvert()
                                   ? "try_convert(int," + suffix + ")"
                                   : "convert(int,case when " + suffix + " not like '%[^0-9]%' and len(" +
                                         suffix + ") between 1 and 9 then " + suffix + " end)";
    std::string sql = "Select isnull(max(" + number + "),0) from " + s.tables.paPayAccLinkHeader +
                      " where CompanyID = " + std::to_string(s.companyId) + " and substring(TransNo,1,len('" +
                      prefix + "'))='" + prefix + "' and " + suffix + " like '[0-9]%'";
    auto rs = module_.connection().open(sql, data::CursorType::Static, data::LockType::Optimistic);
    std::string highest = rs->eof() ? std::string("0") : rs->field(0).toText();
    rs->close();
    return highest;
}

void frmPayrollAccountsLinking::InsertIntoTable() {
    auto& s = module_.session;
    auto& conn = module_.connection();
    const std::string company = std::to_string(s.companyId);
    cmdOk.Tag = "Success";

    if (module_.EntryMode == "N") {
        const std::string typeCode = entry::TypeCodeOfName(Trim(cboType.text()));
        // Read again on every attempt, so that a retry after a clash takes a free key.
        int32_t transId =
            db_->nextFreeKey(s.tables.paPayAccLinkHeader + " where CompanyID = " + company, "TransID");
        txtTransNo.setText(EntryNumberOrStop());

        conn.beginTrans();
        module_.TransactionOpen = true;
        module_.LockCompanyEntries();
        TakeFreeEntryKeys(transId);
        // Under the transaction's lock from here to the commit, so it holds at the commit too;
        // before the writes, it costs a fraction and stops early.
        StopIfSourcesTaken(transId);
        auto cmd = conn.command(" insert into " + s.tables.paPayAccLinkHeader + " ( CompanyID," +
                                "TransID, DepartmentID, TransNo, TransDate, TransType, Remarks, Cancelled) " +
                                "values (?, ?, ?, ?, ?, ?, ?, ?) ");
        cmd->refreshParameters();
        cmd->execute(
            {Value(s.companyId), Value(transId), Value(cboDepartment.itemData(cboDepartment.listIndex())),
             Value(Trim(txtTransNo.text())), conn.dialect().dateValue(dtpTransDate.value(), "dd/MMM/yyyy"),
             Value(typeCode.substr(0, 1)), Value(Trim(txtRemarks.text())), Value(0)});
        InsertIntoDetailTable(transId);
        InsertIntoPostingDetailsTable(transId);
        UpdateTransTables();
        report::RecordEntryEvent(conn, s.companyId, transId, s.userId, 'N');
        StopIfLedgerBreaks(transId);
        conn.commitTrans();
        module_.TransactionOpen = false;

        UpdateEditedRow("transID= " + std::to_string(transId) + "  and  pa.CompanyID=" + company, transId);
    } else if (module_.EntryMode == "E") {
        int32_t transId = SelectedTransID(module_);
        // Type, department and number of a saved entry never change.
        std::string sql = " update " + s.tables.paPayAccLinkHeader + " set TransDate=?, " +
                          "Remarks=? where CompanyID=" + company + " and transID=" + std::to_string(transId);
        conn.beginTrans();
        module_.TransactionOpen = true;
        module_.LockCompanyEntries();
        StopIfEntryClosed(transId);
        StopIfSourcesTaken(transId);
        auto cmd = conn.command(sql);
        cmd->refreshParameters();
        cmd->execute({Value(dtpTransDate.value()), Value(Trim(txtRemarks.text()))});
        InsertIntoDetailTable(transId);
        InsertIntoPostingDetailsTable(transId);
        UpdateTransTables();
        report::RecordEntryEvent(conn, s.companyId, transId, s.userId, 'E');
        StopIfLedgerBreaks(transId);
        conn.commitTrans();
        module_.TransactionOpen = false;

        UpdateEditedRow("TransID= " + std::to_string(transId) + " and pa.CompanyID=" + company, transId);
    }
    unload();
}

void frmPayrollAccountsLinking::InsertIntoDetailTable(int32_t& transId) {
    auto& s = module_.session;
    auto& conn = module_.connection();
    const std::string company = std::to_string(s.companyId);
    if (module_.EntryMode == "E") {
        conn.execute("Delete from " + s.tables.paPayAccLinkDetails + " where CompanyID=" + company +
                     " and transid=" + std::to_string(transId));
    }
    auto cmd =
        conn.command(" insert into " + s.tables.paPayAccLinkDetails + "( CompanyID, TransID, " +
                     "DetailID, DepartmentID, RefTransID, RefTransNo, RefTransType, RefTransDate," +
                     "EmpID, EmpName, EmpNo, AccountID, AccountDesc, TransCurrSymbol, AccCurrSymbol," +
                     "TransCurrID, AccCurrID, RefTransAmount, AccountAmount, DeptAmount, CompAmount," +
                     "Credit) Values ( ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?) ");
    auto& l = lvwTransactionDetails;
    int32_t detailId = 0;
    linkedSources_.clear();
    for (int r = 1; r <= l.count(); ++r) {
        if (!l.checked(r)) continue;
        ++detailId;
        linkedSources_.push_back(WholeNumber(l.cell(r, det::TransID)));
        cmd->execute({Value(s.companyId),
                      Value(transId),
                      Value(detailId),
                      Number(l.cell(r, det::DeptID)),
                      Number(l.cell(r, det::TransID)),
                      Text(l.cell(r, det::TransNo)),
                      Text(l.cell(r, det::Type)),
                      DateText(conn.dialect(), l.cell(r, det::Date)),
                      Number(l.cell(r, det::EmpID)),
                      Text(l.cell(r, det::Employee)),
                      Text(l.cell(r, det::EmpNo)),
                      Number(l.cell(r, det::AccountID)),
                      Text(l.cell(r, det::AccountName)),
                      Text(l.cell(r, det::ResCurr)),
                      Text(l.cell(r, det::AccCur)),
                      Number(l.cell(r, det::ResCurrID)),
                      Number(l.cell(r, det::AccCurrID)),
                      Number(l.cell(r, det::RespAmt)),
                      Number(l.cell(r, det::Amount)),
                      Number(l.cell(r, det::DepAmount)),
                      Number(l.cell(r, det::ComAmt)),
                      Number(l.cell(r, det::Credit))});
        cmd->refreshParameters();
    }
}

void frmPayrollAccountsLinking::InsertIntoPostingDetailsTable(int32_t& transId) {
    auto& s = module_.session;
    auto& conn = module_.connection();
    auto cmd = conn.command(" insert into " + s.tables.paPayAccLinkPostingDetails + "( CompanyID, " +
                            "TransID, DetailID, DepartmentID, AccountID, AccountDesc, Description, " +
                            "AccCurrID, AccCurrSymbol, RefCurrID, RefCurrSymbol, DebitAmount, CreditAmount," +
                            "RefTransAmount, DeptAmount, CompAmount, Editable) Values " +
                            "( ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?) ");
    auto& l = lvwPostingDetails;
    std::vector<PostingLine> lines;
    lines.reserve(static_cast<size_t>(l.count()));
    for (int r = 1; r <= l.count(); ++r)
        lines.push_back({Number(l.cell(r, pst::DeptID)), Number(l.cell(r, pst::DebitAccountID)),
                         Text(l.cell(r, pst::DebitAccount)), Text(l.cell(r, pst::Description)),
                         Number(l.cell(r, pst::AccCurrID)), Text(l.cell(r, pst::AccCurrency)),
                         Text(l.cell(r, pst::ResCurrID)), Text(l.cell(r, pst::TransCurr)),
                         Number(l.cell(r, pst::DebitAmount)),
                         StoredCredit(l.cell(r, pst::DebitAmount), l.cell(r, pst::TotalAmount)),
                         Number(l.cell(r, pst::TransAmt)), Number(l.cell(r, pst::DeptAmount)),
                         Number(l.cell(r, pst::CompAmount)), Text(l.cell(r, pst::Editable))});
    // Deleting and inserting an edited entry's lines would drop what the suite keeps in columns
    // of its own; they are written over the stored ones instead.
    if (module_.EntryMode == "E") {
        WritePostingLinesInPlace(conn, s.tables.paPayAccLinkPostingDetails, s.companyId, transId, lines,
                                 *cmd);
        return;
    }
    for (size_t i = 0; i < lines.size(); ++i) {
        std::vector<Value> values{Value(s.companyId), Value(transId), Value(static_cast<int32_t>(i + 1))};
        values.insert(values.end(), lines[i].begin(), lines[i].end());
        cmd->execute(values);
        cmd->refreshParameters();
    }
}

void frmPayrollAccountsLinking::UpdateTransTables() {
    auto& conn = module_.connection();
    const std::string company = std::to_string(module_.session.companyId);
    const common::TransactionType* type = SelectedType();
    const bool editing = module_.EntryMode == "E";

    flagged_.clear();
    if (type == nullptr) return;
    const common::SourceTable& source = *type->source;
    const std::string update = std::string("update ") + source.table + " set " + source.posted + "=";
    const std::string where =
        std::string(" where ") + source.company + "=" + company + " and " + source.key + "=";
    const std::string set = update + "1" + where, clear = update + "0" + where;
    // An edited entry releases every listed source that is no longer ticked.
    for (const auto& [key, ticked] : SourceTicks()) {
        if (ticked) {
            flagged_.push_back(WholeNumber(key));
            conn.execute(set + key);
        } else if (editing) {
            conn.execute(clear + key);
        }
    }
}

std::vector<std::pair<std::string, bool>> frmPayrollAccountsLinking::SourceTicks() {
    std::vector<std::pair<std::string, bool>> sources;
    if (RunsSelected()) {
        for (int r = 1; r <= lvwTransactions.count(); ++r)
            sources.emplace_back(lvwTransactions.cell(r, trn::TransID), lvwTransactions.checked(r));
        return sources;
    }
    // A payment's lines are ticked one by one and its retrieval leaves the transaction list
    // empty: the payment counts as linked while any of its lines is ticked.
    std::map<std::string, size_t> at;
    auto& d = lvwTransactionDetails;
    for (int r = 1; r <= d.count(); ++r) {
        const std::string key = std::to_string(WholeNumber(d.cell(r, det::TransID)));
        auto [it, added] = at.emplace(key, sources.size());
        if (added) sources.emplace_back(key, false);
        if (d.checked(r)) sources[it->second].second = true;
    }
    return sources;
}

std::string frmPayrollAccountsLinking::EntryNumberOrStop() {
    std::string number = Generateappno();
    // The handler has shown what failed; an entry without a number is not saved.
    if (number.empty()) throw SaveStopped{};
    return number;
}

bool frmPayrollAccountsLinking::EntryKeysTaken(int32_t transId, const std::string& transNo) {
    auto& s = module_.session;
    auto rs = module_.connection().open(
        "select count(*) from " + s.tables.paPayAccLinkHeader +
            " with (updlock, holdlock) where CompanyID=" + std::to_string(s.companyId) +
            " and (TransID=" + std::to_string(transId) + " or TransNo=" + QuotedText(transNo) + ")",
        data::CursorType::ForwardOnly, data::LockType::ReadOnly);
    const bool taken = !rs->eof() && rs->field(0).toInt64() > 0;
    rs->close();
    return taken;
}

void frmPayrollAccountsLinking::TakeFreeEntryKeys(int32_t& transId) {
    auto& s = module_.session;
    // The key and the number were read before the transaction, so another copy saving at the
    // same moment may have read them too; now that this save holds the lock, the one that
    // comes second takes fresh ones instead of failing on the key.
    for (int attempt = 1; EntryKeysTaken(transId, Trim(txtTransNo.text())); ++attempt) {
        if (attempt == kKeyAttempts)
            throw SaveStopped{"Other users are saving entries at this moment; press Ok again."};
        transId = db_->nextFreeKey(
            s.tables.paPayAccLinkHeader + " where CompanyID = " + std::to_string(s.companyId), "TransID");
        txtTransNo.setText(EntryNumberOrStop());
    }
}

void frmPayrollAccountsLinking::StopIfSourcesTaken(int32_t ownTransId) {
    auto& s = module_.session;
    std::vector<std::string> ticked;
    for (const auto& [key, isTicked] : SourceTicks())
        if (isTicked) ticked.push_back(key);
    const common::TransactionType* type = SelectedType();
    const common::SourceTable& source = type ? *type->source : common::kPayments;
    const bool payroll = source.payroll;
    for (size_t from = 0; from < ticked.size(); from += kSourcesPerCheck) {
        std::string keys;
        for (size_t i = from; i < ticked.size() && i < from + kSourcesPerCheck; ++i)
            keys += (keys.empty() ? "" : ",") + std::to_string(WholeNumber(ticked[i]));
        // Another live entry that links one of these sources, whoever saved it since they were
        // listed; this entry's own links do not count.
        auto rs = module_.connection().open(
            "select h.TransNo, h.TransID from " + s.tables.paPayAccLinkHeader +
                " h with (updlock, holdlock), " + s.tables.paPayAccLinkDetails +
                " d where d.CompanyID=h.CompanyID and d.TransID=h.TransID" +
                " and h.CompanyID=" + std::to_string(s.companyId) + " and h.Cancelled=0 and h.TransID<>" +
                std::to_string(ownTransId) + " and " + report::sql::KindOf("h", payroll) +
                " and d.RefTransID in (" + keys + ") order by h.TransID",
            data::CursorType::ForwardOnly, data::LockType::ReadOnly);
        if (!rs->eof()) {
            const std::string other = Trim(rs->field(0).joinText());
            const int32_t otherId = rs->field(1).toInt32();
            rs->close();
            StopIfHeldUnflagged(other, otherId, keys, source);
            throw SaveStopped{"Entry " + other +
                              " has linked some of the ticked transactions since they were listed; "
                              "press Show again to list the ones still open."};
        }
        rs->close();
    }
}

// An entry saved before payments were marked posted links them without the flag, so they are
// listed as open and pressing Show again cannot help: the user has to choose.
void frmPayrollAccountsLinking::StopIfHeldUnflagged(const std::string& holder, int32_t holderId,
                                                    const std::string& keys,
                                                    const common::SourceTable& source) {
    auto& s = module_.session;
    std::string sql = "select d.RefTransNo from " + s.tables.paPayAccLinkDetails + " d";
    sql += std::string(" left join ") + source.table + " s on s." + source.company + "=d.CompanyID and s." +
           source.key + "=d.RefTransID";
    sql += " where d.CompanyID=" + std::to_string(s.companyId) + " and d.TransID=" + std::to_string(holderId);
    sql += " and d.RefTransID in (" + keys + ")";
    sql += std::string(" and isnull(s.") + source.posted + ",0)<>1";
    sql += " order by d.DetailID";
    auto rs = module_.connection().open(sql, data::CursorType::ForwardOnly, data::LockType::ReadOnly);
    if (rs->eof()) {
        rs->close();
        return;
    }
    const std::string number = Trim(rs->field(0).joinText());
    rs->close();
    throw SaveStopped{"Entry " + holder + " already links " + source.noun + " " + number +
                      " but, saved before sources were marked posted, never marked it so, which is why it is "
                      "listed as open; untick it, or cancel " +
                      holder + " first if this entry should link it."};
}

void frmPayrollAccountsLinking::StopIfLedgerBreaks(int32_t transId) {
    auto& s = module_.session;
    LedgerEntry entry;
    entry.companyId = s.companyId;
    entry.transId = transId;
    entry.payroll = RunsSelected();
    entry.flagged = flagged_;
    entry.linked = linkedSources_;
    const std::string why = LedgerCheck(module_.connection(), s.tables, entry);
    if (why.empty()) return;
    // Logged for support as handled failures are; the user reads the sentence, not a number.
    try {
        module_.LogError("frmPayrollAccountsLinking", s.userId, "LedgerCheck", kLedgerCheckFailed,
                         data::kComponentName, why, module_.EntryMode, false);
    } catch (const common::Error&) {
    }
    throw SaveStopped{why};
}

void frmPayrollAccountsLinking::StopIfEntryClosed(int32_t transId) {
    auto& s = module_.session;
    auto rs = module_.connection().open(
        "select Cancelled, Posted from " + s.tables.paPayAccLinkHeader +
            " with (updlock, holdlock) where CompanyID=" + std::to_string(s.companyId) +
            " and TransID=" + std::to_string(transId),
        data::CursorType::ForwardOnly, data::LockType::ReadOnly);
    const bool closed = rs->eof() || rs->field("Cancelled").isOne() || rs->field("Posted").isOne();
    rs->close();
    // Saving it now would flag its sources again under an entry that no longer counts.
    if (closed)
        throw SaveStopped{
            "This entry has been cancelled or posted by another user meanwhile; "
            "close the screen to leave it as it is."};
}

void frmPayrollAccountsLinking::UpdateEditedRow(const std::string& whereClause, int32_t transId) {
    try {
        std::string sql = module_.session.listBaseQuery;
        {
            const std::string lower = common::LCase(sql);
            auto at = lower.find("order by");
            if (at != std::string::npos) sql.resize(at);
        }
        sql += common::ContainsNoCase(sql, "where") ? " and " : " where ";
        sql += whereClause;

        auto rs = module_.connection().open(sql, data::CursorType::ForwardOnly, data::LockType::ReadOnly);
        if (rs->eof()) {
            rs->close();
            return;
        }
        auto& grid = module_.FrmMaster().flexMaster;

        int row = 0;
        if (module_.EntryMode == "N") {
            if (grid.rows() <= grid.fixedRows) {
                grid.setRows(grid.fixedRows + 1);
                row = grid.fixedRows;
            } else if (grid.rows() == grid.fixedRows + 1 &&
                       Trim(grid.textMatrix(grid.fixedRows, browser::mst::TransID)).empty()) {
                row = grid.fixedRows;  // the grid's single empty row
            } else {
                grid.setRows(grid.rows() + 1);
                row = grid.rows() - 1;
            }
        } else if (module_.EntryMode == "E") {
            row = grid.row();
        } else {
            rs->close();
            return;
        }

        if (grid.cols() < rs->fieldCount()) grid.setCols(rs->fieldCount());
        grid.setTextMatrix(row, 0, std::to_string(transId));
        for (int i = 1; i < rs->fieldCount(); ++i) {
            const Value& v = rs->field(i);
            if (i == 2) {
                grid.setTextMatrix(row, i,
                                   v.isNull() ? std::string() : common::formatDate(v.toDate(), "dd/MM/yyyy"));
            } else {
                grid.setTextMatrix(row, i, Trim(v.joinText()));
            }
        }
        rs->close();
        grid.setRow(row);
    } catch (const common::Error& e) {
        // Another screen's name and "NA" for the entry mode: kept as the system writes them.
        module_.LogError("FrmLoanApplication", module_.session.userId, "UpdateEditedRow ", e.number(),
                         e.source(), e.description(), "NA", true);
    }
}

double frmPayrollAccountsLinking::fnPrevPendingLoanAmt(int32_t employeeId, int32_t loanId) {
    auto& s = module_.session;
    // Written once with the old "*=" outer joins, which SQL Server 2019 refuses (error 4147):
    // the same join in the standard form.
    std::string sql =
        "select sum(coalesce(liCurrentBalance,laSanctionAmount)) PendingAmt from pLoanApplication "
        "a left outer join pLoansIssue b" +
        std::string(" on a.laCompanyID=b.liCompanyID and a.laLoanAppID=b.liLoanAppID where 1=1 ") +
        " and a.laAppType='L' and a.laEmployeeID=" + std::to_string(employeeId) +
        " and a.laLoanID=" + std::to_string(loanId) + " and a.laCompanyID=" + std::to_string(s.companyId);
    if (module_.EntryMode != "N") {
        auto& grid = module_.FrmMaster().flexMaster;
        sql += " and a.laLoanAppID<>" + grid.textMatrix(grid.row(), browser::mst::TransID);
    }
    auto rs = module_.connection().open(sql, data::CursorType::ForwardOnly, data::LockType::ReadOnly);
    double pending = rs->field("PendingAmt").toDouble();
    rs->close();
    return pending;
}

void frmPayrollAccountsLinking::CmdClose_Click() { unload(); }

void frmPayrollAccountsLinking::Form_QueryUnload(int& cancel, int unloadMode) {
    (void)unloadMode;
    if (cmdOk.Tag != "Success" && cmdOk.enabled() && ui::ControlsChanged(*this)) {
        if (module_.MsgBox("Save Changes?", ui::vbYesNo + ui::vbInformation) == ui::vbYes) {
            cmdOk_Click();
            if (cmdOk.Tag != "Success") cancel = 1;
            // A save that went through has unloaded the screen already.
            if (!loaded) cancel = 1;
        }
    }
}

void frmPayrollAccountsLinking::Form_Unload(int& cancel) {
    (void)cancel;
    db_.reset();
    gen_.reset();
}

}  // namespace linking
