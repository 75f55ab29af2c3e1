// The linking screen in real widgets: user actions reach the handlers, and what the windows add
// for the reader: formatted amounts, totals per currency and a fit on small screens.
#include <QCheckBox>
#include <QClipboard>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QStatusBar>
#include <QStyle>
#include <QStyleOptionViewItem>
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
};

TEST_F(PresentationTest, EntriesReachTheirHandlersAndShowAmountsTotalsAndFitASmallScreen) {
    auto& browser = module->FrmMaster();
    int itemChecks = 0;
    showModal(browser, [&](qtui::FormDialog& master) {
        inLinkingScreen([&](qtui::FormDialog& d, linking::frmPayrollAccountsLinking& f) {
            f.lvwTransactions.ItemCheck = [&, original = f.lvwTransactions.ItemCheck](int row) {
                ++itemChecks, original(row);
            };
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
            ASSERT_TRUE(f.cboType.userSelectText("Payroll"));
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

            // Every transaction ticked (the tick from code raised nothing, so it goes first).
            f.lvwTransactions.setChecked(2, false);
            QTest::mouseClick(widget<QCheckBox>(d, "chkSelectAll"), Qt::LeftButton);
            d.binder().flush();

            // Amounts have separators on screen only.
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
            // At 1024x700 every amount is in sight without scrolling sideways; at 125 % eight posting
            // lines are.
            d.resize(1024 - qtui::kFrameAllowanceWidth, 700 - qtui::kFrameAllowanceHeight);
            QApplication::processEvents();
            for (int col : {5, 6, 8, 9, 11, 12})
                EXPECT_LE(postings->header()->sectionViewportPosition(col) + postings->columnWidth(col),
                          postings->viewport()->width())
                    << col;
            d.resize(1093 - qtui::kFrameAllowanceWidth, 614 - qtui::kFrameAllowanceHeight);
            QApplication::processEvents();
            EXPECT_GE(postings->viewport()->height(), 8 * postings->sizeHintForRow(0));

            QTest::mouseClick(widget<QPushButton>(d, "cmdOk"), Qt::LeftButton);
        });
        QTest::mouseClick(widget<QPushButton>(master, "cmdnew"), Qt::LeftButton);
        EXPECT_EQ(master.presentation().statusLine()->currentMessage(), "Saved as PAL/6");
        master.close();
    });
}

}  // namespace
}  // namespace guitest
