// The posting list's popup menu, double-click and keys: lines are added and edited through
// the journal line editor and deleted here.
#include "common/Conv.h"
#include "common/Error.h"
#include "data/ErrorLog.h"
#include "journal/frmJournalDetails.h"
#include "linking/frmPayrollAccountsLinking.h"
#include "linking/frmPayrollAccountsLinking_Index.h"
#include "ui/Helpers.h"

namespace linking {

namespace {

// The list's SelectedItem: reading it with no row selected fails as an unset object does.
int SelectedRow(const ui::ListView& list) {
    if (list.selectedIndex() == 0)
        common::raise(common::err::ObjectNotSet, data::kComponentName,
                      "Object variable or With block variable not set");
    return list.selectedIndex();
}

}  // namespace

void frmPayrollAccountsLinking::lvwPostingDetails_MouseDown(int button, int shift, float x, float y) {
    (void)shift, (void)x, (void)y;
    if (button != ui::vbRightButton) return;
    if (lvwPostingDetails.count() == 0) {
        mnuAdd.setVisible(false);
        mnuEdit.setVisible(false);
        mnuDelete.setVisible(false);
        mnuSelect.setVisible(true);
    } else if (lvwPostingDetails.cell(SelectedRow(lvwPostingDetails), pst::Editable) == "N") {
        // Lines gathered from the source transactions go only when their sources are unticked.
        mnuAdd.setVisible(true);
        mnuEdit.setVisible(true);
        mnuDelete.setVisible(false);
        mnuSelect.setVisible(false);
    } else {
        mnuAdd.setVisible(true);
        mnuEdit.setVisible(true);
        mnuDelete.setVisible(true);
        mnuSelect.setVisible(false);
    }
    toolkit().popupMenu(*this, mnuPopup);
}

void frmPayrollAccountsLinking::lvwPostingDetails_DblClick() {
    if (lvwPostingDetails.count() >= 1) mnuEdit_Click();
}

void frmPayrollAccountsLinking::lvwPostingDetails_KeyDown(int16_t& keyCode, int16_t shift) {
    (void)shift;
    if (keyCode == ui::vbKeyReturn) {
        lvwPostingDetails_DblClick();
    } else if (keyCode == ui::vbKeyDelete) {
        mnuDelete_Click();
    }
}

void frmPayrollAccountsLinking::mnuAdd_Click() {
    module_.AddMode = true;
    module_.showModal(module_.frmJournalDetails());
}

void frmPayrollAccountsLinking::mnuEdit_Click() {
    const int16_t index = common::CInt(SelectedRow(lvwPostingDetails));
    // Touching the editor loads it first, so its load runs before the row is shown.
    auto& editor = module_.frmJournalDetails();
    editor.ItemSelected(index);
    module_.AddMode = false;
    module_.showModal(editor);
}

void frmPayrollAccountsLinking::mnuDelete_Click() {
    // Both are read before either is tested: an empty list fails on the selected row.
    const int count = lvwPostingDetails.count();
    const std::string editable = lvwPostingDetails.cell(SelectedRow(lvwPostingDetails), pst::Editable);
    // Only "Y" deletes; the menu hides Delete only for "N", so other values show it and
    // ignore it.
    if (count <= 0 || editable != "Y") return;

    const int row = lvwPostingDetails.selectedIndex();
    if (module_.MsgBox("Do you want to delete " + lvwPostingDetails.cell(row, pst::DebitAccount) + "?",
                       ui::vbYesNo + ui::vbQuestion + ui::vbDefaultButton2) == ui::vbNo)
        return;
    lvwPostingDetails.remove(row);
    ui::RenumberRows(lvwPostingDetails);
    txtTotDepAmount.setText(common::Format2(PostingBalance(module_, lvwPostingDetails)));
}

}  // namespace linking
