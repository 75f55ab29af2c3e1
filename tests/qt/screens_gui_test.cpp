// The screens in real Qt widgets: user actions reach the handlers through the binder, and
// what the models hold shows in the widgets.
#include <QGroupBox>
#include <QLabel>
#include <initializer_list>

#include "browser/FrmMaster.h"
#include "gui_support.h"
#include "journal/frmJournalDetails.h"
#include "linking/frmPayrollAccountsLinking.h"
#include "linking/frmcancell.h"
#include "qt/FormLayouts.h"

namespace guitest {
namespace {

TEST_F(GuiTest, LayoutsCarryTheScreensCaptionsAndEveryControl) {
    browser::FrmMaster master(*module);
    linking::frmPayrollAccountsLinking linkingForm(*module);
    linking::frmcancell cancelForm(*module);
    journal::frmJournalDetails journalForm(*module);
    for (ui::Form* form :
         std::initializer_list<ui::Form*>{&master, &linkingForm, &cancelForm, &journalForm}) {
        SCOPED_TRACE(form->name());
        // The Designer file carries the captions the screen gives its controls, so that what
        // Designer shows is what runs.
        QDialog designed;
        ASSERT_TRUE(qtui::setupLayout(form->name(), &designed));
        EXPECT_EQ(designed.windowTitle().toStdString(), form->caption());
        for (ui::Control* c : form->controls()) {
            auto* w = designed.findChild<QWidget*>(QString::fromStdString(c->name()));
            QString shown;
            if (auto* label = qobject_cast<QLabel*>(w))
                shown = label->text();
            else if (auto* button = qobject_cast<QAbstractButton*>(w))
                shown = button->text();
            else if (auto* group = qobject_cast<QGroupBox*>(w))
                shown = group->title();
            else
                continue;
            EXPECT_EQ(shown.toStdString(), c->caption()) << c->name();
        }
        qtui::FormDialog dialog(*form, nullptr);
        EXPECT_TRUE(dialog.binder().unboundControls().isEmpty())
            << dialog.binder().unboundControls().join(", ").toStdString();
        EXPECT_EQ(dialog.windowTitle().toStdString(), form->caption());
        if (form == &journalForm) {
            // The arrow buttons say what they do, also after the models are shown again.
            dialog.binder().refreshAll();
            EXPECT_EQ(widget<QPushButton>(dialog, "cmdNext")->toolTip(),
                      "Next line (" +
                          QKeySequence(Qt::ALT | Qt::Key_Right).toString(QKeySequence::NativeText) + ")");
        }
    }
}

}  // namespace
}  // namespace guitest
