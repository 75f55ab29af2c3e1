// The journal line editor: one posting line of the linking screen's posting list, added,
// changed or stepped through, with its amount converted into the department's and the
// company's currency.
#include "journal/frmJournalDetails.h"

#include <cmath>
#include <string>

#include "browser/FrmMaster.h"
#include "browser/GridColumns.h"
#include "common/Conv.h"
#include "common/Error.h"
#include "data/ErrorLog.h"
#include "linking/frmPayrollAccountsLinking.h"
#include "linking/frmPayrollAccountsLinking_Index.h"
#include "ui/Helpers.h"

namespace journal {

namespace pst = linking::pst;
using common::Format2;
using common::NumberText;
using common::Val;

namespace {

// Every handler logs under this screen name, two blanks and all; cmdCancel_Click alone has
// one blank. Kept as the system writes them: support reads these logs.
const char* const kScreen = "frmJournalDetails  ";

}  // namespace

frmJournalDetails::frmJournalDetails(entry::Module& module)
    : ui::Form(module.toolkit(), "frmJournalDetails", "Accounts Entry"),
      fraJournal(add<ui::Frame>("fraJournal", "")),
      lblSlNo(add<ui::Label>("lblSlNo", "SlNo :", &fraJournal)),
      txtSlNo(add<ui::TextBox>("txtSlNo", &fraJournal)),
      lblAccountID(add<ui::Label>("lblAccountID", "Account :", &fraJournal)),
      cboAccountID(add<ui::ComboBox>("cboAccountID", &fraJournal, ui::ComboBox::Style::DropDownList)),
      lblDescription(add<ui::Label>("lblDescription", "Description :", &fraJournal)),
      txtDescription(add<ui::TextBox>("txtDescription", &fraJournal)),
      fraJournalType(add<ui::Frame>("fraJournalType", "", &fraJournal)),
      optDebit(add<ui::OptionButton>("optDebit", "&Debit", &fraJournalType)),
      optCredit(add<ui::OptionButton>("optCredit", "C&redit", &fraJournalType)),
      lblAmount(add<ui::Label>("lblAmount", "Amount :", &fraJournal)),
      txtAmount(add<ui::TextBox>("txtAmount", &fraJournal)),
      lblUnits(add<ui::Label>("lblUnits", "", &fraJournal)),
      lblDepAmount(add<ui::Label>("lblDepAmount", "Dept amount :", &fraJournal)),
      txtDepAmount(add<ui::TextBox>("txtDepAmount", &fraJournal)),
      lblCompAmount(add<ui::Label>("lblCompAmount", "Comp Amount :", &fraJournal)),
      txtCompAmount(add<ui::TextBox>("txtCompAmount", &fraJournal)),
      lblBalance(add<ui::Label>("lblBalance", "Balance :", &fraJournal)),
      txtBalance(add<ui::TextBox>("txtBalance", &fraJournal)),
      cmdOK(add<ui::CommandButton>("cmdOK", "&Ok")),
      cmdCancel(add<ui::CommandButton>("cmdCancel", "&Close")),
      cmdFirst(add<ui::CommandButton>("cmdFirst", "")),
      cmdPrevious(add<ui::CommandButton>("cmdPrevious", "")),
      cmdNext(add<ui::CommandButton>("cmdNext", "")),
      cmdLast(add<ui::CommandButton>("cmdLast", "")),
      module_(module) {
    cboAccountID.Click = [this] { cboAccountID_Click(); };
    cboAccountID.KeyPress = [this](int16_t& k) { ui::SendTabOnEnter(toolkit(), k); };
    txtDescription.KeyPress = [this](int16_t& k) { ui::SendTabOnEnter(toolkit(), k); };
    // No longer than the posting line's Description column (255 characters).
    txtDescription.maxLength = 255;
    // The department and company amounts follow from the amount and the rates; a figure typed
    // there used to be saved as the account amount.
    txtDepAmount.setLocked(true);
    txtCompAmount.setLocked(true);
    // The line's number and the balance are the editor's to show: nothing typed there is kept.
    txtSlNo.setLocked(true);
    txtBalance.setLocked(true);
    optDebit.KeyPress = [this](int16_t& k) { ui::SendTabOnEnter(toolkit(), k); };
    optCredit.KeyPress = [this](int16_t& k) { ui::SendTabOnEnter(toolkit(), k); };
    txtAmount.Change = [this] { txtAmount_Change(); };
    txtAmount.KeyPress = [this](int16_t& k) { txtAmount_KeyPress(k); };
    txtAmount.GotFocus = [this] { txtAmount_GotFocus(); };
    txtAmount.LostFocus = [this] { txtAmount_LostFocus(); };
    txtAmount.MouseMove = [this](int b, int s, float x, float y) { txtAmount_MouseMove(b, s, x, y); };
    txtBalance.GotFocus = [this] { txtBalance_GotFocus(); };
    txtBalance.MouseMove = [this](int b, int s, float x, float y) { txtBalance_MouseMove(b, s, x, y); };
    cmdOK.Click = [this] { cmdOk_Click(); };
    cmdCancel.Click = [this] { cmdCancel_Click(); };
    cmdFirst.Click = [this] { cmdFirst_Click(); };
    cmdPrevious.Click = [this] { cmdPrevious_Click(); };
    cmdNext.Click = [this] { cmdNext_Click(); };
    cmdLast.Click = [this] { cmdLast_Click(); };
}

frmJournalDetails::~frmJournalDetails() = default;

void frmJournalDetails::Form_Load() {
    try {
        db_ = std::make_unique<suite::ClsCommonDb>();
        gen_ = std::make_unique<suite::clsCommonGen>();
        module_.connection();  // auto-creates the session connection when the host gave none
        db_->adocon = module_.session.connection;

        auto& linkingForm = module_.frmPayrollAccountsLinking();
        auto& postingDetails = linkingForm.lvwPostingDetails;
        lblCompAmount.setCaption(postingDetails.columnHeader(pst::CompAmount) + " :");
        lblDepAmount.setCaption(postingDetails.columnHeader(pst::DeptAmount) + " :");
        lblAmount.setCaption("Amount(" + std::string() + "):");  // no symbol until an account is chosen
        lblBalance.setCaption(linkingForm.lblTotalAmt.caption());
        firstActivation = true;

        db_->strTablename = module_.session.tables.aAccountMaster;
        db_->populateComboorList(cboAccountID, "AccountID", "AccountDesc",
                                 "CompanyID=" + std::to_string(module_.session.companyId));

        // A saved entry that may no longer be changed is only shown. The browser is asked
        // only in edit mode, where it is the form that opened the linking screen.
        if (module_.EntryMode == "E") {
            auto& grid = module_.FrmMaster().flexMaster;
            if (!grid.textMatrix(grid.row(), browser::mst::TransID).empty()) {
                const bool readOnly = !linkingForm.cmdOk.enabled();
                cboAccountID.setLocked(readOnly);
                txtDescription.setLocked(readOnly);
                txtAmount.setLocked(readOnly);
                fraJournalType.setEnabled(!readOnly);
                cmdOK.setEnabled(!readOnly);
                fraJournal.setEnabled(!readOnly);
            }
        }

        if (postingDetails.count() > 0) {
            txtSlNo.setText(std::to_string(postingDetails.count() + 1));
            if (!module_.AddMode) SelectAccountOfRow(postingDetails.selectedIndex());
        } else {
            txtSlNo.setText("1");
        }

        if (module_.AddMode) txtBalance.setText(Format2(linking::PostingBalance(module_, postingDetails)));

        // A positive balance means the debits exceed the credits: the new line should credit.
        if (Val(txtBalance.text()) <= 0) {
            optDebit.setValue(true);
        } else {
            optCredit.setValue(true);
        }

        if (!module_.AddMode) module_.AddMode = true;
    } catch (const common::Error& e) {
        module_.LogError(kScreen, "Form_Load ", e);
    }
}

void frmJournalDetails::Form_Activate() {
    if (!firstActivation) return;
    marker = "Loaded";
    ui::StoreControlValues(*this);
    firstActivation = false;
}

void frmJournalDetails::Form_Unload(int& cancel) {
    (void)cancel;
    db_.reset();
    gen_.reset();
}

// The account of a posting row, found by its description; choosing it raises
// cboAccountID_Click, which brings the currency and the rates along.
void frmJournalDetails::SelectAccountOfRow(int row) {
    auto& postingDetails = module_.frmPayrollAccountsLinking().lvwPostingDetails;
    db_->strTablename = module_.session.tables.aAccountMaster;
    // The description goes in as it stands; a quote in it breaks the look-up as it always has.
    const common::Value accountId =
        db_->fnReturnField("AccountID", "AccountDesc = '" + postingDetails.cell(row, pst::DebitAccount) +
                                            "' AND CompanyID = " + std::to_string(module_.session.companyId));
    gen_->SelectComboItemByValue(cboAccountID, accountId);
}

void frmJournalDetails::cboAccountID_Click() {
    if (cboAccountID.listIndex() == -1) {
        accountRate = 0;
        companyRate = 0;
    } else {
        const auto accountId = cboAccountID.itemData(cboAccountID.listIndex());
        const auto& tables = module_.session.tables;
        const std::string sql =
            "Select cm.CurrencyID, cm.symbol from " + tables.aAccountMaster + " am," +
            tables.pCurrencyMaster + " cm where am.CompanyID = cm.CompanyID and " +
            "am.CurrencyID=cm.CurrencyID and cm.CompanyID=" + std::to_string(module_.session.companyId) +
            " and am.AccountID = " + std::to_string(accountId);
        auto rs = module_.connection().open(sql, data::CursorType::ForwardOnly, data::LockType::ReadOnly);
        accountCurrencyID = rs->field("currencyID").toInt16();
        accountCurrencySymbol = rs->field("symbol").toText();
        rs->close();
        lblAmount.setCaption("Amount(" + accountCurrencySymbol + "):");

        // Both amounts are converted from the account's currency, as the gathered lines are
        // from theirs: a line typed in the currency of an unbalanced gathered line then
        // balances it in the department's and in the company's currency alike.
        module_.frmPayrollAccountsLinking().EnsureEntryCurrencies();
        accountRate = data::GetExchangeRate(module_.connection(), module_.session.companyId,
                                            module_.DepartmentCurrencyID, accountCurrencyID);
        companyRate = data::GetExchangeRate(module_.connection(), module_.session.companyId,
                                            module_.CompanyCurrencyID, accountCurrencyID);
    }
    txtAmount_Change();
}

// The amount is in the account's currency; the two derived ones in the department's and the
// company's.
void frmJournalDetails::txtAmount_Change() {
    txtDepAmount.setText(Format2(Val(txtAmount.text()) * accountRate));
    txtCompAmount.setText(Format2(Val(txtAmount.text()) * companyRate));
}

void frmJournalDetails::ItemSelected(int16_t index) {
    try {
        auto& linkingForm = module_.frmPayrollAccountsLinking();
        auto& postingDetails = linkingForm.lvwPostingDetails;
        if (index == 0 || index > postingDetails.count()) return;

        // Lines gathered from the source transactions keep their account, amount and side.
        const bool gathered = postingDetails.cell(index, pst::Editable) == "N";
        txtAmount.setEnabled(!gathered);
        cboAccountID.setEnabled(!gathered);
        fraJournalType.setEnabled(!gathered);

        txtSlNo.setText(postingDetails.text(index));
        SelectAccountOfRow(index);
        txtDescription.setText(postingDetails.cell(index, pst::Description));

        const double amount = Val(postingDetails.cell(index, pst::DebitAmount)) -
                              Val(postingDetails.cell(index, pst::CreditAmount));
        txtAmount.setText(NumberText(std::fabs(amount)));
        // The side is that of the line's total: a credit added by hand is listed with a negative
        // credit, which debit less credit would read as a debit.
        const double side = Val(postingDetails.cell(index, pst::TotalAmount));
        txtDepAmount.setText(
            NumberText(std::fabs(common::Value(postingDetails.cell(index, pst::DeptAmount)).toDouble())));
        txtCompAmount.setText(
            NumberText(std::fabs(common::Value(postingDetails.cell(index, pst::CompAmount)).toDouble())));
        if (side <= 0) {
            optCredit.setValue(true);
        } else {
            optDebit.setValue(true);
        }

        postingDetails.setSelectedIndex(index);

        // The balance of all the other lines.
        txtBalance.setText(NumberText(Val(Format2(linking::PostingBalance(module_, postingDetails))) -
                                      Val(postingDetails.cell(index, pst::DeptAmount))));

        if (index == 1) {
            cmdFirst.setEnabled(false);
            cmdPrevious.setEnabled(false);
            cmdNext.setEnabled(true);
            cmdLast.setEnabled(true);
        } else if (index == postingDetails.count()) {
            cmdFirst.setEnabled(true);
            cmdPrevious.setEnabled(true);
            cmdNext.setEnabled(false);
            cmdLast.setEnabled(false);
        } else {
            cmdFirst.setEnabled(true);
            cmdPrevious.setEnabled(true);
            cmdNext.setEnabled(true);
            cmdLast.setEnabled(true);
        }
    } catch (const common::Error& e) {
        module_.LogError(kScreen, "ItemSelected", e);
    }
}

void frmJournalDetails::ClearText() {
    cboAccountID.setListIndex(-1);
    if (!cboAccountID.text().empty()) cboAccountID.setText("");
    txtDescription.setText("");
    txtAmount.setText("0.00");
    txtBalance.setText(
        Format2(linking::PostingBalance(module_, module_.frmPayrollAccountsLinking().lvwPostingDetails)));
}

void frmJournalDetails::txtAmount_KeyPress(int16_t& keyAscii) {
    ui::SendTabOnEnter(toolkit(), keyAscii);
    gen_->TextValidateNum(txtAmount, keyAscii, 20, 2);
}

void frmJournalDetails::txtAmount_GotFocus() {
    txtAmount.setSelStart(0);
    txtAmount.setSelLength(static_cast<int>(txtAmount.text().size()));
}

// Only a number is put in the amount pattern; any other text stays as typed.
void frmJournalDetails::txtAmount_LostFocus() {
    if (common::IsNumeric(txtAmount.text())) txtAmount.setText(Format2(Val(txtAmount.text())));
}

namespace {

// Format on a text box's value: a number is shown in the pattern, anything else as it stands.
std::string AmountTip(const std::string& text) {
    if (!common::IsNumeric(text)) return text;
    return common::Format(common::Value(text).toDouble(), "###,###,##0.00######");
}

}  // namespace

void frmJournalDetails::txtAmount_MouseMove(int button, int shift, float x, float y) {
    (void)button, (void)shift, (void)x, (void)y;
    try {
        txtAmount.setToolTipText(AmountTip(txtAmount.text()));
    } catch (const common::Error& e) {
        module_.LogError(kScreen, "txtAmount_MouseMove", e);
    }
}

void frmJournalDetails::txtBalance_GotFocus() {
    txtBalance.setSelStart(0);
    txtBalance.setSelLength(static_cast<int>(txtBalance.text().size()));
}

void frmJournalDetails::txtBalance_MouseMove(int button, int shift, float x, float y) {
    (void)button, (void)shift, (void)x, (void)y;
    try {
        txtBalance.setToolTipText(AmountTip(txtBalance.text()));
    } catch (const common::Error& e) {
        module_.LogError(kScreen, "txtBalance_MouseMove", e);
    }
}

// The line as typed must name an account, a description and an amount, and an account no
// other line holds; the first thing missing is said and gets the focus.
bool frmJournalDetails::LineIsValid() {
    auto& postingDetails = module_.frmPayrollAccountsLinking().lvwPostingDetails;
    const int notice = ui::vbOKOnly + ui::vbInformation;

    if (cboAccountID.listIndex() == -1 || cboAccountID.text().empty()) {
        module_.MsgBox("Invalid account head or not selected", notice);
        cboAccountID.setFocus();
        return false;
    }
    if (common::Trim(txtDescription.text()).empty()) {
        module_.MsgBox("Description not entered", notice);
        txtDescription.setFocus();
        return false;
    }
    if (txtAmount.text().empty() || Val(txtAmount.text()) == 0) {
        module_.MsgBox("Amount not entered", notice);
        txtAmount.setFocus();
        return false;
    }

    const int64_t accountId = cboAccountID.itemData(cboAccountID.listIndex());
    for (int row = 1; row <= postingDetails.count(); ++row) {
        // An edited line may keep its own account; gathered lines do not count then.
        if (!module_.AddMode &&
            (postingDetails.cell(row, pst::Editable) == "N" || row == postingDetails.selectedIndex()))
            continue;
        if (Val(postingDetails.cell(row, pst::DebitAccountID)) == static_cast<double>(accountId)) {
            module_.MsgBox("Account already selected.", notice);
            return false;
        }
    }
    return true;
}

void frmJournalDetails::WriteLine(int row, bool newRow) {
    auto& postingDetails = module_.frmPayrollAccountsLinking().lvwPostingDetails;
    const int64_t accountId = cboAccountID.itemData(cboAccountID.listIndex());
    const double dep = Val(txtDepAmount.text());
    const double comp = Val(txtCompAmount.text());
    const double amount = Val(txtAmount.text());
    const std::string currencyId = std::to_string(accountCurrencyID);

    postingDetails.setCell(row, pst::DebitAccount, cboAccountID.text());
    postingDetails.setCell(row, pst::Description, common::Trim(txtDescription.text()));
    // Debit, credit, total and transaction amounts are in the account's currency (the
    // line's own), the other two in the department's and the company's.
    if (optDebit.value()) {
        postingDetails.setCell(row, pst::DebitAmount, Format2(amount));
        postingDetails.setCell(row, pst::CreditAmount, "0.00");
        postingDetails.setCell(row, pst::TotalAmount, Format2(amount));
        postingDetails.setCell(row, pst::TransAmt, Format2(amount));
        postingDetails.setCell(row, pst::CompAmount, Format2(comp));
        postingDetails.setCell(row, pst::DeptAmount, Format2(dep));
    } else {
        postingDetails.setCell(row, pst::DebitAmount, "0.00");
        // A new credit line carries its credit negative, an edited one positive; the
        // save stores both as the total says.
        postingDetails.setCell(row, pst::CreditAmount, Format2(newRow ? -amount : amount));
        postingDetails.setCell(row, pst::TotalAmount, Format2(-amount));
        postingDetails.setCell(row, pst::TransAmt, Format2(-amount));
        postingDetails.setCell(row, pst::CompAmount, Format2(-comp));
        postingDetails.setCell(row, pst::DeptAmount, Format2(-dep));
    }
    postingDetails.setCell(row, pst::DebitAccountID, std::to_string(accountId));
    if (newRow) postingDetails.setCell(row, pst::Editable, "Y");
    postingDetails.setCell(row, pst::AccCurrID, currencyId);
    // The line's transaction currency is the account's own.
    postingDetails.setCell(row, pst::ResCurrID, currencyId);
    postingDetails.setCell(row, pst::TransCurr, accountCurrencySymbol);
    postingDetails.setCell(row, pst::AccCurrency, accountCurrencySymbol);
}

void frmJournalDetails::cmdOk_Click() {
    try {
        auto& linkingForm = module_.frmPayrollAccountsLinking();
        auto& postingDetails = linkingForm.lvwPostingDetails;
        if (!LineIsValid()) return;

        if (!module_.AddMode) {
            const int row = postingDetails.selectedIndex();
            if (postingDetails.cell(row, pst::Editable) != "Y") {
                postingDetails.setCell(row, pst::Description, common::Trim(txtDescription.text()));
            } else {
                WriteLine(row, false);
            }
        } else {
            const int row = postingDetails.add(std::to_string(postingDetails.count() + 1));
            WriteLine(row, true);
            postingDetails.setSelectedIndex(row);
        }

        if (module_.AddMode) {
            txtSlNo.setText(postingDetails.count() == 0 ? std::string("1")
                                                        : std::to_string(postingDetails.selectedIndex() + 1));
        }

        const std::string balance = Format2(linking::PostingBalance(module_, postingDetails));
        txtBalance.setText(balance);
        linkingForm.txtTotDepAmount.setText(balance);

        if (cboAccountID.enabled()) cboAccountID.setFocus();
        cmdFirst.setEnabled(true);
        cmdPrevious.setEnabled(true);
        cmdNext.setEnabled(true);
        cmdLast.setEnabled(true);

        if (module_.AddMode) {
            ClearText();
            cboAccountID.setFocus();
        } else if (postingDetails.selectedIndex() != postingDetails.count() && cmdNext.enabled()) {
            cmdNext_Click();
        }
    } catch (const common::Error& e) {
        module_.LogError(kScreen, "cmdOk_Click ", e);
    }
}

void frmJournalDetails::cmdCancel_Click() {
    try {
        unload();
    } catch (const common::Error& e) {
        module_.LogError("frmJournalDetails ", "cmdCancel_Click ", e);
    }
}

void frmJournalDetails::cmdFirst_Click() {
    try {
        module_.AddMode = false;
        ItemSelected(1);
        ui::StoreControlValues(*this);
    } catch (const common::Error& e) {
        module_.LogError(kScreen, "cmdFirst_Click ", e);
    }
}

void frmJournalDetails::cmdPrevious_Click() {
    try {
        auto& postingDetails = module_.frmPayrollAccountsLinking().lvwPostingDetails;
        if (postingDetails.count() > 0) {
            module_.AddMode = false;
            ItemSelected(common::CInt(postingDetails.selectedIndex() - 1));
            ui::StoreControlValues(*this);
        }
    } catch (const common::Error& e) {
        module_.LogError(kScreen, "cmdPrevious_Click ", e);
    }
}

void frmJournalDetails::cmdNext_Click() {
    try {
        auto& postingDetails = module_.frmPayrollAccountsLinking().lvwPostingDetails;
        if (postingDetails.count() > 0) {
            module_.AddMode = false;
            ItemSelected(common::CInt(postingDetails.selectedIndex() + 1));
            ui::StoreControlValues(*this);
        }
    } catch (const common::Error& e) {
        module_.LogError(kScreen, "cmdNext_Click ", e);
    }
}

void frmJournalDetails::cmdLast_Click() {
    try {
        auto& postingDetails = module_.frmPayrollAccountsLinking().lvwPostingDetails;
        if (postingDetails.count() > 0) {
            module_.AddMode = false;
            ItemSelected(common::CInt(postingDetails.count()));
            ui::StoreControlValues(*this);
        }
    } catch (const common::Error& e) {
        module_.LogError(kScreen, "cmdLast_Click ", e);
    }
}

}  // namespace journal
