// The browser's "Post all departments..." action in real widgets: the request dialog, the
// run through the same driver as the command line, the summary, and the "N" right.
#include <QComboBox>
#include <QDateEdit>
#include <QDialogButtonBox>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>

#include "browser/FrmMaster.h"
#include "gui_support.h"

namespace guitest {
namespace {

QWidget* visibleWindow(const char* name) {
    for (QWidget* w : QApplication::topLevelWidgets())
        if (w->objectName() == name && w->isVisible()) return w;
    return nullptr;
}

class PostGuiTest : public GuiTest {};

TEST_F(PostGuiTest, PostsEveryDepartmentFromTheBrowserAndFollowsTheNewRight) {
    auto& master = module->FrmMaster();
    const int rowsBefore = master.flexMaster.rows();
    QString summary;
    showModal(master, [&](qtui::FormDialog& window) {
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
    module.reset();

    // A read-only user has no New, and no posting either.
    module = std::make_unique<entry::Module>(toolkit);
    module->session.connection = raw;
    module->session.userId = 2;
    module->session.companyId = 1;
    module->session.interfaceId = 60;
    module->session.msgTitle = "Payroll Accounts Linking";
    module->session.processDate = "15/10/2026";
    showModal(module->FrmMaster(), [&](qtui::FormDialog& window) {
        EXPECT_FALSE(widget<QPushButton>(window, "cmdPostAll")->isEnabled());
        widget<QPushButton>(window, "CmdClose")->click();
    });
}

}  // namespace
}  // namespace guitest
