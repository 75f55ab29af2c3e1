// The browser in real widgets: its sort order buttons, and "Post all departments...": the
// request dialog, the run through the same driver as the command line, the summary, and the
// "N" right.
#include <QComboBox>
#include <QDateEdit>
#include <QDialogButtonBox>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QRadioButton>

#include "browser/FrmMaster.h"
#include "gui_support.h"

namespace guitest {
namespace {

TEST_F(GuiTest, BrowserPostsEveryDepartmentAndShowsItsOrderButtonsOnlyWithTheRights) {
    auto& master = module->FrmMaster();
    const int rowsBefore = master.flexMaster.rows();
    QString summary;
    showModal(master, [&](qtui::FormDialog& window) {
        // The option buttons show their models, also when the user's click changes them.
        auto* ascending = widget<QRadioButton>(window, "optAscend");
        auto* descending = widget<QRadioButton>(window, "optDescend");
        EXPECT_TRUE(ascending->isChecked());
        EXPECT_FALSE(descending->isChecked());
        QTest::mouseClick(descending, Qt::LeftButton);
        EXPECT_TRUE(master.optDescend.value());
        EXPECT_TRUE(descending->isChecked());
        EXPECT_FALSE(ascending->isChecked());

        whenReady([] { return visibleWindow("PostAllDepartments") != nullptr; },
                  [] {
                      QWidget* d = visibleWindow("PostAllDepartments");
                      d->findChild<QComboBox*>("type")->setCurrentText("Payroll");
                      d->findChild<QDateEdit*>("from")->setDate(QDate(2026, 10, 1));
                      d->findChild<QDateEdit*>("to")->setDate(QDate(2026, 10, 31));
                      d->findChild<QLineEdit*>("remarks")->setText("October payroll");
                      d->findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok)->click();
                  });
        whenReady([] { return visibleWindow("PostAllSummary") != nullptr; },
                  [&] {
                      QWidget* d = visibleWindow("PostAllSummary");
                      summary = d->findChild<QPlainTextEdit*>()->toPlainText();
                      d->findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Close)->click();
                  });
        auto* post = widget<QPushButton>(window, "cmdPostAll");
        ASSERT_TRUE(post->isEnabled());
        post->click();
        widget<QPushButton>(window, "CmdClose")->click();
    });
    EXPECT_TRUE(summary.contains("Engineering Centre Pune      PAL/7")) << summary.toStdString();
    EXPECT_TRUE(summary.contains("5 department(s): 5 posted")) << summary.toStdString();
    EXPECT_EQ(master.flexMaster.rows(), rowsBefore + 5) << "the browser lists the new entries";

    // A read-only user has no New, and no posting either.
    reopenAs(2);
    showModal(module->FrmMaster(), [&](qtui::FormDialog& window) {
        EXPECT_FALSE(widget<QPushButton>(window, "cmdPostAll")->isEnabled());
        widget<QPushButton>(window, "CmdClose")->click();
    });
}

}  // namespace
}  // namespace guitest
