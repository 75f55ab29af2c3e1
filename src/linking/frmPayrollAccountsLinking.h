#pragma once
// The linking screen: gathers source transactions into posting lines and saves the entry.
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "common/TransactionTypes.h"
#include "entry/Module.h"
#include "linking/ListColumns.h"
#include "suite/CommonModule.h"
#include "ui/Form.h"

namespace linking {

class TransactionIndex;
class DetailIndex;
class PostingIndex;

class frmPayrollAccountsLinking : public ui::Form {
public:
    explicit frmPayrollAccountsLinking(entry::Module& module);
    ~frmPayrollAccountsLinking() override;

    // Controls, in layout (tab) order.
    ui::Frame& fraLoanApp;
    ui::Label& lblTransNo;
    ui::TextBox& txtTransNo;
    ui::Label& Label4;
    ui::DatePicker& dtpTransDate;
    ui::Frame& fraDateRange;
    ui::Label& lblType;
    ui::ComboBox& cboType;
    ui::Label& Label3;
    ui::ComboBox& cboDepartment;
    ui::Label& Label1;
    ui::DatePicker& dtpFromDate;
    ui::Label& Label2;
    ui::DatePicker& dtpToDate;
    ui::CommandButton& cmdShow;
    ui::Frame& fraTransactionDetails;
    ui::ListView& lvwTransactions;
    ui::ListView& lvwTransactionDetails;
    ui::CheckBox& chkSelectAll;
    ui::CommandButton& cmdShowDetails;
    ui::Frame& fraPostingDetails;
    ui::ListView& lvwPostingDetails;
    ui::Label& lblRemarks;
    ui::TextBox& txtRemarks;
    ui::Label& lblTotalAmt;
    ui::TextBox& txtTotDepAmount;
    ui::CommandButton& cmdOk;
    ui::CommandButton& cmdClose;
    ui::Menu& mnuPopup;
    ui::MenuItem& mnuAdd;
    ui::MenuItem& mnuEdit;
    ui::MenuItem& mnuDelete;
    ui::MenuItem& mnuCancel;
    ui::MenuItem& mnuSelect;

    // Set-up and gathering.
    void Form_Load() override;
    void Form_Activate() override;
    void Form_QueryUnload(int& cancel, int unloadMode) override;
    void Form_Unload(int& cancel) override;
    bool FnCheckAllSettingsEntered();
    void FillTypeList();
    void cboType_Click();
    void cboDepartment_Click();
    void cmdShow_Click();
    static constexpr const char* kRangeBackwards =
        "The From date is after the To date: choose a From date on or before the To date.";
    void FillPayrollDetails(const std::string& procedure);
    void FillPaymentDetails(const std::string& procedure, const std::string& typeCode,
                            const std::string& entryLabel);
    // The type chosen in the type list (nullptr before one is), and whether it lists payroll
    // runs, whose detail rows follow their run's tick, rather than payments.
    const common::TransactionType* SelectedType();
    bool RunsSelected();
    void lvwTransactions_ItemCheck(int row);
    void SyncTransactionDetails(int32_t transId, int transactionRow);
    void lvwTransactionDetails_ItemCheck(int row);
    void chkSelectAll_Click();
    void cmdShowDetails_Click();
    void BuildPostingDetails(int detailRow);

    // Saving.
    void cmdOk_Click();
    void CmdClose_Click();
    std::string Generateappno();
    std::string HighestEntryNumberGuarded(const std::string& prefix);
    void InsertIntoTable();
    void InsertIntoDetailTable(int32_t& transId);
    void InsertIntoPostingDetailsTable(int32_t& transId);
    void UpdateTransTables();
    void UpdateEditedRow(const std::string& whereClause, int32_t transId);
    double fnPrevPendingLoanAmt(int32_t employeeId, int32_t loanId);

    // The posting list's menu, double-click and keys (the journal line editor's side).
    void lvwPostingDetails_MouseDown(int button, int shift, float x, float y);
    void lvwPostingDetails_DblClick();
    void lvwPostingDetails_KeyDown(int16_t& keyCode, int16_t shift);
    void mnuAdd_Click();
    void mnuEdit_Click();
    void mnuDelete_Click();

    int16_t PrevTypeIndex = 0;
    int16_t PrevDepartmentIndex = 0;
    bool SelectingAll = false;
    bool SyncingSelectAll = false;

    entry::Module& module() const { return module_; }

    // Rows added through these keep the screen's lookups in step with its lists (loading a
    // saved entry adds rows too).
    int AddTransactionRow(int32_t transId);
    int AddTransactionDetailRow(int32_t transId);
    bool TransactionListed(int32_t transId);

    // The currencies a line typed by hand converts into: those a retrieval or an opened entry
    // set, or before either, those of the selected department and of the company.
    void EnsureEntryCurrencies();

private:
    // Guards of the save: extra checks inside its transaction that stop it (rolled back, the
    // screen as it was) where saving would post a source twice or reuse another entry's keys.
    struct SaveStopped;
    std::string NextEntryNumber();
    std::string EntryNumberOrStop();
    bool EntryKeysTaken(int32_t transId, const std::string& transNo);
    void TakeFreeEntryKeys(int32_t& transId);
    void StopIfSourcesTaken(int32_t ownTransId);
    void StopIfEntryClosed(int32_t transId);
    void StopIfHeldUnflagged(const std::string& holder, int32_t holderId, const std::string& keys,
                             const common::SourceTable& source);
    // The ledger check, the save's last step before its commit.
    void StopIfLedgerBreaks(int32_t transId);
    // Each source of the lists (its key as listed) and whether the entry links it.
    std::vector<std::pair<std::string, bool>> SourceTicks();

    int PostingLineOf(int detailRow);
    bool AllDetailsTicked();
    void ClearSelection();

    std::unique_ptr<TransactionIndex> transactionIndex_;
    std::unique_ptr<DetailIndex> detailIndex_;
    std::unique_ptr<PostingIndex> postingIndex_;
    std::vector<int32_t> flagged_;        // the sources the running save marked posted
    std::vector<int32_t> linkedSources_;  // the source of each detail row it wrote
    entry::Module& module_;
    std::unique_ptr<suite::ClsCommonDb> db_;
    std::unique_ptr<suite::clsCommonGen> gen_;
};

}  // namespace linking
