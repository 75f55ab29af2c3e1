// Loading a saved entry into the linking screen for editing: the header into its fields, the
// source transactions into its two transaction lists and the journal lines into the posting list.
#include "browser/FrmMaster.h"
#include "common/Conv.h"
#include "common/DateTime.h"
#include "common/Error.h"
#include "common/TransactionTypes.h"
#include "linking/frmPayrollAccountsLinking.h"
#include "linking/frmPayrollAccountsLinking_Index.h"

namespace browser {

using common::Format2;
using common::Value;

namespace {

std::string DateCell(const Value& v) {
    return v.isNull() ? std::string() : common::formatDate(v.toDate(), "dd/MMM/yyyy");
}

}  // namespace

void FrmMaster::EditClick(int32_t& transId) {
    auto& f = module_.frmPayrollAccountsLinking();
    auto& s = module_.session;
    if (!gen_) gen_ = std::make_unique<suite::clsCommonGen>();

    auto load = [&] {
        std::string sql = "select DepartmentID, TransNo, TransDate, TransType, Remarks, Cancelled, Posted " +
                          std::string("from ") + s.tables.paPayAccLinkHeader +
                          " where CompanyID=" + std::to_string(s.companyId) +
                          " and TransID=" + std::to_string(transId);
        auto rs = module_.connection().open(sql, data::CursorType::ForwardOnly, data::LockType::ReadOnly);
        if (!rs->eof()) {
            f.txtTransNo.setText(rs->field("TransNo").joinText());
            f.dtpTransDate.setValue(rs->field("TransDate").toDate());

            const common::TransactionType* type = common::TypeOfCode(rs->field("TransType").toText());
            if (type != nullptr) gen_->SelectComboItemByName(f.cboType, type->name);
            if (type != nullptr && type->source->payroll) f.cmdShowDetails.setVisible(true);
            gen_->SelectComboItemByValue(f.cboDepartment, rs->field("DepartmentID"));
            f.txtRemarks.setText(rs->field("Remarks").joinText());

            // A cancelled entry is shown read-only without a word; a posted one says why.
            if (rs->field("Cancelled").isOne()) {
                f.cmdOk.setEnabled(false);
                f.fraPostingDetails.setEnabled(false);
                f.fraTransactionDetails.setEnabled(false);
            }
            if (rs->field("Posted").isOne()) {
                f.cmdOk.setEnabled(false);
                f.fraPostingDetails.setEnabled(false);
                f.fraTransactionDetails.setEnabled(false);
                module_.MsgBox("Record posted. Can't Edit.", ui::vbOKOnly + ui::vbInformation);
            }
        }
        rs->close();

        LoadEntryTransactions(transId);
        LoadEntryPostingDetails(transId);
        f.txtTotDepAmount.setText(Format2(linking::PostingBalance(module_, f.lvwPostingDetails)));
    };
    try {
        load();
    } catch (const common::Error&) {
        // A half-loaded entry must not be what the next New shows: the screen goes, without
        // offering to save what it could not load, and the error goes on to the edit action.
        if (f.loaded) {
            f.cmdOk.setEnabled(false);
            f.unload();
        }
        throw;
    }
}

void FrmMaster::LoadEntryTransactions(int32_t& transId) {
    using namespace linking;
    auto& f = module_.frmPayrollAccountsLinking();
    auto& s = module_.session;
    auto& t = s.tables;
    f.lvwTransactions.clear();
    f.lvwTransactionDetails.clear();

    std::string sql =
        "Select pa.DetailID, pa.DepartmentID, pa.RefTransID, pa.RefTransNo, " +
        std::string(" pa.RefTransType, pa.RefTransDate, pa.EmpID, pa.EmpName, pa.EmpNo, pa.AccountID,") +
        " pa.AccountDesc, pa.TransCurrSymbol, pa.AccCurrSymbol, pa.TransCurrID," +
        " pa.AccCurrID, pa.RefTransAmount, pa.AccountAmount, pa.DeptAmount, pa.CompAmount," +
        " pa.Credit, cm.CurrencyID, dm.DepCurrencyID, dc.Symbol DepSymbol,cc.Symbol ComSymbol " + " from " +
        t.paPayAccLinkDetails + " pa, " + t.pCompanyMaster + " cm," + t.pDepartment + " dm," +
        t.pCurrencyMaster + " dc," + t.pCurrencyMaster + " cc where pa.CompanyID=cm.CompanyID and " +
        " pa.CompanyID=dm.CompanyID and pa.DepartmentID = dm.DepartmentID and " +
        " dm.CompanyID=dc.CompanyID and dm.DepCurrencyID = dc.CurrencyID and " +
        " cm.CompanyID=cc.CompanyID and cm.CurrencyID = cc.CurrencyID and " +
        " pa.CompanyID=" + std::to_string(s.companyId) + " and pa.TransID=" + std::to_string(transId);
    auto rs = module_.connection().open(sql, data::CursorType::ForwardOnly, data::LockType::ReadOnly);
    while (!rs->eof()) {
        const int32_t refTransId = rs->field("RefTransID").toInt32();
        if (!f.TransactionListed(refTransId)) {
            int r = f.AddTransactionRow(refTransId);
            auto& l = f.lvwTransactions;
            l.setCell(r, trn::TransNo, rs->field("RefTransNo").toText());
            l.setCell(r, trn::TransID, std::to_string(refTransId));
            l.setCell(r, trn::Date, DateCell(rs->field("RefTransDate")));
            // Crosswise, as the retrieval fills this list.
            l.setCell(r, trn::Employee, rs->field("EmpNo").toText());
            l.setCell(r, trn::EmpNo, rs->field("EmpName").toText());
            l.setCell(r, trn::DeptID, rs->field("DepartmentID").toText());
            l.setChecked(r, true);
        }

        if (module_.DepartmentCurrencyID == 0) {
            module_.DepartmentCurrencyID = rs->field("DepCurrencyID").toInt16();
            module_.CompanyCurrencyID = rs->field("CurrencyID").toInt16();
            const std::string dep = rs->field("DepSymbol").toText(), com = rs->field("ComSymbol").toText();
            f.lvwPostingDetails.setColumnHeader(pst::CompAmount, "Amount(" + com + ")");
            f.lvwPostingDetails.setColumnHeader(pst::DeptAmount, "Amount(" + dep + ")");
            f.lvwTransactionDetails.setColumnHeader(det::DepAmount, "Amount(" + dep + ")");
            f.lvwTransactionDetails.setColumnHeader(det::ComAmt, "Amount(" + com + ")");
            f.lblTotalAmt.setCaption("Balance(" + dep + ") :");
        }

        int d = f.AddTransactionDetailRow(refTransId);
        auto& l = f.lvwTransactionDetails;
        l.setCell(d, det::TransNo, rs->field("RefTransNo").toText());
        l.setCell(d, det::TransID, std::to_string(refTransId));
        l.setCell(d, det::Date, DateCell(rs->field("RefTransDate")));
        l.setCell(d, det::AccountName, rs->field("AccountDesc").toText());
        l.setCell(d, det::Employee, rs->field("EmpName").toText());
        l.setCell(d, det::EmpNo, rs->field("EmpNo").toText());
        l.setCell(d, det::Amount, rs->field("AccountAmount").toText());
        l.setCell(d, det::Credit, rs->field("Credit").toText());
        l.setCell(d, det::AccountID, rs->field("AccountID").toText());
        l.setCell(d, det::DeptID, rs->field("DepartmentID").toText());
        l.setCell(d, det::Type, rs->field("RefTransType").toText());
        l.setCell(d, det::RespAmt, rs->field("RefTransAmount").toText());
        l.setCell(d, det::ComAmt, rs->field("CompAmount").toText());
        l.setCell(d, det::DepAmount, rs->field("DeptAmount").toText());
        // The symbol, as the retrieval shows it: the id stood here once, and every re-save
        // stored it as the symbol.
        l.setCell(d, det::ResCurr, rs->field("TransCurrSymbol").toText());
        l.setCell(d, det::AccCur, rs->field("AccCurrSymbol").toText());
        l.setCell(d, det::ResCurrID, rs->field("TransCurrID").toText());
        l.setCell(d, det::AccCurrID, rs->field("AccCurrID").toText());
        l.setCell(d, det::EmpID, rs->field("EmpID").toText());
        l.setChecked(d, true);
        rs->moveNext();
    }
    rs->close();
}

void FrmMaster::LoadEntryPostingDetails(int32_t& transId) {
    using namespace linking;
    auto& f = module_.frmPayrollAccountsLinking();
    auto& s = module_.session;
    auto rs = module_.connection().open(
        "Select DetailID, DepartmentID, AccountID, AccountDesc, Description, " +
            std::string("AccCurrID, AccCurrSymbol, RefCurrID, RefCurrSymbol, DebitAmount, CreditAmount,") +
            "RefTransAmount, DeptAmount, CompAmount, Editable from " + s.tables.paPayAccLinkPostingDetails +
            " where CompanyID=" + std::to_string(s.companyId) + " and TransID=" + std::to_string(transId),
        data::CursorType::ForwardOnly, data::LockType::ReadOnly);
    auto& l = f.lvwPostingDetails;
    int line = 0;
    while (!rs->eof()) {
        int r = l.add(std::to_string(++line));
        const double debit = rs->field("DebitAmount").toDouble();
        const double credit = rs->field("CreditAmount").toDouble();
        l.setCell(r, pst::DeptID, rs->field("DepartmentID").toText());
        l.setCell(r, pst::DebitAccountID, rs->field("AccountID").toText());
        l.setCell(r, pst::DebitAccount, rs->field("AccountDesc").toText());
        l.setCell(r, pst::Description, rs->field("Description").joinText());
        l.setCell(r, pst::AccCurrID, rs->field("AccCurrID").toText());
        l.setCell(r, pst::AccCurrency, rs->field("AccCurrSymbol").toText());
        l.setCell(r, pst::ResCurrID, rs->field("RefCurrID").toText());
        l.setCell(r, pst::TransCurr, rs->field("RefCurrSymbol").toText());
        l.setCell(r, pst::DebitAmount, Format2(debit));
        l.setCell(r, pst::CreditAmount, Format2(credit));
        l.setCell(r, pst::TotalAmount, Format2(debit - credit));
        l.setCell(r, pst::TransAmt, Format2(rs->field("RefTransAmount").toDouble()));
        l.setCell(r, pst::CompAmount, Format2(rs->field("CompAmount").toDouble()));
        l.setCell(r, pst::DeptAmount, Format2(rs->field("DeptAmount").toDouble()));
        l.setCell(r, pst::Editable, rs->field("Editable").toText());
        rs->moveNext();
    }
    rs->close();
}

}  // namespace browser
