// Saving: the checks, the entry number, the one transaction that writes an entry and flags
// its sources, the browser row refresh and the closing of the screen.
#include "browser/FrmMaster.h"
#include "common/Conv.h"
#include "common/DateTime.h"
#include "linking/frmPayrollAccountsLinking.h"
#include "linking/frmPayrollAccountsLinking_Index.h"
#include "ui/Helpers.h"

namespace linking {

using common::Trim;
using common::Val;
using common::Value;

namespace {

Value Number(const std::string& cell) { return Value(Val(cell)); }
Value Text(const std::string& cell) { return Value(Trim(cell)); }
Value DateText(const std::string& cell) {
    return Value(common::formatDate(common::toDate(cell), "dd/MMM/yyyy"));
}

// The TransID of the browser's selected row.
int32_t SelectedTransID(entry::Module& module) {
    auto& grid = module.FrmMaster().flexMaster;
    return WholeNumber(grid.textMatrix(grid.row(), 0));
}

}  // namespace

void frmPayrollAccountsLinking::cmdOk_Click() {
    const int info = ui::vbOKOnly + ui::vbInformation;
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
    } catch (const common::Error& e) {
        // The flag outlives a failed save; a retry that fails before its own transaction
        // begins has nothing to roll back.
        auto& conn = module_.connection();
        if (module_.TransactionOpen && conn.inTransaction()) conn.rollbackTrans();
        module_.MsgBox(e.description(), info);
    }
}

