// The posting list's popup menu, double-click and keys.
#include "common/Error.h"
#include "journal/frmJournalDetails.h"
#include "linking_fixture.h"

namespace {

namespace pst = linking::pst;

class PostingMenuTest : public linkingtest::LinkingTest {
protected:
    std::string popupItems(linking::frmPayrollAccountsLinking& f, int row) {
        if (row > 0) f.lvwPostingDetails.userSelectRow(row);
        toolkit.openMenu = nullptr;
        f.lvwPostingDetails.userRightClick();
        EXPECT_EQ(toolkit.openMenu, &f.mnuPopup);
        return std::string() + (f.mnuAdd.visible() ? "A" : "-") + (f.mnuEdit.visible() ? "E" : "-") +
               (f.mnuDelete.visible() ? "D" : "-") + (f.mnuSelect.visible() ? "S" : "-") +
               (f.mnuCancel.visible() ? "C" : "-");
    }
};

TEST_F(PostingMenuTest, MenuFollowsTheSelectedLineAndOpensTheEditor) {
    auto& f = openNew();
    EXPECT_EQ(popupItems(f, 0), "---SC");
    f.lvwPostingDetails.userDblClick();
    f.lvwPostingDetails.userKeyDown(ui::vbKeyReturn);
    EXPECT_FALSE(module->isLoaded("frmJournalDetails"));

    module->DepartmentCurrencyID = module->CompanyCurrencyID = 1;
    addLine(f, "Cash in Hand", 3001, 100, 0, "N");
    addLine(f, "Salary Advances to Staff", 2001, 0, 60, "Y");
    addLine(f, "Emirates Bank Current Account", 3002, 0, 0, " ");
    EXPECT_EQ(popupItems(f, 1), "AE--C");
    EXPECT_EQ(popupItems(f, 2), "AED-C");
    EXPECT_EQ(popupItems(f, 3), "AED-C");

    f.lvwPostingDetails.userSelectRow(2);
    f.lvwPostingDetails.userKeyDown(ui::vbKeyReturn);
    auto& ed = module->frmJournalDetails();
    EXPECT_EQ(toolkit.topForm(), &ed);
    EXPECT_FALSE(module->AddMode);
    EXPECT_EQ(ed.cboAccountID.text() + " " + ed.txtAmount.text() + " " + ed.txtBalance.text(),
              "Salary Advances to Staff 60 100");
    ed.cmdCancel.userClick();
    popupItems(f, 1);
    f.mnuAdd.userClick();
    EXPECT_TRUE(module->AddMode);
    EXPECT_EQ(
        module->frmJournalDetails().txtSlNo.text() + " " + module->frmJournalDetails().txtBalance.text(),
        "4 40.00");
}

TEST_F(PostingMenuTest, DeletingAnAddedLineRenumbersAndRebalances) {
    auto& f = openNew();
    module->DepartmentCurrencyID = module->CompanyCurrencyID = 1;
    addLine(f, "Cash in Hand", 3001, 100, 0, "Y");
    addLine(f, "Salary Advances to Staff", 2001, 25.5, 0, "Y");
    addLine(f, "Other Staff Payments", 2006, 0, 100, "Y");
    f.txtTotDepAmount.setText("25.50");
    toolkit.answers = {ui::vbNo, ui::vbYes};
    popupItems(f, 2);
    f.mnuDelete.userClick();
    ASSERT_EQ(toolkit.messages.size(), 1u);
    EXPECT_EQ(toolkit.messages[0].request.text, "Do you want to delete Salary Advances to Staff?");
    EXPECT_EQ(toolkit.messages[0].request.style, ui::vbYesNo + ui::vbQuestion + ui::vbDefaultButton2);
    EXPECT_EQ(f.lvwPostingDetails.count(), 3);
    EXPECT_EQ(f.txtTotDepAmount.text(), "25.50");

    f.lvwPostingDetails.userKeyDown(ui::vbKeyDelete);
    ASSERT_EQ(f.lvwPostingDetails.count(), 2);
    EXPECT_EQ(f.lvwPostingDetails.text(2) + " " + f.lvwPostingDetails.cell(2, pst::DebitAccount),
              "2 Other Staff Payments");
    EXPECT_EQ(f.txtTotDepAmount.text(), "0.00");

    // Only "Y" exactly deletes; on an empty list the key fails as the selected row is read.
    f.lvwPostingDetails.setCell(1, pst::Editable, "N");
    f.lvwPostingDetails.setCell(2, pst::Editable, "y");
    for (int row : {1, 2}) {
        f.lvwPostingDetails.userSelectRow(row);
        f.lvwPostingDetails.userKeyDown(ui::vbKeyDelete);
    }
    EXPECT_EQ(f.lvwPostingDetails.count(), 2);
    EXPECT_EQ(toolkit.messages.size(), 2u);
    f.lvwPostingDetails.clear();
    f.lvwPostingDetails.userKeyDown(ui::vbKeyDelete);
    ASSERT_EQ(toolkit.errors.size(), 1u);
    EXPECT_EQ(toolkit.errors[0].number(), common::err::ObjectNotSet);
}

}  // namespace
