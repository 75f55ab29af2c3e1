#pragma once
// The journal line editor: adds, changes and steps through the posting lines.
#include <cstdint>
#include <memory>
#include <string>

#include "entry/Module.h"
#include "suite/CommonModule.h"
#include "ui/Form.h"

namespace journal {

class frmJournalDetails : public ui::Form {
public:
    explicit frmJournalDetails(entry::Module& module);
    ~frmJournalDetails() override;

    // Controls, in layout (tab) order.
    ui::Frame& fraJournal;
    ui::Label& lblSlNo;
    ui::TextBox& txtSlNo;
    ui::Label& lblAccountID;
    ui::ComboBox& cboAccountID;
    ui::Label& lblDescription;
    ui::TextBox& txtDescription;
    ui::Frame& fraJournalType;
    ui::OptionButton& optDebit;
    ui::OptionButton& optCredit;
    ui::Label& lblAmount;
    ui::TextBox& txtAmount;
    ui::Label& lblUnits;
    ui::Label& lblDepAmount;
    ui::TextBox& txtDepAmount;
    ui::Label& lblCompAmount;
    ui::TextBox& txtCompAmount;
    ui::Label& lblBalance;
    ui::TextBox& txtBalance;
    ui::CommandButton& cmdOK;
    ui::CommandButton& cmdCancel;
    ui::CommandButton& cmdFirst;
    ui::CommandButton& cmdPrevious;
    ui::CommandButton& cmdNext;
    ui::CommandButton& cmdLast;

    void Form_Load() override;
    void Form_Activate() override;
    void Form_Unload(int& cancel) override;
    void ItemSelected(int16_t index);
    void ClearText();
    void cboAccountID_Click();
    void txtAmount_Change();
    void txtAmount_KeyPress(int16_t& keyAscii);
    void txtAmount_GotFocus();
    void txtAmount_LostFocus();
    void txtAmount_MouseMove(int button, int shift, float x, float y);
    void txtBalance_GotFocus();
    void txtBalance_MouseMove(int button, int shift, float x, float y);
    void cmdOk_Click();
    void cmdCancel_Click();
    void cmdFirst_Click();
    void cmdPrevious_Click();
    void cmdNext_Click();
    void cmdLast_Click();

    double accountRate = 0, companyRate = 0;
    int16_t accountCurrencyID = 0;
    std::string accountCurrencySymbol;
    bool firstActivation = false;

private:
    void SelectAccountOfRow(int row);
    // cmdOk_Click's checks of the line as typed (false: said why), and its write into the
    // posting list's row.
    bool LineIsValid();
    void WriteLine(int row, bool newRow);

    entry::Module& module_;
    std::unique_ptr<suite::ClsCommonDb> db_;
    std::unique_ptr<suite::clsCommonGen> gen_;
};

}  // namespace journal
