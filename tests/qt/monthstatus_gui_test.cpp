// The browser's "Month status..." window in real widgets: the grid of types by departments,
// and a double-click on an open cell that brings up New filled in with its runs listed.
#include <QDateEdit>
#include <QTableWidget>

#include "browser/FrmMaster.h"
#include "gui_support.h"
#include "linking/frmPayrollAccountsLinking.h"

namespace guitest {
namespace {

TEST_F(GuiTest, MonthStatusShowsTheGridAndOpensNewFilledInOnAnOpenCell) {
    auto& master = module->FrmMaster();
    QString administration;
    std::string linked;
    showModal(master, [&](qtui::FormDialog& window) {
        whenShown("MonthStatus", [&](QWidget& d) {
            auto* grid = d.findChild<QTableWidget*>("grid");
            d.findChild<QDateEdit*>("month")->setDate(QDate(2026, 10, 1));
            int column = 0;
            while (column < grid->columnCount() &&
                   grid->horizontalHeaderItem(column)->text() != "Administration")
                ++column;
            administration = grid->item(0, column)->text();
            whenShown<qtui::FormDialog>("frmPayrollAccountsLinking", [&](qtui::FormDialog& linking) {
                auto& f = module->frmPayrollAccountsLinking();
                linked = f.cboType.text() + "|" + f.cboDepartment.text() + "|" +
                         std::to_string(f.lvwTransactions.count());
                QTest::mouseClick(widget<QPushButton>(linking, "cmdClose"), Qt::LeftButton);
            });
            const QRect cell = grid->visualItemRect(grid->item(0, column));
            QTest::mouseClick(grid->viewport(), Qt::LeftButton, {}, cell.center());
            QTest::mouseDClick(grid->viewport(), Qt::LeftButton, {}, cell.center());
            static_cast<QDialog&>(d).reject();
        });
        widget<QPushButton>(window, "cmdMonthStatus")->click();
        widget<QPushButton>(window, "CmdClose")->click();
    });
    EXPECT_TRUE(administration.startsWith("30 open\n")) << administration.toStdString();
    EXPECT_EQ(linked, "Payroll|Administration|30");
}

}  // namespace
}  // namespace guitest
