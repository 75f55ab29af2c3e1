// The linking screen in real widgets: user actions reach the handlers, and what the windows add
// for the reader: formatted amounts, totals per currency, menus, column choices, readable
// read-only entries and a fit on small screens.
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QStatusBar>
#include <QStyle>
#include <QStyleOptionViewItem>
#include <QTableView>
#include <QTreeView>
#include <array>
#include <map>

#include "browser/FrmMaster.h"
#include "common/Conv.h"
#include "gui_support.h"
#include "linking/frmPayrollAccountsLinking.h"
#include "qt/ItemLook.h"
#include "qt/PostingTotals.h"
#include "qt/Presentation.h"
#include "qt/WindowFit.h"

namespace guitest {
namespace {

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

class PresentationTest : public GuiTest {
protected:
    // Runs drive inside the linking screen once the browser's button has opened it.
    void inLinkingScreen(
        const std::function<void(qtui::FormDialog&, linking::frmPayrollAccountsLinking&)>& drive) {
        whenShown("frmPayrollAccountsLinking", [this, drive](QWidget&) {
            auto& f = module->frmPayrollAccountsLinking();
            drive(*toolkit.windowOf(f), f);
        });
    }
    static QMenu* menu() { return visible<QMenu>(); }
    static bool menuUp() { return menu() != nullptr; }
};

TEST_F(PresentationTest, EntriesReachTheirHandlersAndShowAmountsTotalsMenusColumnsAndFitASmallScreen) {
    auto& browser = module->FrmMaster();
    int clicks = 0, itemChecks = 0;
    showModal(browser, [&](qtui::FormDialog& master) {
        ASSERT_EQ(browser.flexMaster.textMatrix(1, 1), "PAL/1");  // the posted one
        browser.flexMaster.userSelectCell(1, 1);
        answerNextBox(QMessageBox::Ok);  // "Record posted. Can't Edit."
        inLinkingScreen([&](qtui::FormDialog& d, linking::frmPayrollAccountsLinking& f) {
            // Read-only, but its lists scroll; the screen's selection stays.
            auto* postings = widget<QTreeView>(d, "lvwPostingDetails");
            const int selected = f.lvwPostingDetails.selectedIndex();
            ASSERT_GT(postings->model()->rowCount(), 1);
            postings->setFocus();
            QTest::keyClick(postings, Qt::Key_End);
            const QModelIndex last = postings->model()->index(postings->model()->rowCount() - 1, 0);
            EXPECT_EQ(postings->currentIndex().row(), last.row());
            EXPECT_TRUE(postings->viewport()->rect().contains(postings->visualRect(last).center()));
            EXPECT_EQ(f.lvwPostingDetails.selectedIndex(), selected);

            // The header's menu shows a hidden id column and remembers it, also when the list is
            // laid out anew (as a retrieval's new headings do).
            whenReady(menuUp, [&] {
                for (QAction* a : menu()->actions())
                    if (a->text() == "Dept ID") a->trigger();
                menu()->close();
            });
            emit postings->header()->customContextMenuRequested(QPoint(5, 5));
            const QString key = "columns/frmPayrollAccountsLinking.lvwPostingDetails/hidden";
            EXPECT_EQ(QSettings().value(key).toStringList(), QStringList({"13", "14", "15", "4"}));
            f.lvwPostingDetails.setColumnHeader(12, "Amount(AED)");
            d.binder().flush();
            EXPECT_FALSE(postings->isColumnHidden(7));
            EXPECT_TRUE(postings->isColumnHidden(4));
            EXPECT_EQ(postings->model()->headerData(12, Qt::Horizontal).toString(), "Department (AED)");
            // A width the user drags is kept for the next time (the drag is between press and release).
            QTest::mousePress(postings->header()->viewport(), Qt::LeftButton, {}, QPoint(2, 2));
            postings->header()->resizeSection(2, 60);
            QTest::mouseRelease(postings->header()->viewport(), Qt::LeftButton, {}, QPoint(2, 2));
            d.close();
        });
        QTest::mouseClick(widget<QPushButton>(master, "CmdEdit"), Qt::LeftButton);
        EXPECT_FALSE(module->isLoaded("frmPayrollAccountsLinking"));

        inLinkingScreen([&](qtui::FormDialog& d, linking::frmPayrollAccountsLinking& f) {
            f.cboType.Click = [&, original = f.cboType.Click] { ++clicks, original(); };
            f.lvwTransactions.ItemCheck = [&, original = f.lvwTransactions.ItemCheck](int row) {
                ++itemChecks, original(row);
            };
            // Tab goes in reading order, a date picker one stop: the number, its date, the type.
            widget<QLineEdit>(d, "txtTransNo")->setFocus();
            for (ui::Control* next :
                 {static_cast<ui::Control*>(&f.dtpTransDate), static_cast<ui::Control*>(&f.cboType)}) {
                keyIn(d, Qt::Key_Tab);
                EXPECT_EQ(d.binder().controlOf(d.focusWidget()), next);
            }
            // A key per character beyond ASCII (the emoji's carries two UTF-16 units); Backspace
            // and Delete take whole characters at the widget's cursor and leave it there; a paste
            // arrives as it is.
            auto* remarks = widget<QLineEdit>(d, "txtRemarks");
            remarks->setFocus();
            for (const char* typed : {"م", "ر", "ح", "ب", "ا", " ", "😀"})
                QTest::sendKeyEvent(QTest::Click, remarks, Qt::Key_unknown, QString::fromUtf8(typed),
                                    Qt::NoModifier);
            QTest::keyClick(remarks, Qt::Key_Backspace);
            QTest::keyClick(remarks, Qt::Key_Home);
            QTest::keyClick(remarks, Qt::Key_Delete);
            QTest::keyClick(remarks, 'X');
            EXPECT_EQ(f.txtRemarks.text(), "Xرحبا ");
            QApplication::clipboard()->setText("'s");
            QTest::keyClick(remarks, Qt::Key_End);
            QTest::keyClick(remarks, Qt::Key_V, Qt::ControlModifier);
            EXPECT_EQ(f.txtRemarks.text(), "Xرحبا 's");
            // On this screen Enter sends a Tab: the focus moves to the next field.
            QTest::keyClick(remarks, Qt::Key_Return);
            EXPECT_TRUE(waitFor([&] { return f.activeControl() == &f.txtTotDepAmount; }));
            EXPECT_EQ(d.binder().controlOf(d.focusWidget()), &f.txtTotDepAmount);

            // F1 opens the module's help file, or says that it is not there.
            SeenBox seen;
            answerNextBox(QMessageBox::Ok, &seen);
            QTest::keyClick(d.focusWidget(), Qt::Key_F1);
            EXPECT_TRUE(
                seen.text.contains(QString::fromStdString(tmp.path().string() + "/Help/helpfile.hlp")));

            auto* type = widget<QComboBox>(d, "cboType");
            type->setFocus();
            QTest::keyClick(type, Qt::Key_Down);
            EXPECT_EQ(clicks, 1);
            EXPECT_EQ(f.cboType.text(), "Payroll");
            f.cboDepartment.userSelectText("Site Operations");
            auto* show = widget<QPushButton>(d, "cmdShow");
            QTest::mouseClick(show, Qt::LeftButton);
            auto* transactions = widget<QTreeView>(d, "lvwTransactions");
            auto* postings = widget<QTreeView>(d, "lvwPostingDetails");
            ASSERT_GE(f.lvwTransactions.count(), 2);
            ASSERT_EQ(viewRows(transactions), f.lvwTransactions.count());

            // A click on the tick raises ItemCheck, and the lines and the balance it built show; a
            // tick from code shows without raising it.
            clickTick(transactions, 0);
            f.lvwTransactions.setChecked(2, true);
            EXPECT_EQ(itemChecks, 1);
            EXPECT_TRUE(f.lvwTransactions.checked(1));
            for (int row : {0, 1})
                EXPECT_EQ(transactions->model()->index(row, 0).data(Qt::CheckStateRole).toInt(), Qt::Checked)
                    << row;
            EXPECT_EQ(viewRows(postings), f.lvwPostingDetails.count());
            EXPECT_EQ(widget<QLineEdit>(d, "txtTotDepAmount")->text().toStdString(),
                      f.txtTotDepAmount.text());
            // The space bar on the current row ticks as the mouse does.
            transactions->setFocus();
            transactions->setCurrentIndex(transactions->model()->index(0, 0));
            QTest::keyClick(transactions, Qt::Key_Space);
            EXPECT_FALSE(f.lvwTransactions.checked(1));
            EXPECT_EQ(itemChecks, 2);

            // Another type with details selected asks first: No keeps them, Yes empties the views.
            answerNextBox(QMessageBox::No, &seen);
            type->setFocus();
            QTest::keyClick(type, Qt::Key_Down);
            EXPECT_EQ(seen.text.toStdString(),
                      "All the selected details will be lost. Do you want to continue?");
            EXPECT_EQ(seen.title.toStdString(), "Payroll Accounts Linking");
            EXPECT_EQ(seen.icon, QMessageBox::Question);
            EXPECT_EQ(seen.defaultButton.remove('&').toStdString(), "No");
            EXPECT_EQ(type->currentText().toStdString(), "Payroll");
            answerNextBox(QMessageBox::Yes);
            QTest::keyClick(type, Qt::Key_Down);
            EXPECT_EQ(type->currentText().toStdString(), "Salary Advances");
            EXPECT_EQ(viewRows(postings), 0);

            // From code: one Click, and the widget follows without raising another.
            clicks = 0;
            f.cboType.setListIndex(3);
            EXPECT_EQ(clicks, 1);
            EXPECT_EQ(type->currentText().toStdString(), "Savings");
            // Choosing the item already chosen from the list is a Click too.
            type->showPopup();
            ASSERT_TRUE(waitFor([&] { return type->view()->isVisible(); }));
            QTest::keyClick(type->view(), Qt::Key_Return);
            EXPECT_EQ(clicks, 2);

            // Back to the payroll, every transaction ticked.
            f.cboType.setListIndex(0);
            f.cboDepartment.userSelectText("Site Operations");
            QTest::mouseClick(show, Qt::LeftButton);
            QTest::mouseClick(widget<QCheckBox>(d, "chkSelectAll"), Qt::LeftButton);
            d.binder().flush();

            // Amounts have separators on screen only; the credit flag reads Cr/Dr.
            auto* details = widget<QTreeView>(d, "lvwTransactionDetails")->model();
            QStringList sides;
            for (int r = 0; r < details->rowCount(); ++r) {
                sides << details->index(r, 6).data().toString();
                EXPECT_EQ(sides.back(),
                          common::Val(f.lvwTransactionDetails.cell(r + 1, 6)) == 1 ? "Cr" : "Dr");
            }
            EXPECT_TRUE(sides.contains("Cr"));
            QAbstractItemModel* lines = postings->model();
            ASSERT_GT(lines->rowCount(), 4);
            bool sawThousands = false;
            for (int r = 0; r < lines->rowCount(); ++r) {
                const QString shown = lines->index(r, 6).data().toString();
                sawThousands |= shown.count(',') == 2;
                EXPECT_EQ(QString(shown).remove(',').toStdString(), f.lvwPostingDetails.cell(r + 1, 6));
            }
            EXPECT_TRUE(sawThousands);

            // Totals per currency (USD and AED) equal the sums of the lines' raw amounts.
            auto* totals = d.findChild<qtui::PostingTotals*>();
            ASSERT_NE(totals, nullptr);
            totals->refreshNow();
            std::map<QString, std::array<double, 3>> sums;  // debit, credit, net
            double department = 0;
            for (int r = 1; r <= f.lvwPostingDetails.count(); ++r) {
                auto& sum = sums[QString::fromStdString(f.lvwPostingDetails.cell(r, 3))];
                const double debit = common::Val(f.lvwPostingDetails.cell(r, 5));
                const double credit = common::Val(f.lvwPostingDetails.cell(r, 6));
                sum = {sum[0] + debit, sum[1] + credit, sum[2] + debit - credit};
                department += common::Val(f.lvwPostingDetails.cell(r, 12));
            }
            const auto* balance = totals->findChild<QLabel*>("balanceDepartment");
            EXPECT_EQ(balance != nullptr ? balance->text().toStdString() : "missing",
                      qtui::formatAmount(QString::number(department, 'f', 2)).toStdString());
            EXPECT_EQ(sums.size(), 2u);
            for (const auto& [cur, sum] : sums) {
                const auto* name = totals->findChild<QLabel*>("totalCurrency_" + cur);
                EXPECT_TRUE(name != nullptr && name->text().contains(cur)) << cur.toStdString();
                for (int i : {0, 1, 2}) {
                    const auto* label = totals->findChild<QLabel*>(
                        QStringList{"totalDebit_", "totalCredit_", "totalNet_"}[i] + cur);
                    EXPECT_EQ(label != nullptr ? label->text() : "missing",
                              qtui::formatAmount(QString::number(sum[i], 'f', 2)))
                        << cur.toStdString() << i;
                }
            }

            // With two lines of totals everything still fits 1024x700, and 1366x768 at 125 %
            // (1093x614 in the window's units), measured once the totals are laid out.
            QApplication::processEvents();
            const QRect screen(0, 0, 1024, 700);
            qtui::fitInto(d, screen);
            EXPECT_TRUE(screen.contains(d.geometry()));
            EXPECT_LE(d.minimumSizeHint().height(), 614 - qtui::kFrameAllowanceHeight);
            EXPECT_LE(d.minimumSizeHint().width(), 1093 - qtui::kFrameAllowanceWidth);
            // At 1024x700 every amount is in sight without scrolling sideways, the dragged width as
            // it was left; at 125 % eight posting lines are.
            d.resize(1024 - qtui::kFrameAllowanceWidth, 700 - qtui::kFrameAllowanceHeight);
            QApplication::processEvents();
            EXPECT_EQ(postings->columnWidth(2), 60);
            for (int col : {5, 6, 8, 9, 11, 12})
                EXPECT_LE(postings->header()->sectionViewportPosition(col) + postings->columnWidth(col),
                          postings->viewport()->width())
                    << col;
            d.resize(1093 - qtui::kFrameAllowanceWidth, 614 - qtui::kFrameAllowanceHeight);
            QApplication::processEvents();
            EXPECT_GE(postings->viewport()->height(), 8 * postings->sizeHintForRow(0));

            // Shift+F10 opens the list's menu at the current line.
            QStringList offered;
            QPoint menuAt;
            postings->setFocus();
            postings->setCurrentIndex(lines->index(2, 1));
            whenReady(menuUp, [&] {
                menuAt = menu()->pos();
                for (QAction* a : menu()->actions()) offered << a->text();
                menu()->close();
            });
            QTest::keyClick(postings, Qt::Key_F10, Qt::ShiftModifier);
            EXPECT_EQ(offered, QStringList({"&Add", "&Edit", "&Cancel"}));
            EXPECT_EQ(f.lvwPostingDetails.selectedIndex(), 3);
            const QRect line = postings->visualRect(lines->index(2, 1));
            EXPECT_NEAR(menuAt.y(), postings->viewport()->mapToGlobal(line.bottomLeft()).y(), line.height());
            // Enter on a line edits it: each amount names its currency, a stepping shortcut moves
            // through the lines, and Escape leaves.
            QStringList labels;
            QString step;
            auto readLabels = [&](QWidget& editor) {
                labels.clear();
                for (const char* name : {"lblAmount", "lblDepAmount", "lblCompAmount"})
                    labels << widget<QLabel>(editor, name)->text();
                waitActive(editor);
            };
            postings->setCurrentIndex(lines->index(0, 1));
            ASSERT_EQ(f.lvwPostingDetails.cell(1, 3), "USD");
            whenShown("frmJournalDetails", [&](QWidget& editor) {
                readLabels(editor);
                keyIn(editor, Qt::Key_End, Qt::AltModifier);
                step = widget<QLineEdit>(editor, "txtSlNo")->text();
                keyIn(editor, Qt::Key_Escape);
            });
            QTest::keyClick(postings, Qt::Key_Return);
            EXPECT_EQ(step, QString::number(f.lvwPostingDetails.count()));
            EXPECT_EQ(labels, QStringList({"Amount (USD)", "Department (AED)", "Company (AED)"}));
            EXPECT_FALSE(module->isLoaded("frmJournalDetails"));
            // A right-click selects its line; Add, chosen by keyboard, opens the line editor.
            bool editorShown = false;
            whenReady(menuUp, [&] {
                whenShown("frmJournalDetails", [&](QWidget& editor) {
                    editorShown = true;
                    EXPECT_EQ(widget<QLineEdit>(editor, "txtSlNo")->text().toStdString(),
                              std::to_string(f.lvwPostingDetails.count() + 1));
                    readLabels(editor);
                    keyIn(editor, Qt::Key_Escape);
                });
                QTest::keyClick(menu(), Qt::Key_Down);
                QTest::keyClick(menu(), Qt::Key_Return);  // the first item: "&Add"
            });
            QTest::mouseClick(postings->viewport(), Qt::RightButton, {},
                              postings->visualRect(lines->index(0, 0)).center());
            EXPECT_EQ(f.lvwPostingDetails.selectedIndex(), 1);
            EXPECT_TRUE(editorShown);
            EXPECT_EQ(labels.front(), "Amount") << "no account chosen yet";

            QTest::mouseClick(widget<QPushButton>(d, "cmdOk"), Qt::LeftButton);
        });
        QTest::mouseClick(widget<QPushButton>(master, "cmdnew"), Qt::LeftButton);
        EXPECT_EQ(master.presentation().statusLine()->currentMessage(), "Saved as PAL/6");
        // Edited again with a letter typed into its number, it is still saved as PAL/6.
        inLinkingScreen([&](qtui::FormDialog& d, linking::frmPayrollAccountsLinking&) {
            waitActive(d);
            QTest::keyClick(widget<QLineEdit>(d, "txtTransNo"), Qt::Key_X);
            keyIn(d, Qt::Key_S, Qt::ControlModifier);
        });
        QTest::keyClick(widget<QTableView>(master, "flexMaster"), Qt::Key_Return);
        EXPECT_EQ(master.presentation().statusLine()->currentMessage(), "Saved as PAL/6");
        master.close();
    });
}

}  // namespace
}  // namespace guitest
