// Gathering: retrieval of the source transactions, the tick logic and the posting lines.
#include <unordered_map>

#include "common/Conv.h"
#include "common/DateTime.h"
#include "linking/frmPayrollAccountsLinking.h"
#include "linking/frmPayrollAccountsLinking_Index.h"
#include "ui/Helpers.h"

namespace linking {

using common::Format2;
using common::Trim;
using common::Val;
using common::Value;

namespace {

std::string DateCell(const Value& v) {
    return v.isNull() ? std::string() : common::formatDate(v.toDate(), "dd/MMM/yyyy");
}

// Field positions resolved once per result instead of a name search per cell.
class Columns {
public:
    explicit Columns(const data::Recordset& rs) : rs_(rs) {}
    const Value& operator()(const char* name) {
        auto it = pos_.find(name);
        if (it == pos_.end()) {
            int i = rs_.fieldIndex(name);
            if (i < 0) return rs_.field(name);  // raises the missing-field error
            it = pos_.emplace(name, i).first;
        }
        return rs_.field(it->second);
    }

private:
    const data::Recordset& rs_;
    std::unordered_map<const char*, int> pos_;
};

}  // namespace

void frmPayrollAccountsLinking::cmdShow_Click() {
    if (cboType.listIndex() == -1) {
        module_.MsgBox("Select a type.", ui::vbOKOnly + ui::vbInformation);
        cboType.setListIndex(-1);
        cboType.setFocus();
        return;
    }
    if (cboDepartment.listIndex() == -1) {
        module_.MsgBox("Select a department.", ui::vbOKOnly + ui::vbInformation);
        cboDepartment.setListIndex(-1);
        cboDepartment.setFocus();
        return;
    }
    // A range that ends before it starts lists nothing, which looked like a month with nothing
    // to post.
    if (dtpFromDate.value().dateOnly() > dtpToDate.value().dateOnly()) {
        module_.MsgBox(kRangeBackwards, ui::vbOKOnly + ui::vbInformation);
        dtpFromDate.setFocus();
        return;
    }

    const common::TransactionType* type = SelectedType();
    if (type == nullptr) return;
    if (type->source->payroll) {
        FillPayrollDetails(type->procedure);
    } else {
        // Several kinds may share one procedure and differ only in the code passed.
        FillPaymentDetails(type->procedure, type->code, type->lineLabel);
    }
    lvwTransactions.setVisible(type->source->payroll);
    lvwTransactionDetails.setVisible(!type->source->payroll);
    cmdShowDetails.setVisible(type->source->payroll);
}

const common::TransactionType* frmPayrollAccountsLinking::SelectedType() {
    return common::TypeOfName(Trim(cboType.text()));
}

bool frmPayrollAccountsLinking::RunsSelected() {
    const common::TransactionType* type = SelectedType();
    return type != nullptr && type->source->payroll;
}

void frmPayrollAccountsLinking::FillPayrollDetails(const std::string& procedure) {
    auto& s = module_.session;
    ClearSelection();

    std::string sql = "exec " + procedure + " " + std::to_string(s.companyId) + ",'" +
                      common::formatDate(dtpFromDate.value(), "yyyymmdd") + "','" +
                      common::formatDate(dtpToDate.value(), "yyyymmdd") + "'," +
                      std::to_string(cboDepartment.itemData(cboDepartment.listIndex()));
    auto rs = module_.connection().open(sql, data::CursorType::ForwardOnly, data::LockType::ReadOnly);

    module_.DepartmentCurrencyID = 0;
    module_.CompanyCurrencyID = 0;

    Columns f(*rs);
    while (!rs->eof()) {
        int32_t processId = f("mppProcessID").toInt32();
        if (!TransactionListed(processId)) {
            int t = AddTransactionRow(processId);
            lvwTransactions.setCell(t, trn::TransNo, f("mppProcessNo").toText());
            lvwTransactions.setCell(t, trn::Date, DateCell(f("mppProcessedDate")));
            // Name under "Emp No" and number under "Employee": crosswise in this list only.
            lvwTransactions.setCell(t, trn::EmpNo, f("eName").toText());
            lvwTransactions.setCell(t, trn::Employee, f("eEmpNo").toText());
            lvwTransactions.setCell(t, trn::TransID, std::to_string(processId));
            lvwTransactions.setCell(t, trn::DeptID, f("mppDepartmentID").toText());
        }

        if (module_.DepartmentCurrencyID == 0) {
            module_.DepartmentCurrencyID = f("depCurrencyID").toInt16();
            module_.CompanyCurrencyID = f("CompCurrID").toInt16();
            const std::string dep = f("DepSymbol").toText(), com = f("ComSymbol").toText();
            lvwPostingDetails.setColumnHeader(pst::CompAmount, "Amount(" + com + ")");
            lvwPostingDetails.setColumnHeader(pst::DeptAmount, "Amount(" + dep + ")");
            lvwTransactionDetails.setColumnHeader(det::DepAmount, "Amount(" + dep + ")");
            lvwTransactionDetails.setColumnHeader(det::ComAmt, "Amount(" + com + ")");
            lblTotalAmt.setCaption("Balance(" + dep + ") :");
        }

        int d = AddTransactionDetailRow(processId);
        lvwTransactionDetails.setCell(d, det::TransNo, f("mppProcessNo").toText());
        lvwTransactionDetails.setCell(d, det::Date, DateCell(f("mppProcessedDate")));
        lvwTransactionDetails.setCell(d, det::EmpNo, f("eEmpNo").toText());
        lvwTransactionDetails.setCell(d, det::Employee, f("eName").toText());
        lvwTransactionDetails.setCell(d, det::Amount, f("AccExRate").toText());
        lvwTransactionDetails.setCell(d, det::Credit, f("Credit").toText());
        lvwTransactionDetails.setCell(d, det::TransID, std::to_string(processId));
        lvwTransactionDetails.setCell(d, det::AccountID, f("sacSalaryaccID").toText());
        lvwTransactionDetails.setCell(d, det::DeptID, f("mppDepartmentID").toText());
        lvwTransactionDetails.setCell(d, det::AccountName, f("AccountDesc").toText());
        lvwTransactionDetails.setCell(d, det::Type, f("Type").toText());
        lvwTransactionDetails.setCell(d, det::RespAmt, f("netPay").toText());
        lvwTransactionDetails.setCell(d, det::DepAmount, Format2(f("DepExRate").toDouble()));
        lvwTransactionDetails.setCell(d, det::ComAmt, Format2(f("CompExRate").toDouble()));
        lvwTransactionDetails.setCell(d, det::ResCurr, f("ResSymbol").toText());
        lvwTransactionDetails.setCell(d, det::AccCur, f("AccSymbol").toText());
        lvwTransactionDetails.setCell(d, det::ResCurrID, f("sacCurrencyID").toText());
        lvwTransactionDetails.setCell(d, det::AccCurrID, f("CurrencyID").toText());
        lvwTransactionDetails.setCell(d, det::EmpID, f("mppEmpID").toText());
        rs->moveNext();
    }
    rs->close();
}

void frmPayrollAccountsLinking::FillPaymentDetails(const std::string& procedure, const std::string& typeCode,
                                                   const std::string& entryLabel) {
    auto& s = module_.session;
    ClearSelection();
    chkSelectAll.setValue(0);

    std::string sql = "exec " + procedure + " " + std::to_string(s.companyId) + ",'" +
                      common::formatDate(dtpFromDate.value(), "yyyymmdd") + "','" +
                      common::formatDate(dtpToDate.value(), "yyyymmdd") + "'," +
                      std::to_string(cboDepartment.itemData(cboDepartment.listIndex())) + ",'" +
                      Trim(typeCode) + "'";
    auto rs = module_.connection().open(sql, data::CursorType::ForwardOnly, data::LockType::ReadOnly);

    module_.DepartmentCurrencyID = 0;
    module_.CompanyCurrencyID = 0;

    Columns f(*rs);
    while (!rs->eof()) {
        if (module_.DepartmentCurrencyID == 0) {
            module_.DepartmentCurrencyID = f("depCurrencyID").toInt16();
            module_.CompanyCurrencyID = f("CompCurrID").toInt16();
            // Only the posting list is relabelled here; the detail headers and the balance
            // label keep what an earlier payroll retrieval wrote.
            lvwPostingDetails.setColumnHeader(pst::DeptAmount, "Amount(" + f("DepSymbol").toText() + ")");
            lvwPostingDetails.setColumnHeader(pst::CompAmount, "Amount(" + f("ComSymbol").toText() + ")");
        }

        int32_t paymentId = f("phPaymentID").toInt32();
        int d = AddTransactionDetailRow(paymentId);
        lvwTransactionDetails.setCell(d, det::TransNo, f("phPaymentNo").toText());
        lvwTransactionDetails.setCell(d, det::Date, DateCell(f("phDate")));
        lvwTransactionDetails.setCell(d, det::EmpNo, f("eEmpNo").toText());
        lvwTransactionDetails.setCell(d, det::Employee, f("eName").toText());
        lvwTransactionDetails.setCell(d, det::Amount, f("AccExRate").toText());
        lvwTransactionDetails.setCell(d, det::Credit, f("Credit").toText());
        lvwTransactionDetails.setCell(d, det::TransID, std::to_string(paymentId));
        lvwTransactionDetails.setCell(d, det::AccountID, f("adcAccountID").toText());
        lvwTransactionDetails.setCell(d, det::DeptID, f("phDepartmentID").toText());
        lvwTransactionDetails.setCell(d, det::AccountName, f("AccountDesc").toText());
        lvwTransactionDetails.setCell(d, det::Type, entryLabel);
        lvwTransactionDetails.setCell(d, det::RespAmt, f("pdPaymentAmt").toText());
        // As delivered: payments are not extended to two decimals.
        lvwTransactionDetails.setCell(d, det::DepAmount, f("DepExRate").toText());
        lvwTransactionDetails.setCell(d, det::ComAmt, f("CompExRate").toText());
        lvwTransactionDetails.setCell(d, det::ResCurr, f("ResSymbol").toText());
        lvwTransactionDetails.setCell(d, det::AccCur, f("AccSymbol").toText());
        lvwTransactionDetails.setCell(d, det::ResCurrID, f("phcurrencyid").toText());
        lvwTransactionDetails.setCell(d, det::AccCurrID, f("CurrencyID").toText());
        lvwTransactionDetails.setCell(d, det::EmpID, f("phEmployeeID").toText());
        rs->moveNext();
    }
    rs->close();
}

void frmPayrollAccountsLinking::lvwTransactions_ItemCheck(int row) {
    SyncTransactionDetails(WholeNumber(lvwTransactions.cell(row, trn::TransID)), row);
}

void frmPayrollAccountsLinking::SyncTransactionDetails(int32_t transId, int transactionRow) {
    const bool ticked = lvwTransactions.checked(transactionRow);
    // A copy: the posting builder may make the lookup rebuild itself.
    const std::vector<int> rows = detailIndex_->rowsOf(transId);
    for (int d : rows) {
        lvwTransactionDetails.setChecked(d, ticked);
        BuildPostingDetails(d);
    }
}

void frmPayrollAccountsLinking::lvwTransactionDetails_ItemCheck(int row) {
    if (!RunsSelected()) {
        BuildPostingDetails(row);
    } else {
        // Payroll detail rows follow their transaction: the user's tick is undone.
        lvwTransactionDetails.setChecked(row, !lvwTransactionDetails.checked(row));
    }
}

void frmPayrollAccountsLinking::chkSelectAll_Click() {
    if (SyncingSelectAll) return;
    SelectingAll = true;
    // Left set on this path on purpose: payment retrievals have no transaction rows, and the
    // next complete run clears it.
    if (lvwTransactions.count() == 0) return;

    if (chkSelectAll.value() == 0) {
        if (module_.MsgBox("All the selected details will be lost. Do you want to continye?",
                           ui::vbYesNo + ui::vbQuestion + ui::vbDefaultButton2) == ui::vbNo) {
            chkSelectAll.setValue(1);
            SelectingAll = false;
            return;
        }
    }

    const bool tick = chkSelectAll.value() != 0;
    for (int r = 1; r <= lvwTransactions.count(); ++r) {
        if (!tick) {
            lvwTransactions.setChecked(r, false);
        } else if (!lvwTransactions.checked(r)) {
            // Rows already ticked are left alone so that their amounts are not counted twice.
            lvwTransactions.setChecked(r, true);
            SyncTransactionDetails(WholeNumber(lvwTransactions.cell(r, trn::TransID)), r);
        }
    }
    if (!tick) {
        for (int d = 1; d <= lvwTransactionDetails.count(); ++d) lvwTransactionDetails.setChecked(d, false);
        lvwPostingDetails.clear();
    }
    SelectingAll = false;
}

void frmPayrollAccountsLinking::cmdShowDetails_Click() {
    const bool transactionsShown = lvwTransactions.visible();
    lvwTransactions.setVisible(!transactionsShown);
    lvwTransactionDetails.setVisible(transactionsShown);
    cmdShowDetails.setCaption(lvwTransactionDetails.visible() ? "&s" : "&d");
}

int frmPayrollAccountsLinking::PostingLineOf(int detailRow) {
    return postingIndex_->find(lvwTransactionDetails.cell(detailRow, det::AccountID),
                               lvwTransactionDetails.cell(detailRow, det::ResCurrID));
}

bool frmPayrollAccountsLinking::AllDetailsTicked() { return detailIndex_->allTicked(); }

void frmPayrollAccountsLinking::BuildPostingDetails(int detailRow) {
    auto& d = lvwTransactionDetails;
    auto& p = lvwPostingDetails;
    const bool ticked = d.checked(detailRow);
    // Only a "Credit" of exactly 1 is a credit row; 0, 2 or empty are debit rows.
    const bool credit = Val(d.cell(detailRow, det::Credit)) == 1;
    const double amount = Val(d.cell(detailRow, det::Amount));
    const double compAmount = Val(d.cell(detailRow, det::ComAmt));
    const double deptAmount = Val(d.cell(detailRow, det::DepAmount));
    const double transAmount = Val(d.cell(detailRow, det::RespAmt));

    int line = PostingLineOf(detailRow);
    if (line <= 0) {
        // A new line, or one whose rows had cancelled to nothing, back with the rows left ticked.
        line = postingIndex_->append(std::to_string(p.count() + 1), d.cell(detailRow, det::AccountID),
                                     d.cell(detailRow, det::ResCurrID));
        p.setCell(line, pst::DeptID, d.cell(detailRow, det::DeptID));
        p.setCell(line, pst::DebitAccount, d.cell(detailRow, det::AccountName));
        p.setCell(line, pst::AccCurrency, d.cell(detailRow, det::AccCur));
        p.setCell(line, pst::AccCurrID, d.cell(detailRow, det::AccCurrID));
        p.setCell(line, pst::TransCurr, d.cell(detailRow, det::ResCurr));
        p.setCell(line, pst::Editable, "N");
        for (int col : {pst::DebitAmount, pst::CreditAmount, pst::CompAmount, pst::DeptAmount, pst::TransAmt})
            p.setCell(line, col, "0.00");
    }
    auto add = [&p, line](int col, double delta) {
        p.setCell(line, col, Format2(Val(p.cell(line, col)) + delta));
    };
    // Debit rows add to the signed currency columns, credit rows subtract; unticking reverses.
    const double sign = (ticked ? 1.0 : -1.0) * (credit ? -1.0 : 1.0);
    add(credit ? pst::CreditAmount : pst::DebitAmount, ticked ? amount : -amount);
    add(pst::CompAmount, sign * compAmount);
    add(pst::DeptAmount, sign * deptAmount);
    add(pst::TransAmt, sign * transAmount);
    const double debit = Val(p.cell(line, pst::DebitAmount));
    const double creditSum = Val(p.cell(line, pst::CreditAmount));
    p.setCell(line, pst::TotalAmount, Format2(debit - creditSum));
    // Rows whose account amounts cancel can still leave cents of the other amounts, which count
    // in the balance and are stored: the line goes only when nothing is left of it.
    if (debit == 0 && creditSum == 0 && Val(p.cell(line, pst::CompAmount)) == 0 &&
        Val(p.cell(line, pst::DeptAmount)) == 0 && Val(p.cell(line, pst::TransAmt)) == 0) {
        p.remove(line);
        ui::RenumberRows(p);
    }

    if (!SelectingAll) {
        SyncingSelectAll = true;
        chkSelectAll.setValue(AllDetailsTicked() ? 1 : 0);
        SyncingSelectAll = false;
    }

    txtTotDepAmount.setText(Format2(PostingBalance(module_, p)));
}

}  // namespace linking
