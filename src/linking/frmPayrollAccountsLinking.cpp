// The linking screen: its controls, set-up, settings check and the type and department
// guards. Gathering is in _Gather.cpp, saving in _Save.cpp.
#include "linking/frmPayrollAccountsLinking.h"

#include "common/Conv.h"
#include "common/DateTime.h"
#include "linking/frmPayrollAccountsLinking_Index.h"
#include "ui/Helpers.h"

namespace linking {

using common::Trim;

namespace {

template <size_t N>
void AddColumns(ui::ListView& list, const std::array<const char*, N>& headings) {
    for (const char* h : headings) list.addColumn(h);
}

}  // namespace

frmPayrollAccountsLinking::frmPayrollAccountsLinking(entry::Module& module)
    : ui::Form(module.toolkit(), "frmPayrollAccountsLinking", "Payroll-Accounts Linking"),
      fraLoanApp(add<ui::Frame>("fraLoanApp", "")),
      lblTransNo(add<ui::Label>("lblTransNo", "Trans. No :", &fraLoanApp)),
      txtTransNo(add<ui::TextBox>("txtTransNo", &fraLoanApp)),
      Label4(add<ui::Label>("Label4", "Date :", &fraLoanApp)),
      dtpTransDate(add<ui::DatePicker>("dtpTransDate", &fraLoanApp)),
      fraDateRange(add<ui::Frame>("fraDateRange", "Date Range", &fraLoanApp)),
      lblType(add<ui::Label>("lblType", "Type :", &fraDateRange)),
      cboType(add<ui::ComboBox>("cboType", &fraDateRange)),
      Label3(add<ui::Label>("Label3", "Dept :", &fraDateRange)),
      cboDepartment(add<ui::ComboBox>("cboDepartment", &fraDateRange)),
      Label1(add<ui::Label>("Label1", "From :", &fraDateRange)),
      dtpFromDate(add<ui::DatePicker>("dtpFromDate", &fraDateRange)),
      Label2(add<ui::Label>("Label2", "To :", &fraDateRange)),
      dtpToDate(add<ui::DatePicker>("dtpToDate", &fraDateRange)),
      cmdShow(add<ui::CommandButton>("cmdShow", "&Show", &fraDateRange)),
      fraTransactionDetails(add<ui::Frame>("fraTransactionDetails", "&Transaction Details", &fraLoanApp)),
      lvwTransactions(add<ui::ListView>("lvwTransactions", &fraTransactionDetails)),
      lvwTransactionDetails(add<ui::ListView>("lvwTransactionDetails", &fraTransactionDetails)),
      chkSelectAll(add<ui::CheckBox>("chkSelectAll", "Select All", &fraTransactionDetails)),
      cmdShowDetails(add<ui::CommandButton>("cmdShowDetails", "&d", &fraTransactionDetails)),
      fraPostingDetails(add<ui::Frame>("fraPostingDetails", "Accounts Details", &fraLoanApp)),
      lvwPostingDetails(add<ui::ListView>("lvwPostingDetails", &fraPostingDetails)),
      lblRemarks(add<ui::Label>("lblRemarks", "&Remarks :", &fraLoanApp)),
      txtRemarks(add<ui::TextBox>("txtRemarks", &fraLoanApp)),
      lblTotalAmt(add<ui::Label>("lblTotalAmt", "Balance :", &fraLoanApp)),
      txtTotDepAmount(add<ui::TextBox>("txtTotDepAmount", &fraLoanApp)),
      cmdOk(add<ui::CommandButton>("cmdOk", "&Ok")),
      cmdClose(add<ui::CommandButton>("cmdClose", "&Close")),
      mnuPopup(add<ui::Menu>("mnuPopup", "Popup")),
      mnuAdd(add<ui::MenuItem>(mnuPopup, "mnuAdd", "&Add")),
      mnuEdit(add<ui::MenuItem>(mnuPopup, "mnuEdit", "&Edit")),
      mnuDelete(add<ui::MenuItem>(mnuPopup, "mnuDelete", "&Delete")),
      mnuCancel(add<ui::MenuItem>(mnuPopup, "mnuCancel", "&Cancel")),
      mnuSelect(add<ui::MenuItem>(mnuPopup, "mnuSelect", "Select some transactions to continue...")),
      module_(module) {
    AddColumns(lvwTransactions, trn::kHeadings);
    AddColumns(lvwTransactionDetails, det::kHeadings);
    AddColumns(lvwPostingDetails, pst::kHeadings);
    // The transaction list and the detail list share one place; the button swaps them.
    lvwTransactionDetails.setVisible(false);
    cmdShowDetails.setVisible(false);
    txtTotDepAmount.setText("0.00");
    txtTotDepAmount.setLocked(true);

    transactionIndex_ = std::make_unique<TransactionIndex>(lvwTransactions);
    detailIndex_ = std::make_unique<DetailIndex>(lvwTransactionDetails);
    postingIndex_ = std::make_unique<PostingIndex>(lvwPostingDetails);

    auto tab = [this](int16_t& k) { ui::SendTabOnEnter(toolkit(), k); };
    auto tabDown = [this](int16_t& k, int16_t) { ui::SendTabOnEnter(toolkit(), k); };

    cboType.Click = [this] { cboType_Click(); };
    cboType.Change = [this] { cboType_Click(); };
    cboType.KeyPress = tab;
    cboDepartment.Click = [this] { cboDepartment_Click(); };
    cboDepartment.Change = [this] { cboDepartment_Click(); };
    cboDepartment.KeyPress = tab;
    chkSelectAll.Click = [this] { chkSelectAll_Click(); };
    chkSelectAll.KeyPress = tab;
    dtpFromDate.KeyDown = tabDown;
    dtpToDate.KeyDown = tabDown;
    dtpTransDate.KeyDown = tabDown;
    lvwTransactions.KeyDown = tabDown;
    lvwTransactionDetails.KeyDown = tabDown;
    txtRemarks.KeyDown = tabDown;
    // No longer than the column it is saved to (Remarks, 255 characters).
    txtRemarks.maxLength = 255;
    txtTotDepAmount.KeyDown = tabDown;
    txtTransNo.KeyDown = tabDown;

    cmdShow.Click = [this] { cmdShow_Click(); };
    cmdShowDetails.Click = [this] { cmdShowDetails_Click(); };
    lvwTransactions.ItemCheck = [this](int row) { lvwTransactions_ItemCheck(row); };
    lvwTransactionDetails.ItemCheck = [this](int row) { lvwTransactionDetails_ItemCheck(row); };
    cmdOk.Click = [this] { cmdOk_Click(); };
    cmdClose.Click = [this] { CmdClose_Click(); };

    lvwPostingDetails.MouseDown = [this](int b, int s, float x, float y) {
        lvwPostingDetails_MouseDown(b, s, x, y);
    };
    lvwPostingDetails.DblClick = [this] { lvwPostingDetails_DblClick(); };
    lvwPostingDetails.KeyDown = [this](int16_t& k, int16_t s) { lvwPostingDetails_KeyDown(k, s); };
    mnuAdd.Click = [this] { mnuAdd_Click(); };
    mnuEdit.Click = [this] { mnuEdit_Click(); };
    mnuDelete.Click = [this] { mnuDelete_Click(); };
}

frmPayrollAccountsLinking::~frmPayrollAccountsLinking() = default;

void frmPayrollAccountsLinking::Form_Load() {
    auto& s = module_.session;
    if (!db_) db_ = std::make_unique<suite::ClsCommonDb>();
    module_.connection();  // auto-creates the session connection when there is none
    db_->adocon = s.connection;
    gen_ = std::make_unique<suite::clsCommonGen>();
    // A new screen is a new entry: the currencies of the last one do not carry over.
    module_.DepartmentCurrencyID = 0;
    module_.CompanyCurrencyID = 0;

    if (!FnCheckAllSettingsEntered()) {
        module_.MsgBox("All the settings are not entered. Set all the settings to continue.",
                       ui::vbOKOnly + ui::vbInformation);
        cmdOk.setEnabled(false);
        fraLoanApp.setEnabled(false);
    }

    FillTypeList();

    db_->strTablename = s.tables.pDepartment;
    db_->populateComboorList(cboDepartment, "DepartmentID", "DepartmentName",
                             " companyID=" + std::to_string(s.companyId) + " order by DepartmentName asc");

    if (module_.EntryMode != "E") {
        dtpTransDate.setValue(common::toDate(s.processDate));
    } else {
        fraDateRange.setEnabled(false);
    }
}

void frmPayrollAccountsLinking::Form_Activate() {
    marker = "Loaded";
    ui::StoreControlValues(*this);
}

bool frmPayrollAccountsLinking::FnCheckAllSettingsEntered() {
    auto& conn = module_.connection();
    std::string company = std::to_string(module_.session.companyId);
    auto count = [&conn](const std::string& sql) {
        auto rs = conn.open(sql, data::CursorType::ForwardOnly, data::LockType::ReadOnly);
        int32_t n = rs->field(0).toInt32();
        rs->close();
        return n;
    };

    int32_t currencies = count(
        "select count(1) from pCurrencyMaster where companyID= " + company +
        " and CurrencyID in(select distinct ecurrencyid from pemployee where eCompanyID=" + company + ")");
    int32_t configRows = count("select count(1) from paSalaryAccountsConfig where sacCompanyID=" + company);
    // Four salary accounts for every currency in use: more rows are as wrong as fewer.
    if (configRows != 4 * currencies) return false;
    int32_t missing = count("select count(1) from vwPayAccLinkSettings where isnull(adcAccountID,0) = 0 " +
                            std::string(" and CompanyID=") + company);
    return missing < 1;
}

void frmPayrollAccountsLinking::FillTypeList() {
    for (const common::TransactionType* type : common::TypesInComboOrder()) cboType.addItem(type->name);
}

void frmPayrollAccountsLinking::ClearSelection() {
    lvwTransactionDetails.clear();
    lvwTransactions.clear();
    lvwPostingDetails.clear();
}

void frmPayrollAccountsLinking::cboType_Click() {
    try {
        if (lvwTransactionDetails.count() >= 1 && cboType.listIndex() != PrevTypeIndex) {
            if (module_.MsgBox("All the selected details will be lost. Do you want to continue?",
                               ui::vbYesNo + ui::vbQuestion + ui::vbDefaultButton2) == ui::vbNo) {
                cboType.setListIndex(PrevTypeIndex);
                return;
            }
            ClearSelection();
            cboDepartment.setListIndex(-1);
            txtTotDepAmount.setText("0.00");
        }

        const common::DateTime transDate = dtpTransDate.value();
        if (RunsSelected()) {
            // Processing dates of every company count: the statement has no company condition.
            std::string sql = "Select isnull(max(mppProcessedDate), '" +
                              common::formatDate(transDate, "yyyymmdd") +
                              "') from pMonthlyPayRollProcessing where month(mppProcessedDate) = " +
                              std::to_string(transDate.month) +
                              " and year(mppProcessedDate) = " + std::to_string(transDate.year);
            auto rs = module_.connection().open(sql, data::CursorType::ForwardOnly, data::LockType::ReadOnly);
            common::DateTime latest = rs->field(0).toDate();
            rs->close();
            dtpFromDate.setValue(latest);
            dtpToDate.setValue(latest);
        } else {
            common::DateTime first = common::DateTime::ymd(transDate.year, transDate.month, 1);
            dtpFromDate.setValue(first);
            dtpToDate.setValue(common::addDays(common::addMonths(first, 1), -1));
        }

        PrevTypeIndex = static_cast<int16_t>(cboType.listIndex());
    } catch (const common::Error& e) {
        module_.MsgBox(e.description(), ui::vbOKOnly + ui::vbInformation);
    }
}

void frmPayrollAccountsLinking::cboDepartment_Click() {
    if (lvwTransactionDetails.count() >= 1 && cboDepartment.listIndex() != PrevDepartmentIndex) {
        // "Al" is the screen's own spelling.
        if (module_.MsgBox("Al the selected details will be lost. Do you want to continue?",
                           ui::vbYesNo + ui::vbQuestion + ui::vbDefaultButton2) == ui::vbNo) {
            cboDepartment.setListIndex(PrevDepartmentIndex);
            return;
        }
        ClearSelection();
        txtTotDepAmount.setText("0.00");
    }
    // Another department converts in its own currency.
    if (cboDepartment.listIndex() != PrevDepartmentIndex) {
        module_.DepartmentCurrencyID = 0;
        module_.CompanyCurrencyID = 0;
    }
    PrevDepartmentIndex = static_cast<int16_t>(cboDepartment.listIndex());
}

void frmPayrollAccountsLinking::EnsureEntryCurrencies() {
    if (module_.DepartmentCurrencyID != 0 || cboDepartment.listIndex() == -1) return;
    auto& s = module_.session;
    const std::string company = std::to_string(s.companyId);
    auto rs = module_.connection().open(
        "select d.DepCurrencyID, c.CurrencyID from " + s.tables.pDepartment + " d, " +
            s.tables.pCompanyMaster + " c where d.CompanyID=c.CompanyID and c.CompanyID=" + company +
            " and d.DepartmentID=" + std::to_string(cboDepartment.itemData(cboDepartment.listIndex())),
        data::CursorType::ForwardOnly, data::LockType::ReadOnly);
    if (!rs->eof()) {
        module_.DepartmentCurrencyID = rs->field(0).isNull() ? int16_t{0} : rs->field(0).toInt16();
        module_.CompanyCurrencyID = rs->field(1).isNull() ? int16_t{0} : rs->field(1).toInt16();
    }
    rs->close();
}

// Rows added through these keep the lookups in step.
int frmPayrollAccountsLinking::AddTransactionRow(int32_t transId) {
    return transactionIndex_->append(transId);
}
int frmPayrollAccountsLinking::AddTransactionDetailRow(int32_t transId) {
    return detailIndex_->append(transId);
}
bool frmPayrollAccountsLinking::TransactionListed(int32_t transId) {
    return transactionIndex_->find(transId) != 0;
}

}  // namespace linking
