#include "qt/FormLayouts.h"

#include <QPushButton>
#include <QStyle>

#include "ui_FrmMaster.h"
#include "ui_frmJournalDetails.h"
#include "ui_frmPayrollAccountsLinking.h"
#include "ui_frmcancell.h"

namespace qtui {

namespace {

template <class Ui>
void setup(QDialog* dialog) {
    Ui ui;
    ui.setupUi(dialog);
}

// The line editor's stepping buttons carry no caption: they show the usual arrows.
void stepIcons(QDialog* dialog) {
    const std::pair<const char*, QStyle::StandardPixmap> icons[] = {
        {"cmdFirst", QStyle::SP_MediaSkipBackward},
        {"cmdPrevious", QStyle::SP_MediaSeekBackward},
        {"cmdNext", QStyle::SP_MediaSeekForward},
        {"cmdLast", QStyle::SP_MediaSkipForward},
    };
    for (const auto& [name, pixmap] : icons) {
        if (auto* button = dialog->findChild<QPushButton*>(name))
            button->setIcon(dialog->style()->standardIcon(pixmap));
    }
}

}  // namespace

bool setupLayout(const std::string& formName, QDialog* dialog) {
    if (formName == "FrmMaster") {
        setup<Ui::FrmMaster>(dialog);
    } else if (formName == "frmPayrollAccountsLinking") {
        setup<Ui::frmPayrollAccountsLinking>(dialog);
    } else if (formName == "frmcancell") {
        setup<Ui::frmcancell>(dialog);
    } else if (formName == "frmJournalDetails") {
        setup<Ui::frmJournalDetails>(dialog);
        stepIcons(dialog);
    } else {
        return false;
    }
    return true;
}

}  // namespace qtui