std::string frmPayrollAccountsLinking::Generateappno() {
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
    const std::string len = std::to_string(prefix.size());
    std::string sql = "Select isnull(max(convert(int,right(TransNo,len(TransNo)-" + len + "))),0) from " +
                      s.tables.paPayAccLinkHeader + " where CompanyID    = " + company +
                      " and len(TransNo)>len('" + prefix + "') and " +
                      " isnumeric(isnull(right(TransNo,len(TransNo)-" + len +
                      "),0)) =1 and substring(TransNo,1,len('" + prefix + "'))='" + prefix + "'";
    rs = conn.open(sql, data::CursorType::Static, data::LockType::Optimistic);
    std::string highest = rs->eof() ? std::string("0") : rs->field(0).toText();
    rs->close();

    int32_t next = common::CLng(Val(highest) + 1);
    return prefix + std::to_string(next);
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
        txtTransNo.setText(Generateappno());

        conn.beginTrans();
        module_.TransactionOpen = true;
        auto cmd = conn.command(" insert into " + s.tables.paPayAccLinkHeader + " ( CompanyID," +
                                "TransID, DepartmentID, TransNo, TransDate, TransType, Remarks, Cancelled) " +
                                "values (?, ?, ?, ?, ?, ?, ?, ?) ");
        cmd->refreshParameters();
        cmd->execute(
            {Value(s.companyId), Value(transId), Value(cboDepartment.itemData(cboDepartment.listIndex())),
             Value(Trim(txtTransNo.text())), Value(common::formatDate(dtpTransDate.value(), "dd/MMM/yyyy")),
             Value(typeCode.substr(0, 1)), Value(Trim(txtRemarks.text())), Value(0)});
        InsertIntoDetailTable(transId);
        InsertIntoPostingDetailsTable(transId);
        UpdateTransTables();
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
        auto cmd = conn.command(sql);
        cmd->refreshParameters();
        cmd->execute({Value(dtpTransDate.value()), Value(Trim(txtRemarks.text()))});
        InsertIntoDetailTable(transId);
        InsertIntoPostingDetailsTable(transId);
        UpdateTransTables();
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
    for (int r = 1; r <= l.count(); ++r) {
        if (!l.checked(r)) continue;
        ++detailId;
        cmd->execute({Value(s.companyId),
                      Value(transId),
                      Value(detailId),
                      Number(l.cell(r, det::DeptID)),
                      Number(l.cell(r, det::TransID)),
                      Text(l.cell(r, det::TransNo)),
                      Text(l.cell(r, det::Type)),
                      DateText(l.cell(r, det::Date)),
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
    const std::string company = std::to_string(s.companyId);
    if (module_.EntryMode == "E") {
        conn.execute("Delete from " + s.tables.paPayAccLinkPostingDetails + " where CompanyID=" + company +
                     " and transid=" + std::to_string(transId));
    }
    auto cmd = conn.command(" insert into " + s.tables.paPayAccLinkPostingDetails + "( CompanyID, " +
                            "TransID, DetailID, DepartmentID, AccountID, AccountDesc, Description, " +
                            "AccCurrID, AccCurrSymbol, RefCurrID, RefCurrSymbol, DebitAmount, CreditAmount," +
                            "RefTransAmount, DeptAmount, CompAmount, Editable) Values " +
                            "( ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?) ");
    auto& l = lvwPostingDetails;
    for (int r = 1; r <= l.count(); ++r) {
        cmd->execute({Value(s.companyId), Value(transId), Value(r), Number(l.cell(r, pst::DeptID)),
                      Number(l.cell(r, pst::DebitAccountID)), Text(l.cell(r, pst::DebitAccount)),
                      Text(l.cell(r, pst::Description)), Number(l.cell(r, pst::AccCurrID)),
                      Text(l.cell(r, pst::AccCurrency)), Text(l.cell(r, pst::ResCurrID)),
                      Text(l.cell(r, pst::TransCurr)), Number(l.cell(r, pst::DebitAmount)),
                      Number(l.cell(r, pst::CreditAmount)), Number(l.cell(r, pst::TransAmt)),
                      Number(l.cell(r, pst::DeptAmount)), Number(l.cell(r, pst::CompAmount)),
                      Text(l.cell(r, pst::Editable))});
        cmd->refreshParameters();
    }
}

void frmPayrollAccountsLinking::UpdateTransTables() {
    auto& conn = module_.connection();
    const std::string company = std::to_string(module_.session.companyId);
    const std::string type = Trim(cboType.text());
    const bool editing = module_.EntryMode == "E";

    std::string set, clear;
    if (type == "Payroll") {
        set = "update pMonthlyPayRollProcessing set mppPosted=1 where mppCompanyID=";
        clear = "update pMonthlyPayRollProcessing set mppPosted=0 where mppCompanyID=";
        set += company + " and mppProcessID=";
        clear += company + " and mppProcessID=";
    } else if (type == "Salary Advances" || type == "Reimbursements" || type == "Savings" ||
               type == "Holded Salaries" || type == "Leave Encashments" || type == "Others") {
        set = "update pPaymentHeader set phPosted=1 where phCompanyID=";
        clear = "update pPaymentHeader set phPosted=0 where phCompanyID=";
        set += company + " and phPaymentID=";
        clear += company + " and phPaymentID=";
    } else {
        return;
    }
    // An edited entry releases every listed source that is no longer ticked.
    for (int r = 1; r <= lvwTransactions.count(); ++r) {
        const std::string& key = lvwTransactions.cell(r, trn::TransID);
        if (lvwTransactions.checked(r)) {
            conn.execute(set + key);
        } else if (editing) {
            conn.execute(clear + key);
        }
    }
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
                       Trim(grid.textMatrix(grid.fixedRows, 0)).empty()) {
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
    // Old-style outer joins, as the suite's server reads them.
    std::string sql =
        "select sum(coalesce(liCurrentBalance,laSanctionAmount)) PendingAmt from pLoanApplication "
        "a,pLoansIssue b" +
        std::string(" where a.laCompanyID*=b.liCompanyID and a.laLoanAppID*=b.liLoanAppID ") +
        " and a.laAppType='L' and a.laEmployeeID=" + std::to_string(employeeId) +
        " and a.laLoanID=" + std::to_string(loanId) + " and a.laCompanyID=" + std::to_string(s.companyId);
    if (module_.EntryMode != "N") {
        auto& grid = module_.FrmMaster().flexMaster;
        sql += " and a.laLoanAppID<>" + grid.textMatrix(grid.row(), 0);
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
