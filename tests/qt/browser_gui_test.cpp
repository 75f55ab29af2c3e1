// The browser in real widgets: its order buttons, the print preview of the selected entry,
// and "Post all departments...": the request dialog, the run through the same driver as the
// command line and the summary; Print and posting follow the user's rights.
#include <QComboBox>
#include <QDateEdit>
#include <QDialogButtonBox>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPrintPreviewDialog>
#include <QPrintPreviewWidget>
#include <QRadioButton>

#include "browser/FrmMaster.h"
#include "gui_support.h"

namespace guitest {
namespace {

TEST_F(GuiTest, BrowserSortsPrintsAndPostsEveryDepartmentOnlyWithTheRights) {
    auto& master = module->FrmMaster();
    const int rowsBefore = master.flexMaster.rows();
    QString previewTitle, summary;
    int previewPages = 0;
    showModal(master, [&](qtui::FormDialog& window) {
        // The option buttons show their models, also when the user's click changes them.
        auto* ascending = widget<QRadioButton>(window, "optAscend");
        auto* descending = widget<QRadioButton>(window, "optDescend");
        EXPECT_TRUE(ascending->isChecked() && !descending->isChecked());
        QTest::mouseClick(descending, Qt::LeftButton);
        EXPECT_TRUE(master.optDescend.value() && descending->isChecked() && !ascending->isChecked());

        int row = 1;
        while (row < master.flexMaster.rows() && master.flexMaster.textMatrix(row, 1) != "PAL/2") ++row;
        master.flexMaster.userSelectCell(row, 1);
        whenShown<QPrintPreviewDialog>({}, [&](QPrintPreviewDialog& preview) {
            previewTitle = preview.windowTitle();
            auto* view = preview.findChild<QPrintPreviewWidget*>();
            waitFor([&] { return view != nullptr && view->pageCount() > 0; });
            previewPages = view != nullptr ? view->pageCount() : 0;
            preview.reject();
        });
        QTest::mouseClick(widget<QPushButton>(window, "cmdPrint"), Qt::LeftButton);

        whenShown("PostAllDepartments", [](QWidget& d) {
            d.findChild<QComboBox*>("type")->setCurrentText("Payroll");
            d.findChild<QDateEdit*>("from")->setDate(QDate(2026, 10, 1));
            d.findChild<QDateEdit*>("to")->setDate(QDate(2026, 10, 31));
            d.findChild<QLineEdit*>("remarks")->setText("October payroll");
            d.findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok)->click();
        });
        whenShown("PostAllSummary", [&](QWidget& d) {
            summary = d.findChild<QPlainTextEdit*>()->toPlainText();
            d.findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Close)->click();
        });
        widget<QPushButton>(window, "cmdPostAll")->click();
        widget<QPushButton>(window, "CmdClose")->click();
    });
    EXPECT_EQ(previewTitle, "Journal Voucher PAL/2");
    EXPECT_EQ(previewPages, 1);
    EXPECT_TRUE(summary.contains("Engineering Centre Pune      PAL/7")) << summary.toStdString();
    EXPECT_TRUE(summary.contains("5 department(s): 5 posted")) << summary.toStdString();
    EXPECT_EQ(master.flexMaster.rows(), rowsBefore + 5) << "the browser lists the new entries";

    // A user without the New and Print rights can neither post nor print.
    module.reset();
    session->reopen(toolkit);
    module = std::move(session->module);
    module->session.userId = 4;
    showModal(module->FrmMaster(), [&](qtui::FormDialog& window) {
        EXPECT_FALSE(widget<QPushButton>(window, "cmdPostAll")->isEnabled());
        EXPECT_FALSE(widget<QPushButton>(window, "cmdPrint")->isEnabled());
        widget<QPushButton>(window, "CmdClose")->click();
    });
}

}  // namespace
}  // namespace guitest
