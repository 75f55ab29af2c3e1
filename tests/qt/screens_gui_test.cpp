// The screens in real Qt widgets: user actions reach the handlers through the binder, and
// what the models hold shows in the widgets.
#include <QClipboard>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
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

TEST_F(GuiTest, KeysReachTheReasonWholeAndThroughItsFilterAndF1AndEnterAreTheScreens) {
    module->FrmMaster();
    auto& c = module->frmcancell();
    showModal(c, [&](qtui::FormDialog& d) {
        ASSERT_TRUE(QTest::qWaitForWindowActive(&d));
        auto* reason = widget<QLineEdit>(d, "txtreason");
        reason->setFocus();
        // One key event per character, as a keyboard layout sends them (the emoji is one
        // event carrying two UTF-16 units); the reason's key filter drops the apostrophe.
        for (const char* typed : {"م", "ر", "ح", "ب", "ا", " ", "😀", "'"})
            QTest::sendKeyEvent(QTest::Click, reason, Qt::Key_unknown, QString::fromUtf8(typed),
                                Qt::NoModifier);
        EXPECT_EQ(c.txtreason.text(), "مرحبا 😀");
        // Backspace and Delete take whole characters, at the widget's cursor.
        QTest::keyClick(reason, Qt::Key_Backspace);
        EXPECT_EQ(c.txtreason.text(), "مرحبا ");
        QTest::keyClick(reason, Qt::Key_Home);
        QTest::keyClick(reason, Qt::Key_Delete);
        EXPECT_EQ(c.txtreason.text(), "رحبا ");
        reason->setCursorPosition(1);
        QTest::keyClick(reason, Qt::Key_Backspace);
        EXPECT_EQ(c.txtreason.text(), "حبا ");
        QTest::keyClick(reason, Qt::Key_Home);
        QTest::keyClick(reason, 'X');
        EXPECT_EQ(c.txtreason.text(), "Xحبا ");
        // A paste is not filtered.
        QApplication::clipboard()->setText("'s");
        QTest::keyClick(reason, Qt::Key_End);
        QTest::keyClick(reason, Qt::Key_V, Qt::ControlModifier);
        EXPECT_EQ(c.txtreason.text(), "Xحبا 's");
        EXPECT_EQ(reason->text().toStdString(), c.txtreason.text());
        // F1 opens the module's help file, or says that it is not there.
        SeenBox help;
        answerNextBox(QMessageBox::Ok, &help);
        QTest::keyClick(reason, Qt::Key_F1);
        EXPECT_TRUE(help.text.contains(QString::fromStdString(tmp.path().string() + "/Help/helpfile.hlp")))
            << help.text.toStdString();
        // Enter in the reason moves the focus to the Ok button.
        QTest::keyClick(reason, Qt::Key_Return);
        EXPECT_EQ(d.focusWidget(), d.findChild<QPushButton*>("cmdok"));
        // Closing this screen cancels an entry: let the window go without it.
        d.markUnloaded();
    });
}

}  // namespace
}  // namespace guitest
