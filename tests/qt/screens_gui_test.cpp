// The screens in real Qt widgets: user actions reach the handlers through the binder, and
// what the models hold shows in the widgets.
#include <QClipboard>
#include <QComboBox>
#include <QDateEdit>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QStyle>
#include <QStyleOptionViewItem>
#include <QTreeView>
#include <initializer_list>

#include "browser/FrmMaster.h"
#include "gui_support.h"
#include "journal/frmJournalDetails.h"
#include "linking/frmPayrollAccountsLinking.h"
#include "linking/frmcancell.h"
#include "qt/FormLayouts.h"

namespace guitest {
namespace {

using linking::frmPayrollAccountsLinking;

int viewRows(QTreeView* tree) {
    if (auto* dialog = qobject_cast<qtui::FormDialog*>(tree->window())) dialog->binder().flush();
    return tree->model() != nullptr ? tree->model()->rowCount() : -1;
}

// Clicks the tick box of a list view row.
void clickTick(QTreeView* tree, int row) {
    ASSERT_GT(viewRows(tree), row);
    QStyleOptionViewItem option;
    option.initFrom(tree);
    option.rect = tree->visualRect(tree->model()->index(row, 0));
    option.features |= QStyleOptionViewItem::HasCheckIndicator;
    const QRect box = tree->style()->subElementRect(QStyle::SE_ItemViewItemCheckIndicator, &option, tree);
    QTest::mouseClick(tree->viewport(), Qt::LeftButton, {}, box.center());
}

QDate shownDate(QWidget& d, const char* name) { return d.findChild<QDateEdit*>(name)->date(); }

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

TEST_F(GuiTest, UserActionsReachTheHandlersOnceAndChangesFromCodeDoNotEcho) {
    module->FrmMaster();  // the browser's load brings the table names; it stays hidden
    module->EntryMode = "N";
    auto& f = module->frmPayrollAccountsLinking();
    int clicks = 0, itemChecks = 0;
    f.cboType.Click = [&, original = f.cboType.Click] { ++clicks, original(); };
    f.lvwTransactions.ItemCheck = [&, original = f.lvwTransactions.ItemCheck](int row) {
        ++itemChecks, original(row);
    };
    showModal(f, [&](qtui::FormDialog& d) {
        // On this screen Enter sends a Tab: the focus moves to the next field.
        auto* remarks = widget<QLineEdit>(d, "txtRemarks");
        remarks->setFocus();
        QTest::keyClicks(remarks, "October");
        QTest::keyClick(remarks, Qt::Key_Return);
        EXPECT_TRUE(waitFor([&] { return d.focusWidget() == d.findChild<QLineEdit*>("txtTotDepAmount"); }));
        EXPECT_EQ(f.activeControl(), &f.txtTotDepAmount);

        // Show without a type: the screen's box, and the handler's focus.
        SeenBox seen;
        answerNextBox(QMessageBox::Ok, &seen);
        QTest::mouseClick(widget<QPushButton>(d, "cmdShow"), Qt::LeftButton);
        EXPECT_EQ(seen.text.toStdString(), "Select a type.");
        EXPECT_EQ(seen.title.toStdString(), "Payroll Accounts Linking");
        EXPECT_EQ(seen.icon, QMessageBox::Information);
        EXPECT_EQ(f.activeControl(), &f.cboType);

        auto* type = widget<QComboBox>(d, "cboType");
        type->setFocus();
        QTest::keyClick(type, Qt::Key_Down);
        EXPECT_EQ(clicks, 1);
        EXPECT_EQ(f.cboType.text(), "Payroll");
        // Payroll's range is the month's last processing date.
        EXPECT_EQ(shownDate(d, "dtpToDate"), QDate(2026, 10, 28));
        f.cboDepartment.userSelectText("Site Operations");
        QTest::mouseClick(widget<QPushButton>(d, "cmdShow"), Qt::LeftButton);
        auto* transactions = widget<QTreeView>(d, "lvwTransactions");
        auto* postings = widget<QTreeView>(d, "lvwPostingDetails");
        ASSERT_GE(f.lvwTransactions.count(), 2);
        ASSERT_EQ(viewRows(transactions), f.lvwTransactions.count());

        // A click on the tick raises ItemCheck; the lines and the balance it built show.
        clickTick(transactions, 0);
        EXPECT_EQ(itemChecks, 1);
        EXPECT_TRUE(f.lvwTransactions.checked(1));
        EXPECT_EQ(transactions->model()->index(0, 0).data(Qt::CheckStateRole).toInt(), Qt::Checked);
        EXPECT_GT(viewRows(postings), 0);
        EXPECT_EQ(viewRows(postings), f.lvwPostingDetails.count());
        EXPECT_EQ(widget<QLineEdit>(d, "txtTotDepAmount")->text().toStdString(), f.txtTotDepAmount.text());
        // A tick from code shows without raising ItemCheck.
        f.lvwTransactions.setChecked(2, true);
        EXPECT_EQ(itemChecks, 1);
        EXPECT_EQ(transactions->model()->index(1, 0).data(Qt::CheckStateRole).toInt(), Qt::Checked);
        // The space bar on the current row ticks as the mouse does: row 1 goes off again.
        transactions->setFocus();
        transactions->setCurrentIndex(transactions->model()->index(0, 0));
        QTest::keyClick(transactions, Qt::Key_Space);
        EXPECT_EQ(itemChecks, 2);
        EXPECT_FALSE(f.lvwTransactions.checked(1));
        QTest::keyClick(transactions, Qt::Key_Space);
        EXPECT_EQ(itemChecks, 3);
        const int postingLines = f.lvwPostingDetails.count();
        ASSERT_GT(postingLines, 0);

        // Another type with details selected asks first; the answer reaches the handler: No
        // keeps everything, Yes clears the lists and the views empty with them.
        answerNextBox(QMessageBox::No, &seen);
        type->setFocus();
        QTest::keyClick(type, Qt::Key_Down);
        EXPECT_EQ(seen.text.toStdString(), "All the selected details will be lost. Do you want to continue?");
        EXPECT_EQ(seen.icon, QMessageBox::Question);
        EXPECT_EQ(seen.defaultButton.remove('&').toStdString(), "No");
        EXPECT_EQ(type->currentText().toStdString(), "Payroll");
        EXPECT_EQ(f.lvwPostingDetails.count(), postingLines);
        answerNextBox(QMessageBox::Yes);
        QTest::keyClick(type, Qt::Key_Down);
        EXPECT_EQ(type->currentText().toStdString(), "Salary Advances");
        EXPECT_EQ(viewRows(postings), 0);
        EXPECT_EQ(widget<QLineEdit>(d, "txtTotDepAmount")->text().toStdString(), "0.00");

        // Set from code: one Click (the classic rule for code), and the widget follows
        // without raising another.
        clicks = 0;
        f.cboType.setListIndex(3);
        EXPECT_EQ(clicks, 1);
        EXPECT_EQ(type->currentText().toStdString(), "Savings");
        EXPECT_EQ(shownDate(d, "dtpFromDate"), QDate(2026, 10, 1));
        // Choosing the item already chosen from the list is a Click too.
        type->showPopup();
        ASSERT_TRUE(waitFor([&] { return type->view()->isVisible(); }));
        QTest::keyClick(type->view(), Qt::Key_Return);
        EXPECT_EQ(f.cboType.text(), "Savings");
        EXPECT_EQ(clicks, 2);

        // The window frame's close button unloads the form: the modal loop returns.
        answerNextBox(QMessageBox::No);  // "Save Changes?"
        d.close();
    });
    EXPECT_FALSE(module->isLoaded("frmPayrollAccountsLinking"));
    EXPECT_EQ(toolkit.windowOf(f), nullptr);
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
